#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace ManagerCore::Remover
{

struct Result {
    std::string path;
    bool trashed = false;
    std::optional<std::string> error; // one sentence why; absent on success

    bool operator==(const Result&) const = default;
};

// Why the item cannot be moved to the Trash, as far as that is known beforehand: one sentence, absent when it may be.
// It must exist, and its path must end in its own name: "x/.." and "x/." would move a folder that the user did not
// name.
std::optional<std::string> check(const std::filesystem::path& path);

// Moves each item to the Trash, a link itself and never its target; one result per path, in order. What fails stays
// where it is and does not keep the others from being moved. Blocks: not for the interface thread.
std::vector<Result> trash(const std::vector<std::filesystem::path>& paths);

} // namespace ManagerCore::Remover
