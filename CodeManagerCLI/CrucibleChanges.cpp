#include "CodeManagerCLI/CrucibleChanges.h"

#include <algorithm>
#include <filesystem>

#include <nlohmann/json.hpp>

#include "CodeManagerCLI/Output.h"
#include "CodeManagerCLI/Product.h"
#include "CodeManagerCLI/ProgressBar.h"
#include "CodeManagerCLI/ServiceCommand.h"
#include "CodeManagerCLI/Signals.h"
#include "ManagerCore/Crucible/CrucibleAdmin.h"
#include "ManagerCore/Crucible/CrucibleBackup.h"
#include "ManagerCore/Crucible/CrucibleMove.h"
#include "ManagerCore/Crucible/CrucibleProbe.h"
#include "ManagerCore/Crucible/CrucibleRestore.h"
#include "ManagerCore/Crucible/CrucibleRoots.h"
#include "ManagerCore/Crucible/CrucibleServing.h"
#include "ManagerCore/Foundation/FilePath.h"
#include "ManagerCore/Foundation/Text.h"
#include "ManagerCore/Foundation/WholeFile.h"
#include "ManagerCore/Health/Service.h"

namespace CodeManagerCLI::CrucibleChanges
{

namespace
{

namespace CrucibleAdmin = ManagerCore::CrucibleAdmin;
namespace CrucibleRoots = ManagerCore::CrucibleRoots;
namespace FilePath = ManagerCore::FilePath;
using CrucibleAdmin::Outcome;
using ManagerCore::CrucibleTopology;
using Result = ManagerCore::CrucibleRepair::Result;

Json jsonOf(const Outcome& outcome, bool dryRun)
{
    Json document {{"ok", outcome.ok}, {"message", outcome.message}};
    if (dryRun) {
        document["dryRun"] = true;
    }
    return document;
}

int print(const Context& context, const Outcome& outcome, bool dryRun)
{
    if (context.json) {
        context.output.json(jsonOf(outcome, dryRun));
    } else if (outcome.ok) {
        context.output.lines(outcome.message);
    } else {
        context.output.errorLines(outcome.message);
    }
    return outcome.ok ? ExitStatus::done : ExitStatus::failed;
}

int print(const Context& context, const std::vector<Result>& results, bool dryRun)
{
    Json list = Json::array();
    for (const Result& result : results) {
        Json entry {
            {"link", result.link.string()}, {"repaired", result.repaired && !dryRun}, {"message", result.message}};
        if (dryRun) {
            entry["dryRun"] = true;
        }
        list.push_back(std::move(entry));
        if (!context.json && result.repaired) {
            context.output.line(result.link.string());
            context.output.lines(result.message);
        } else if (!context.json) {
            context.output.errorLine(result.link.string());
            context.output.errorLines(result.message);
        }
    }
    if (context.json) {
        context.output.json(list);
    }
    const bool all = std::ranges::all_of(results, [](const Result& result) { return result.repaired; });
    return all ? ExitStatus::done : ExitStatus::failed;
}

ManagerCore::CrucibleRepair::Repoint repointing(bool dryRun)
{
    return dryRun ? &CrucibleAdmin::foretellRepoint : &CrucibleAdmin::repoint;
}

Outcome refused(std::string message) { return {.ok = false, .message = std::move(message)}; }

int restartBackend(const Context& context, const Product& product, const Outcome& outcome)
{
    if (!context.json) {
        context.output.lines(outcome.message);
        return ServiceCommand::run(context, ServiceCommand::Operation::restart, false);
    }
    const std::string& label = product.actions.launchAgent;
    const auto out = label.empty()
        ? ManagerCore::Proc::Out {.code = ExitStatus::failed,
                                  .stdout = {},
                                  .stderr = "No launch_agent configured for " + product.identity.display + "."}
        : ManagerCore::Service::restart(label);
    Json document = jsonOf(outcome, false);
    document["restart"] = {{"code", out.code}, {"stdout", out.stdout}, {"stderr", out.stderr}};
    context.output.json(document);
    return out.ok() ? ExitStatus::done : ExitStatus::failed;
}

// The site that is declared as that or, since shells expand a "~", at that place.
const ManagerCore::CrucibleSite* siteOf(const CrucibleTopology& topology, const std::string& declared)
{
    using ManagerCore::CrucibleSite;
    auto found = std::ranges::find(topology.sites, declared, &CrucibleSite::declared);
    if (found == topology.sites.end()) {
        found = std::ranges::find_if(topology.sites, [&declared](const CrucibleSite& site) {
            return FilePath::expandHome(site.declared) == FilePath::fromText(declared);
        });
    }
    return found == topology.sites.end() ? nullptr : &*found;
}

// What its owner can do about a move that did not come about, where looking at the disk tells.
std::string advice(const std::filesystem::path& node, const Move& move)
{
    const auto relative = CrucibleAdmin::relativePath(node, FilePath::fromText(move.from));
    if (!relative) {
        return {};
    }
    const std::filesystem::path copy = FilePath::appending(FilePath::fromText(move.to), *relative);
    if (FilePath::isLink(copy) || !FilePath::exists(copy) || FilePath::isLink(node)) {
        return {};
    }
    if (!FilePath::exists(node)) {
        return "It stands at " + copy.string()
            + " already and its original is in the Trash; only the link at its old place is missing. Make it with “ln "
              "-s”, "
              "or take the original back from the Trash.";
    }
    return "What is at " + copy.string()
        + " may be part of a copy. If it is not needed, move it to the Trash and try again.";
}

// An end between the old link's way into the Trash and the making of the new one leaves none.
std::string adviceOnMissing(const std::filesystem::path& link)
{
    return "There is no link at " + link.string() + ". Take it back from the Trash, or make it with “ln -s”.";
}

using ManagerCore::CrucibleHealth::Finding;

Json jsonOf(const std::vector<Finding>& leftOut)
{
    Json list = Json::array();
    for (const Finding& finding : leftOut) {
        list.push_back({{"link", finding.link}, {"target", finding.target}});
    }
    return list;
}

void reportLeftOut(Output& output, const std::vector<Finding>& leftOut)
{
    for (const Finding& finding : leftOut) {
        output.errorLine("The backup cannot record " + finding.link + " -> " + finding.target
                         + ": its format has no place for line breaks, a quotation mark at the end, or names that are "
                           "not UTF-8.");
    }
}

} // namespace

int setRoot(const Context& context, const std::string& folder, bool dryRun)
{
    const Product product = loadProduct(context);
    const CrucibleTopology topology = ManagerCore::CrucibleProbe::layout(product.identity, product.actions);
    const auto change = dryRun ? &CrucibleAdmin::foretellSetRoot : &CrucibleAdmin::setRoot;
    return print(context, change(topology.rootLink.link, FilePath::fromText(folder)), dryRun);
}

int serve(const Context& context, const std::string& declared, bool dryRun)
{
    namespace CrucibleServing = ManagerCore::CrucibleServing;
    const Product product = loadProduct(context);
    const CrucibleTopology topology = ManagerCore::CrucibleProbe::layout(product.identity, product.actions);
    const ManagerCore::CrucibleSite* site = siteOf(topology, declared);
    if (site == nullptr) {
        return print(context, refused("No crucible is declared as “" + declared + "”."), dryRun);
    }
    if (CrucibleServing::isServing(topology, *site)) {
        return print(context, refused("This crucible serves the model already:\n" + site->real.string()), dryRun);
    }
    if (dryRun) {
        Outcome outcome = CrucibleServing::foretell(topology, *site);
        if (outcome.ok && !product.actions.launchAgent.empty()) {
            outcome.message += "\nWould restart " + product.actions.launchAgent + ".";
        }
        return print(context, outcome, true);
    }
    const Outcome outcome = CrucibleServing::serve(topology, *site);
    if (outcome.ok) {
        return restartBackend(context, product, outcome);
    }
    const int status = print(context, outcome, false);
    if (!topology.activeLink.target && !context.json) {
        context.output.errorLine(adviceOnMissing(topology.activeLink.link));
    }
    return status;
}

int move(const Context& context, const Move& move, bool dryRun)
{
    using ManagerCore::TreeCopier;
    const auto node = FilePath::fromText(move.node);
    const auto from = FilePath::fromText(move.from);
    const auto to = FilePath::fromText(move.to);
    if (to.empty()) {
        return print(context, refused("The root to move to has no name."), dryRun);
    }
    Outcome outcome;
    if (dryRun) {
        outcome = ManagerCore::CrucibleMove::foretell(node, from, to);
    } else {
        ProgressBar bar(context.output);
        TreeCopier::Watcher watcher([&bar](const TreeCopier::Progress& progress) {
            bar.show(progress.bytesDone, progress.bytesTotal, FilePath::lastComponent(progress.file));
        });
        const Signals::CleanStop stop([&watcher] { watcher.stop(); });
        outcome = ManagerCore::CrucibleMove::relocate(node, from, to, &watcher);
        if (!outcome.ok) {
            Signals::CleanStop::wasHeeded();
        }
    }
    const int status = print(context, outcome, dryRun);
    if (const std::string more = outcome.ok || context.json ? std::string() : advice(node, move); !more.empty()) {
        context.output.errorLine(more);
    }
    return status;
}

int repair(const Context& context, const Repair& repair, bool dryRun)
{
    const auto all = CrucibleRoots::all();
    std::vector<std::filesystem::path> candidates;
    std::ranges::transform(repair.candidates, std::back_inserter(candidates), FilePath::fromText);
    std::filesystem::path linkRoot;
    if (repair.linkRoot) {
        linkRoot = FilePath::fromText(*repair.linkRoot);
    } else if (!all.empty()) {
        linkRoot = all.front();
    }
    const auto findings = ManagerCore::CrucibleHealth::scanAll(all);
    const auto results = ManagerCore::CrucibleRepair::repair(
        findings, linkRoot, candidates.empty() ? all : candidates, repointing(dryRun));
    return print(context, results, dryRun);
}

int backup(const Context& context, const std::optional<std::string>& file, bool dryRun)
{
    const auto backup = ManagerCore::CrucibleBackup::make(CrucibleRoots::all(), CrucibleRoots::configPath());
    const auto path = file ? std::optional(FilePath::fromText(*file)) : std::nullopt;
    const auto error = path && !dryRun ? ManagerCore::WholeFile::writeNew(*path, backup.document, 0666) : std::nullopt;
    if (context.json) {
        Json document {{"document", backup.document},
                       {"path", path ? Json(path->string()) : Json(nullptr)},
                       {"error", error ? Json(*error) : Json(nullptr)},
                       {"leftOut", jsonOf(backup.leftOut)}};
        if (dryRun) {
            document["dryRun"] = true;
        }
        context.output.json(document);
        return error || !backup.leftOut.empty() ? ExitStatus::failed : ExitStatus::done;
    }
    if (error) {
        context.output.errorLine(*error);
    } else if (path) {
        context.output.line((dryRun ? "Would write " : "Written to ") + path->string());
    } else {
        context.output.document(backup.document);
    }
    reportLeftOut(context.output, backup.leftOut);
    return error || !backup.leftOut.empty() ? ExitStatus::failed : ExitStatus::done;
}

int restore(const Context& context, const std::string& file, bool dryRun)
{
    const auto document = ManagerCore::Text::readFile(FilePath::fromText(file));
    if (!document) {
        if (context.json) {
            context.output.json(Json::array());
        }
        context.output.errorLine(document.error());
        return ExitStatus::failed;
    }
    return print(context, ManagerCore::CrucibleRestore::restore(*document, repointing(dryRun)), dryRun);
}

} // namespace CodeManagerCLI::CrucibleChanges
