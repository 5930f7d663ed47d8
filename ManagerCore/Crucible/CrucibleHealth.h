#pragma once

#include <filesystem>
#include <vector>

// Finds the links of the store and tells which of them lead nowhere. Changes nothing and never fails; what cannot be
// read gives no findings. Walks whole trees: not for the interface thread.
namespace ManagerCore::CrucibleHealth
{

struct Finding {
    std::filesystem::path link;
    std::filesystem::path target; // absolute, not standardised
    bool resolves = false; // something exists at the target, links followed

    bool operator==(const Finding&) const = default;
};

// Every link below the root, in the order of the paths; links are not followed, but for the root itself.
std::vector<Finding> scan(const std::filesystem::path& root);

// The findings of each root, one root after the other.
std::vector<Finding> scanAll(const std::vector<std::filesystem::path>& roots);

} // namespace ManagerCore::CrucibleHealth
