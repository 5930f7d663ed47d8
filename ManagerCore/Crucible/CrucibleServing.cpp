#include "ManagerCore/Crucible/CrucibleServing.h"

#include <algorithm>

namespace ManagerCore::CrucibleServing
{

namespace
{

using CrucibleAdmin::Outcome;

template <class Switch> Outcome withCurrent(const CrucibleTopology& topology, const CrucibleSite& site, Switch change)
{
    const CrucibleSite* serving = current(topology);
    const auto& target = topology.activeLink.target;
    if (serving == nullptr || !target) {
        return {.ok = false, .message = unknownDrive};
    }
    return change(topology.activeLink.link, *target, serving->real, site.real);
}

} // namespace

bool isServing(const CrucibleTopology& topology, const CrucibleSite& site)
{
    const auto& target = topology.activeLink.target;
    return target && CrucibleAdmin::relativePath(*target, site.real).has_value();
}

bool canServe(const CrucibleTopology& topology, const CrucibleSite& site)
{
    return site.exists && !isServing(topology, site);
}

const CrucibleSite* current(const CrucibleTopology& topology)
{
    const auto found = std::ranges::find_if(
        topology.sites, [&topology](const CrucibleSite& site) { return isServing(topology, site); });
    return found == topology.sites.end() ? nullptr : &*found;
}

Outcome serve(const CrucibleTopology& topology, const CrucibleSite& site)
{
    return withCurrent(topology, site, &CrucibleAdmin::switchServed);
}

Outcome foretell(const CrucibleTopology& topology, const CrucibleSite& site)
{
    return withCurrent(topology, site, &CrucibleAdmin::foretellSwitchServed);
}

} // namespace ManagerCore::CrucibleServing
