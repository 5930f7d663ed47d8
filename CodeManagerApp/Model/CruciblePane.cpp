#include "CodeManagerApp/Model/CruciblePane.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "CodeManagerApp/Model/Console.h"
#include "CodeManagerApp/Model/QtText.h"
#include "CodeManagerApp/Model/Reasons.h"
#include "ManagerCore/Crucible/CrucibleServing.h"
#include "ManagerCore/Foundation/FilePath.h"
#include "ManagerCore/Foundation/Size.h"

namespace CodeManagerApp::CruciblePane
{

using namespace ManagerCore;

namespace
{

std::optional<DriveSpace> driveOf(const CrucibleSite& site)
{
    if (!site.exists) {
        return std::nullopt;
    }
    std::error_code error;
    const auto space = std::filesystem::space(site.real, error);
    if (error || space.capacity == 0) {
        return std::nullopt;
    }
    return DriveSpace {.total = space.capacity, .free = space.available};
}

QString human(std::uint64_t bytes) { return fromUtf8(Size::human(static_cast<std::int64_t>(bytes))); }

// Why the button that serves from a site cannot be pressed.
QString reasonAgainstServing(bool busy) { return busy ? Reasons::anotherOperation() : QString(); }

CrucibleSiteValue
value(const CrucibleTopology& topology, const CrucibleSite& site, const std::optional<DriveSpace>& drive, bool busy)
{
    CrucibleSiteValue shown {
        .volume = oneLine(site.volume),
        .place = site.external ? QStringLiteral("external") : QStringLiteral("internal"),
        .path = oneLine(site.real.native()),
        .size = site.exists ? fromUtf8(Size::human(site.sizeBytes)) : QStringLiteral("absent"),
        .serving = CrucibleServing::isServing(topology, site),
        .canServe = CrucibleServing::canServe(topology, site),
        .reason = reasonAgainstServing(busy),
        .used = -1,
        .drive = {},
    };
    if (drive) {
        shown.used = 1.0 - static_cast<double>(drive->free) / static_cast<double>(drive->total);
        shown.drive = human(drive->free) + QStringLiteral(" free of ") + human(drive->total);
    }
    return shown;
}

CrucibleLinkValue value(const QString& label, const CrucibleLink& link)
{
    return {.label = label,
            .target = link.target ? oneLine(link.target->native()) : QStringLiteral("—"),
            .link = oneLine(link.link.native()),
            .resolves = link.resolves};
}

} // namespace

DriveSpaces drivesOf(const CrucibleTopology& topology)
{
    DriveSpaces drives;
    std::ranges::transform(topology.sites, std::back_inserter(drives), driveOf);
    return drives;
}

QList<CrucibleSiteValue> sites(const std::optional<CrucibleTopology>& topology, const DriveSpaces& drives, bool busy)
{
    QList<CrucibleSiteValue> values;
    if (!topology) {
        return values;
    }
    for (std::size_t index = 0; index < topology->sites.size(); index++) {
        values.append(
            value(*topology, topology->sites[index], index < drives.size() ? drives[index] : std::nullopt, busy));
    }
    return values;
}

QList<CrucibleLinkValue> links(const std::optional<CrucibleTopology>& topology)
{
    if (!topology) {
        return {};
    }
    return {value(QStringLiteral("Crucible root"), topology->rootLink),
            value(QStringLiteral("Served model"), topology->activeLink)};
}

bool servedLinkDangles(const std::optional<CrucibleTopology>& topology)
{
    return topology && !topology->activeLink.resolves;
}

QString checked(const std::vector<CrucibleHealth::Finding>& findings)
{
    const auto dangling = std::ranges::count(findings, false, &CrucibleHealth::Finding::resolves);
    std::string text = std::to_string(findings.size()) + (findings.size() == 1 ? " link, " : " links, ")
        + std::to_string(dangling) + " dangling.";
    for (const CrucibleHealth::Finding& finding : findings) {
        text += std::string("\n") + (finding.resolves ? "✓ " : "✗ ") + finding.link + " -> " + finding.target;
    }
    return fromUtf8(Console::trimmed(std::string_view(text)));
}

QString outcome(const std::vector<CrucibleRepair::Result>& results)
{
    if (results.empty()) {
        return QStringLiteral("There was no link to set.");
    }
    std::string text;
    for (const CrucibleRepair::Result& result : results) {
        text += (text.empty() ? "" : "\n") + std::string(result.repaired ? "✓ " : "✗ ") + result.link.native() + "\n"
            + result.message;
    }
    return fromUtf8(Console::trimmed(std::string_view(text)));
}

} // namespace CodeManagerApp::CruciblePane
