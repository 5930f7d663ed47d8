#pragma once

#include <vector>

#include "ManagerCore/Crucible/CrucibleLink.h"
#include "ManagerCore/Crucible/CrucibleSite.h"

namespace ManagerCore
{

// A snapshot of the store of weights: every declared copy and the two links that decide.
struct CrucibleTopology {
    std::vector<CrucibleSite> sites; // in the descriptor's order, duplicates kept
    CrucibleLink rootLink; // which folder the crucible is
    CrucibleLink activeLink; // which copy is served

    bool operator==(const CrucibleTopology&) const = default;
};

} // namespace ManagerCore
