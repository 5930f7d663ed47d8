#include "ManagerCore/Crucible/CrucibleProbe.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <vector>

#include "ManagerCore/Foundation/FilePath.h"
#include "ManagerCore/Foundation/Parallel.h"
#include "ManagerCore/Foundation/Size.h"
#include "ManagerCore/Platform/Platform.h"

namespace ManagerCore::CrucibleProbe
{

namespace
{

constexpr const char* rootLinkOtherwise = "~/.zyn/crucible";
constexpr unsigned drivesAtOnce = 4;

CrucibleSite unmeasured(const std::string& declared)
{
    CrucibleSite site {.declared = declared, .real = FilePath::linkTarget(FilePath::expandHome(declared))};
    site.exists = FilePath::exists(site.real);
    if (const auto volume = Platform::volumeOf(site.real)) {
        site.volume = volume->name;
        site.external = !volume->isRoot;
    }
    return site;
}

// Places that several sites share are walked once, different ones at the same time: they may lie on different drives.
void measure(std::vector<CrucibleSite>& sites)
{
    std::map<std::filesystem::path, std::int64_t> sizes;
    for (const CrucibleSite& site : sites) {
        if (site.exists) {
            sizes.emplace(site.real, 0);
        }
    }
    std::vector<std::pair<const std::filesystem::path, std::int64_t>*> places;
    places.reserve(sizes.size());
    for (auto& place : sizes) {
        places.push_back(&place);
    }
    Parallel::forEach(places.size(), drivesAtOnce, [&places](std::size_t index, unsigned /*lane*/) {
        places[index]->second = Size::of(places[index]->first);
    });
    for (CrucibleSite& site : sites) {
        site.sizeBytes = site.exists ? sizes.at(site.real) : 0;
    }
}

} // namespace

CrucibleLink link(const std::filesystem::path& path)
{
    CrucibleLink link {.link = path, .target = FilePath::linkDestination(path)};
    if (link.target) {
        link.resolves = FilePath::exists(*link.target);
    } else if (FilePath::exists(path)) {
        link.target = path;
        link.resolves = true;
    }
    return link;
}

CrucibleSite site(const std::string& declared)
{
    CrucibleSite site = unmeasured(declared);
    site.sizeBytes = site.exists ? Size::of(site.real) : 0;
    return site;
}

CrucibleTopology layout(const Identity& identity, const ManagerActions& actions)
{
    const auto& locations = identity.modelLocations;
    CrucibleTopology topology;
    std::ranges::transform(locations, std::back_inserter(topology.sites), unmeasured);
    topology.rootLink = link(FilePath::expandHome(locations.empty() ? rootLinkOtherwise : locations.front()));
    topology.activeLink = link(FilePath::expandHome(actions.modelServed));
    return topology;
}

CrucibleTopology topology(const Identity& identity, const ManagerActions& actions)
{
    CrucibleTopology topology = layout(identity, actions);
    measure(topology.sites);
    return topology;
}

} // namespace ManagerCore::CrucibleProbe
