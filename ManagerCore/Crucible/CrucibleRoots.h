#pragma once

#include <filesystem>
#include <optional>
#include <vector>

// Where the store of weights is. The environment is read at each call; an empty variable counts as unset.
namespace ManagerCore::CrucibleRoots
{

// ZYN_CRUCIBLE_LOCAL, else ~/.zyn-crucible; whether anything is there or not.
std::filesystem::path local();

// ZYN_CRUCIBLE_ROOT, else ~/.zyn/crucible; whether anything is there or not.
std::filesystem::path canonical();

// The local and the canonical root, those that exist, each place once.
std::vector<std::filesystem::path> all();

// The first crucible.toml in a root of `all`.
std::optional<std::filesystem::path> configPath();

} // namespace ManagerCore::CrucibleRoots
