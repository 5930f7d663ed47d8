#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "ManagerCore/Crucible/CrucibleAdmin.h"
#include "ManagerCore/Crucible/CrucibleHealth.h"

// Re-aims dangling links at copies that exist. Touches links alone and never throws. Blocks: not for the interface
// thread.
namespace ManagerCore::CrucibleRepair
{

struct Result {
    std::filesystem::path link;
    bool repaired = false;
    std::string message; // what was done, or why not

    bool operator==(const Result&) const = default;
};

// What re-aims a link: CrucibleAdmin::repoint, or foretellRepoint where nothing is to be touched.
using Repoint = CrucibleAdmin::Outcome (*)(const std::filesystem::path& link,
                                           const std::filesystem::path& to,
                                           std::string_view label);

// One result per dangling finding, in their order. Each link below `linkRoot` is aimed at the same place below the
// first candidate root that has something there; one that no candidate has is left as it is.
std::vector<Result> repair(const std::vector<CrucibleHealth::Finding>& findings,
                           const std::filesystem::path& linkRoot,
                           const std::vector<std::filesystem::path>& candidateRoots,
                           Repoint repoint = &CrucibleAdmin::repoint);

} // namespace ManagerCore::CrucibleRepair
