#include "CodeManagerCLI/TrashCommand.h"

#include <algorithm>
#include <filesystem>

#include <nlohmann/json.hpp>

#include "CodeManagerCLI/CommandTree.h"
#include "CodeManagerCLI/Foretold.h"
#include "CodeManagerCLI/Output.h"
#include "ManagerCore/Foundation/FilePath.h"
#include "ManagerCore/Foundation/Remover.h"

namespace CodeManagerCLI::TrashCommand
{

namespace
{

using ManagerCore::Remover::Result;

void print(Output& output, const std::vector<Result>& results, bool dryRun)
{
    for (const Result& result : results) {
        if (result.trashed || (dryRun && !result.error)) {
            output.line(dryRun ? "Would move to Trash:" : "Moved to Trash:");
            output.line(result.path);
        } else {
            output.errorLine((dryRun ? "Remove would fail: " : "Remove failed: ") + result.error.value_or("unknown"));
        }
    }
}

void printJson(Output& output, const std::vector<Result>& results, bool dryRun)
{
    Json list = Json::array();
    for (const Result& result : results) {
        Json entry {{"path", result.path},
                    {"trashed", result.trashed},
                    {"error", result.error ? Json(*result.error) : Json(nullptr)}};
        if (dryRun) {
            entry["dryRun"] = true;
        }
        list.push_back(std::move(entry));
    }
    output.json(list);
}

} // namespace

int run(const Context& context, const std::vector<std::string>& paths, bool dryRun)
{
    std::vector<std::filesystem::path> items;
    std::ranges::transform(paths, std::back_inserter(items), ManagerCore::FilePath::fromText);
    std::vector<Result> results;
    if (dryRun) {
        std::ranges::transform(items, std::back_inserter(results), Foretold::trash);
    } else {
        results = ManagerCore::Remover::trash(items);
    }
    if (context.json) {
        printJson(context.output, results, dryRun);
    } else {
        print(context.output, results, dryRun);
    }
    const bool anyFailed = std::ranges::any_of(results, [](const Result& result) { return result.error.has_value(); });
    return anyFailed ? ExitStatus::failed : ExitStatus::done;
}

void declare(CommandTree& tree)
{
    CLI::App& command = tree.noun("trash", "Move files and folders to the Trash");
    const auto paths = tree.paths(command, "A file or folder; of a link the link itself");
    const auto dryRun = addDryRun(command);
    tree.setAction(command, [paths, dryRun](const Context& context) { return run(context, *paths, *dryRun); });
}

} // namespace CodeManagerCLI::TrashCommand
