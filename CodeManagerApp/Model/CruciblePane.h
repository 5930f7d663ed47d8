#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include <QList>

#include "CodeManagerApp/Model/ViewRecords.h"
#include "ManagerCore/Crucible/CrucibleHealth.h"
#include "ManagerCore/Crucible/CrucibleRepair.h"
#include "ManagerCore/Crucible/CrucibleTopology.h"

// What the Crucible pane shows.
namespace CodeManagerApp::CruciblePane
{

// How full the drive of a site is; absent where nobody can tell.
struct DriveSpace {
    std::uint64_t total = 0;
    std::uint64_t free = 0;

    bool operator==(const DriveSpace&) const = default;
};
using DriveSpaces = std::vector<std::optional<DriveSpace>>;

// One for each site of the topology. Asks the disk: not for the interface thread.
DriveSpaces drivesOf(const ManagerCore::CrucibleTopology& topology);

QList<CrucibleSiteValue>
sites(const std::optional<ManagerCore::CrucibleTopology>& topology, const DriveSpaces& drives, bool busy);

// The crucible root link and the served link.
QList<CrucibleLinkValue> links(const std::optional<ManagerCore::CrucibleTopology>& topology);

// Whether the served link leads nowhere, or is missing.
bool servedLinkDangles(const std::optional<ManagerCore::CrucibleTopology>& topology);

// What the console says of a check of all links, and of a repair or a restoration.
QString checked(const std::vector<ManagerCore::CrucibleHealth::Finding>& findings);
QString outcome(const std::vector<ManagerCore::CrucibleRepair::Result>& results);

} // namespace CodeManagerApp::CruciblePane
