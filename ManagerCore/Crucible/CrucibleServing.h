#pragma once

#include "ManagerCore/Crucible/CrucibleAdmin.h"
#include "ManagerCore/Crucible/CrucibleSite.h"
#include "ManagerCore/Crucible/CrucibleTopology.h"

// Which copy of the weights is served, and how another one comes to be, for everything that offers it. Never throws.
namespace ManagerCore::CrucibleServing
{

inline constexpr const char* unknownDrive = "Cannot tell which drive currently serves the model.";

// Whether the served link leads strictly inside the site. Several sites can, when they lie in one another.
bool isServing(const CrucibleTopology& topology, const CrucibleSite& site);

// Whether the site is there and not serving.
bool canServe(const CrucibleTopology& topology, const CrucibleSite& site);

// The first serving site in the topology; null when there is none.
const CrucibleSite* current(const CrucibleTopology& topology);

// Points the served link at the same weights below `site`; refuses where no site is serving by now. The server has to
// be restarted after a success. Blocks: not for the interface thread.
CrucibleAdmin::Outcome serve(const CrucibleTopology& topology, const CrucibleSite& site);

// What that would come to, with the disk left as it is.
CrucibleAdmin::Outcome foretell(const CrucibleTopology& topology, const CrucibleSite& site);

} // namespace ManagerCore::CrucibleServing
