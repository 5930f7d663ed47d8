#include <algorithm>

#include "ManagerCore/Crucible/CrucibleHealth.h"
#include "ManagerCore/Crucible/CrucibleProbe.h"
#include "ManagerCore/Crucible/CrucibleRoots.h"
#include "ManagerCore/Crucible/CrucibleServing.h"
#include "ManagerCore/Doctor/Checks.h"
#include "ManagerCore/Doctor/Report.h"
#include "ManagerCore/Foundation/FilePath.h"

namespace ManagerCore::Doctor
{

namespace
{

using Path = std::filesystem::path;

std::string targetOf(const CrucibleLink& link) { return inQuotes(link.target.value_or(Path())); }

// What is wrong with a link that stands there; absent when it leads somewhere.
std::optional<std::string> faultOf(const CrucibleLink& link)
{
    if (link.resolves) {
        return std::nullopt;
    }
    return standingOf(link.link) == Standing::circle ? std::string(" leads in a circle")
                                                     : " leads to " + targetOf(link) + ", where nothing is";
}

void lookAtRootLink(Report& report, const CrucibleLink& link)
{
    const std::string named = "The root link " + inQuotes(link.link);
    const std::string advice = ": connect the drive, or point it at a store in the Crucible pane or with “crucible "
                               "set-root”.";
    if (!link.exists()) {
        report.warn(named + " is not there, so no store of weights is in use" + advice);
    } else if (const auto fault = faultOf(link)) {
        report.fail(named + *fault + advice);
    } else if (!FilePath::isFolder(link.link)) {
        report.fail(named + " leads to " + targetOf(link) + ", which is no folder" + advice);
    } else if (link.target == link.link) {
        report.ok("In place of the root link stands the store itself, the folder " + inQuotes(link.link) + ".");
    } else {
        report.ok(named + " leads to the store " + inQuotes(FilePath::resolved(link.link)) + ".");
    }
}

void lookAtServedLink(Report& report, const CrucibleTopology& topology)
{
    const CrucibleLink& link = topology.activeLink;
    if (link.link.empty()) {
        report.warn("The descriptor declares no served model, so no copy of the weights can be chosen: give it "
                    "“model_served”.");
        return;
    }
    const std::string named = "The served link " + inQuotes(link.link);
    const std::string advice = ": serve a copy that exists in the Crucible pane or with “crucible serve”.";
    if (!link.exists()) {
        report.warn(named
                    + " is not there, so no model is served: install one in the Model pane or with “model "
                      "install”.");
    } else if (const auto fault = faultOf(link)) {
        report.fail(named + *fault + advice);
    } else if (CrucibleServing::current(topology) == nullptr) {
        report.warn(
            named + " leads to " + inQuotes(FilePath::resolved(link.link))
            + ", which lies in no declared copy of the weights, so none can be chosen in its place: aim it into "
              "one of the descriptor's “model_locations”.");
    } else {
        report.ok(named + " leads to " + inQuotes(FilePath::resolved(link.link)) + ".");
    }
}

void lookBelow(Report& report, const Path& root)
{
    const std::string named = "The store " + inQuotes(root);
    if (const auto fault = faultOfFolder(root)) {
        report.fail(named + " " + *fault + ": see to what stands there.");
        return;
    }
    const auto findings = CrucibleHealth::scan(root);
    const auto dangles = [](const CrucibleHealth::Finding& finding) { return !finding.resolves; };
    const auto dangling = static_cast<std::size_t>(std::ranges::count_if(findings, dangles));
    if (dangling == 0) {
        report.ok(named + " holds " + counted(findings.size(), "link", "links") + ", none of which dangles.");
        return;
    }
    const auto first = std::ranges::find_if(findings, dangles);
    report.warn(named + " holds " + counted(dangling, "link that leads nowhere", "links that lead nowhere")
                + (dangling == 1 ? ", " : ", first ") + inQuotes(first->link) + " to " + inQuotes(first->target)
                + ": connect the drive, or repair the links in the Crucible pane or with “crucible repair”.");
}

void lookBelowRoots(Report& report)
{
    std::vector<Path> seen;
    for (const Path& root : CrucibleRoots::all()) {
        const Path place = FilePath::resolved(root);
        if (std::ranges::find(seen, place) == seen.end()) {
            lookBelow(report, root);
            seen.push_back(place);
        }
    }
    if (seen.empty()) {
        report.warn("There is no store of weights at " + inQuotes(CrucibleRoots::local()) + " or "
                    + inQuotes(CrucibleRoots::canonical())
                    + ": make one there, or name one with ZYN_CRUCIBLE_LOCAL or ZYN_CRUCIBLE_ROOT.");
    }
}

} // namespace

std::vector<Finding> checkLinks(const Subject& subject)
{
    Report report("links");
    const CrucibleTopology topology = CrucibleProbe::layout(subject.identity, subject.actions);
    lookAtRootLink(report, topology.rootLink);
    lookAtServedLink(report, topology);
    lookBelowRoots(report);
    return report.take();
}

} // namespace ManagerCore::Doctor
