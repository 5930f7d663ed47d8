#include "CodeManagerCLI/CrucibleCommand.h"

#include <algorithm>
#include <filesystem>
#include <optional>

#include <nlohmann/json.hpp>

#include "CodeManagerCLI/CommandTree.h"
#include "CodeManagerCLI/CrucibleChanges.h"
#include "CodeManagerCLI/Output.h"
#include "CodeManagerCLI/Product.h"
#include "ManagerCore/Crucible/CrucibleHealth.h"
#include "ManagerCore/Crucible/CrucibleProbe.h"
#include "ManagerCore/Crucible/CrucibleRoots.h"
#include "ManagerCore/Crucible/CrucibleServing.h"
#include "ManagerCore/Foundation/FilePath.h"
#include "ManagerCore/Foundation/Size.h"

namespace CodeManagerCLI::CrucibleCommand
{

namespace
{

namespace CrucibleServing = ManagerCore::CrucibleServing;
using ManagerCore::CrucibleLink;
using ManagerCore::CrucibleSite;
using ManagerCore::CrucibleTopology;

constexpr const char* absentText = "—";

Json jsonOf(const std::optional<std::filesystem::path>& path) { return path ? Json(path->string()) : Json(nullptr); }

Json jsonOf(const CrucibleLink& link)
{
    return {{"link", link.link.string()},
            {"target", jsonOf(link.target)},
            {"resolves", link.resolves},
            {"exists", link.exists()}};
}

Json jsonOf(const CrucibleTopology& topology, const CrucibleSite& site)
{
    return {{"declared", site.declared},
            {"real", site.real.string()},
            {"exists", site.exists},
            {"volume", site.volume},
            {"external", site.external},
            {"sizeBytes", site.sizeBytes},
            {"serving", CrucibleServing::isServing(topology, site)},
            {"canServe", CrucibleServing::canServe(topology, site)}};
}

void addRows(std::vector<Row>& rows, const CrucibleTopology& topology, const CrucibleSite& site)
{
    const bool serving = CrucibleServing::isServing(topology, site);
    const std::string size = site.exists ? ManagerCore::Size::human(site.sizeBytes) : "absent";
    rows.push_back({"Site", site.declared});
    rows.push_back({"", site.real.string()});
    rows.push_back(
        {"",
         site.volume + ", " + (site.external ? "external" : "internal") + ", " + size + (serving ? ", serving" : ""),
         serving ? Tone::good : Tone::neutral});
}

void addRows(std::vector<Row>& rows, const std::string& label, const CrucibleLink& link)
{
    rows.push_back({label, link.link.string()});
    if (link.target) {
        rows.push_back({"",
                        "-> " + link.target->string() + (link.resolves ? "" : " (dangling)"),
                        link.resolves ? Tone::good : Tone::bad});
    } else {
        rows.push_back({"", "absent", Tone::bad});
    }
}

using Finding = ManagerCore::CrucibleHealth::Finding;

void print(Output& output, const std::vector<Finding>& findings)
{
    for (const Finding& finding : findings) {
        output.line(std::string(finding.resolves ? "ok        " : "dangling  ") + finding.link + " -> "
                    + finding.target);
    }
    const auto dangling = std::ranges::count_if(findings, [](const Finding& finding) { return !finding.resolves; });
    output.line(std::to_string(findings.size()) + " links, " + std::to_string(dangling) + " dangling");
}

void printJson(Output& output, const std::vector<Finding>& findings)
{
    Json list = Json::array();
    for (const Finding& finding : findings) {
        list.push_back({{"link", finding.link}, {"target", finding.target}, {"resolves", finding.resolves}});
    }
    output.json(list);
}

struct Place {
    std::string declared;
    std::filesystem::path path;
    bool exists = false;
    std::int64_t sizeBytes = 0;
};

Place placeOn(const CrucibleSite& site, const std::string& relative)
{
    Place place {.declared = site.declared, .path = ManagerCore::FilePath::appending(site.real, relative)};
    place.exists = ManagerCore::FilePath::exists(place.path);
    place.sizeBytes = place.exists ? ManagerCore::Size::of(place.path) : 0;
    return place;
}

} // namespace

int show(const Context& context)
{
    const Product product = loadProduct(context);
    const CrucibleTopology topology = ManagerCore::CrucibleProbe::topology(product.identity, product.actions);
    if (context.json) {
        Json sites = Json::array();
        for (const CrucibleSite& site : topology.sites) {
            sites.push_back(jsonOf(topology, site));
        }
        context.output.json({{"sites", std::move(sites)},
                             {"rootLink", jsonOf(topology.rootLink)},
                             {"activeLink", jsonOf(topology.activeLink)}});
        return ExitStatus::done;
    }
    std::vector<Row> rows;
    for (const CrucibleSite& site : topology.sites) {
        addRows(rows, topology, site);
    }
    addRows(rows, "Root link", topology.rootLink);
    addRows(rows, "Served link", topology.activeLink);
    context.output.table(rows);
    return ExitStatus::done;
}

int roots(const Context& context)
{
    namespace CrucibleRoots = ManagerCore::CrucibleRoots;
    const auto all = CrucibleRoots::all();
    const auto config = CrucibleRoots::configPath();
    if (context.json) {
        Json list = Json::array();
        for (const std::filesystem::path& root : all) {
            list.push_back(root.string());
        }
        context.output.json({{"local", CrucibleRoots::local().string()},
                             {"canonical", CrucibleRoots::canonical().string()},
                             {"all", std::move(list)},
                             {"configPath", jsonOf(config)}});
        return ExitStatus::done;
    }
    std::vector<Row> rows {{"Local", CrucibleRoots::local().string()},
                           {"Canonical", CrucibleRoots::canonical().string()},
                           {"There", all.empty() ? absentText : all.front().string()}};
    for (std::size_t index = 1; index < all.size(); index++) {
        rows.push_back({"", all[index].string()});
    }
    rows.push_back({"Configuration", config ? config->string() : absentText});
    context.output.table(rows);
    return ExitStatus::done;
}

int check(const Context& context, const std::vector<std::string>& roots)
{
    std::vector<std::filesystem::path> folders;
    std::ranges::transform(roots, std::back_inserter(folders), ManagerCore::FilePath::fromText);
    const auto findings
        = ManagerCore::CrucibleHealth::scanAll(roots.empty() ? ManagerCore::CrucibleRoots::all() : folders);
    if (context.json) {
        printJson(context.output, findings);
    } else {
        print(context.output, findings);
    }
    const bool allResolve = std::ranges::all_of(findings, [](const Finding& finding) { return finding.resolves; });
    return allResolve ? ExitStatus::done : ExitStatus::failed;
}

int whereis(const Context& context, const std::string& relative)
{
    const Product product = loadProduct(context);
    const CrucibleTopology topology = ManagerCore::CrucibleProbe::layout(product.identity, product.actions);
    Json list = Json::array();
    for (const CrucibleSite& site : topology.sites) {
        const Place place = placeOn(site, relative);
        if (context.json) {
            list.push_back({{"declared", place.declared},
                            {"path", place.path.string()},
                            {"exists", place.exists},
                            {"sizeBytes", place.sizeBytes}});
        } else {
            const std::string size = place.exists ? ManagerCore::Size::human(place.sizeBytes) : "absent";
            context.output.line(size + "  " + place.path.string());
        }
    }
    if (context.json) {
        context.output.json(list);
    }
    return ExitStatus::done;
}

namespace
{

std::optional<std::string> lastOf(const std::vector<std::string>& values)
{
    return values.empty() ? std::nullopt : std::optional(values.back());
}

void declareLooking(CommandTree& tree, CLI::App& crucible)
{
    tree.verb(crucible, "show", "Show every copy of the weights and the two links that decide", &show);
    tree.verb(crucible, "roots", "Show the folders that the store is looked for in", &roots);
}

void declareLinks(CommandTree& tree, CLI::App& crucible)
{
    CLI::App& setRoot = tree.verb(crucible, "set-root", "Point the crucible's root link at a folder");
    const auto folder = tree.take(
        setRoot, {.name = "DIR", .type = ValueType::folder, .summary = "A folder on any drive", .required = true});
    const auto dryRoot = addDryRun(setRoot);
    tree.setAction(setRoot, [folder, dryRoot](const Context& context) {
        return CrucibleChanges::setRoot(context, folder->back(), *dryRoot);
    });

    CLI::App& serve = tree.verb(crucible, "serve", "Serve the weights of another site and restart the backend");
    const auto declared = tree.take(
        serve,
        {.name = "DECLARED", .type = ValueType::path, .summary = "A site, written as declared", .required = true});
    const auto dryServe = addDryRun(serve);
    tree.setAction(serve, [declared, dryServe](const Context& context) {
        return CrucibleChanges::serve(context, declared->back(), *dryServe);
    });
}

void declareMove(CommandTree& tree, CLI::App& crucible)
{
    CLI::App& move = tree.verb(crucible, "move", "Move a part of the store to another drive, leaving a link");
    const auto node = tree.take(move, {.name = "NODE", .summary = "What to move, inside of a root", .required = true});
    const auto from = tree.take(
        move, {.name = "--from", .type = ValueType::root, .summary = "The root that holds it now", .required = true});
    const auto to = tree.take(
        move, {.name = "--to", .type = ValueType::root, .summary = "The root to move it to", .required = true});
    const auto dryRun = addDryRun(move);
    tree.setAction(move, [node, from, to, dryRun](const Context& context) {
        const CrucibleChanges::Move what {.node = node->back(), .from = from->back(), .to = to->back()};
        return CrucibleChanges::move(context, what, *dryRun);
    });
}

void declareHealth(CommandTree& tree, CLI::App& crucible)
{
    CLI::App& checking = tree.verb(crucible, "check", "List the store's links and whether they lead anywhere");
    const auto roots = tree.take(
        checking, {.name = "ROOT", .type = ValueType::root, .summary = "A folder to look under", .several = true});
    tree.setAction(checking, [roots](const Context& context) { return check(context, *roots); });

    CLI::App& repair = tree.verb(crucible, "repair", "Aim dangling links at copies that exist");
    const auto linkRoot = tree.take(
        repair, {.name = "--link-root", .type = ValueType::root, .summary = "The root that the links stand under"});
    const auto candidates = tree.take(repair,
                                      {.name = "--candidate",
                                       .type = ValueType::root,
                                       .summary = "A root to search for copies, the preferred first"});
    const auto dryRun = addDryRun(repair);
    tree.setAction(repair, [linkRoot, candidates, dryRun](const Context& context) {
        const CrucibleChanges::Repair what {.linkRoot = lastOf(*linkRoot), .candidates = *candidates};
        return CrucibleChanges::repair(context, what, *dryRun);
    });
}

void declareBackup(CommandTree& tree, CLI::App& crucible)
{
    CLI::App& backup = tree.verb(crucible, "backup", "Print a document that records every link of the store");
    const auto output = tree.take(
        backup,
        {.name = "--output", .type = ValueType::file, .summary = "Write it to this file, which must not exist"});
    const auto dryBackup = addDryRun(backup);
    tree.setAction(backup, [output, dryBackup](const Context& context) {
        return CrucibleChanges::backup(context, lastOf(*output), *dryBackup);
    });

    CLI::App& restore = tree.verb(crucible, "restore", "Make the links of a backup document again");
    const auto file
        = tree.take(restore, {.name = "FILE", .type = ValueType::file, .summary = "The document", .required = true});
    const auto dryRestore = addDryRun(restore);
    tree.setAction(restore, [file, dryRestore](const Context& context) {
        return CrucibleChanges::restore(context, file->back(), *dryRestore);
    });

    CLI::App& where = tree.verb(crucible, "whereis", "Show where a part of the store is on each site");
    const auto relative = tree.take(
        where, {.name = "RELATIVE", .type = "RELATIVE", .summary = "A path inside of the store", .required = true});
    tree.setAction(where, [relative](const Context& context) { return whereis(context, relative->back()); });
}

} // namespace

void declare(CommandTree& tree)
{
    CLI::App& crucible = tree.noun("crucible", "Look after the store of weights on all drives");
    declareLooking(tree, crucible);
    declareLinks(tree, crucible);
    declareMove(tree, crucible);
    declareHealth(tree, crucible);
    declareBackup(tree, crucible);
}

} // namespace CodeManagerCLI::CrucibleCommand
