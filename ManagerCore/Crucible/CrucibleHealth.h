#pragma once

#include <filesystem>
#include <string>
#include <vector>

// Finds the links of the store and tells which of them lead nowhere. Changes nothing and never fails; what cannot be
// read gives no findings. Walks whole trees: not for the interface thread.
namespace ManagerCore::CrucibleHealth
{

// Its paths are texts: a store may have many thousands of links, and taking paths apart costs more than finding them.
struct Finding {
    std::string link;
    std::string target; // absolute, not standardised
    bool resolves = false; // something exists at the target, links followed

    bool operator==(const Finding&) const = default;
};

// Every link below the root, in the order of the paths; links are not followed, but for the root itself.
std::vector<Finding> scan(const std::filesystem::path& root);

// The findings of each root, one root after the other.
std::vector<Finding> scanAll(const std::vector<std::filesystem::path>& roots);

} // namespace ManagerCore::CrucibleHealth
