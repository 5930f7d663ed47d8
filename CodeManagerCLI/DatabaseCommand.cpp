#include "CodeManagerCLI/DatabaseCommand.h"

#include <algorithm>
#include <optional>
#include <vector>

#include <nlohmann/json.hpp>

#include "CodeManagerCLI/CommandTree.h"
#include "CodeManagerCLI/Foretold.h"
#include "CodeManagerCLI/Output.h"
#include "CodeManagerCLI/ScriptRun.h"
#include "ManagerCore/Installers/DatabaseCatalog.h"
#include "ManagerCore/Installers/DatabaseInstaller.h"

namespace CodeManagerCLI::DatabaseCommand
{

namespace
{

using ManagerCore::Database;
using ManagerCore::Proc::Out;
using ManagerCore::Remover::Result;
namespace DatabaseInstaller = ManagerCore::DatabaseInstaller;

std::optional<Database> find(const std::string& id)
{
    const std::vector<Database> all = ManagerCore::DatabaseCatalog::load();
    const auto found = std::ranges::find(all, id, &Database::id);
    return found == all.end() ? std::nullopt : std::optional(*found);
}

std::string unknown(const std::string& id) { return "There is no database “" + id + "”."; }

Json jsonOf(const Database& database)
{
    return {{"id", database.id},
            {"name", database.name},
            {"detail", database.detail},
            {"source", database.source},
            {"dest", database.dest},
            {"sourcePath", database.sourcePath().string()},
            {"destPath", database.destPath().string()},
            {"installed", database.installed()}};
}

Out foretold(const Database& database)
{
    Out out = DatabaseInstaller::check(database);
    if (out.ok()) {
        const std::string dest = database.destPath().string();
        out.stdout = (database.installed() ? "Would move to Trash:\n" + dest + "\n" : std::string()) + "Would copy "
            + database.sourcePath().string() + " to " + dest + ".";
    }
    return out;
}

int reportInstall(const Context& context, const std::string& success, const Out& out, bool dryRun)
{
    if (context.json) {
        context.output.json(CodeManagerCLI::jsonOf(out, dryRun));
    } else if (out.ok()) {
        context.output.lines(success);
    } else {
        context.output.errorLines("✗ failed: " + out.stderr);
    }
    return out.ok() ? ExitStatus::done : ExitStatus::failed;
}

int reportRemove(const Context& context, const Result& result, bool dryRun)
{
    if (context.json) {
        Json document {{"path", result.path},
                       {"trashed", result.trashed},
                       {"error", result.error ? Json(*result.error) : Json(nullptr)}};
        if (dryRun) {
            document["dryRun"] = true;
        }
        context.output.json(document);
    } else if (result.error) {
        context.output.errorLine((dryRun ? "Remove would fail: " : "Remove failed: ") + *result.error);
    } else {
        context.output.line(dryRun ? "Would move to Trash:" : "Moved to Trash:");
        context.output.line(result.path);
    }
    return result.error ? ExitStatus::failed : ExitStatus::done;
}

} // namespace

int list(const Context& context)
{
    const std::vector<Database> all = ManagerCore::DatabaseCatalog::load();
    if (context.json) {
        Json document = Json::array();
        for (const Database& database : all) {
            document.push_back(jsonOf(database));
        }
        context.output.json(document);
        return ExitStatus::done;
    }
    if (all.empty()) {
        context.output.line("No database descriptors found.");
    }
    for (const Database& database : all) {
        context.output.heading(database.name);
        context.output.table({{"  id", database.id},
                              {"  detail", database.detail},
                              {"  state", database.installed() ? "installed" : "not installed"},
                              {"  source", database.sourcePath().string()},
                              {"  destination", database.destPath().string()}});
    }
    return ExitStatus::done;
}

int install(const Context& context, const std::string& id, bool dryRun)
{
    const auto database = find(id);
    if (!database) {
        return reportInstall(context, {}, refusal(unknown(id)), dryRun);
    }
    const Out out = dryRun ? foretold(*database) : DatabaseInstaller::install(*database);
    return reportInstall(context, dryRun ? out.stdout : "✓ installed to " + database->destPath().string(), out, dryRun);
}

int remove(const Context& context, const std::string& id, bool dryRun)
{
    const auto database = find(id);
    if (!database) {
        return reportRemove(context, {.path = {}, .trashed = false, .error = unknown(id)}, dryRun);
    }
    if (!dryRun) {
        return reportRemove(context, DatabaseInstaller::uninstall(*database).front(), dryRun);
    }
    return reportRemove(context, Foretold::trash(database->destPath()), dryRun);
}

void declare(CommandTree& tree)
{
    CLI::App& database = tree.noun("database", "Look after the databases that the product can use");
    tree.verb(database, "list", "List them and tell which are installed", &list);
    const auto declareOne = [&](const std::string& name, const std::string& summary, auto action) {
        CLI::App& command = tree.verb(database, name, summary);
        const auto id
            = tree.take(command, {.name = "ID", .type = "ID", .summary = "The database's id", .required = true});
        const auto dryRun = addDryRun(command);
        tree.setAction(command,
                       [id, dryRun, action](const Context& context) { return action(context, id->front(), *dryRun); });
    };
    declareOne("install", "Copy one to its place; what stands there goes to the Trash", &install);
    declareOne("remove", "Move an installed one to the Trash", &remove);
}

} // namespace CodeManagerCLI::DatabaseCommand
