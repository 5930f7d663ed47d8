#pragma once

#include <filesystem>
#include <optional>

namespace ManagerCore
{

// A symbolic link of the store, or what stands at a link's place.
struct CrucibleLink {
    std::filesystem::path link; // as given
    std::optional<std::filesystem::path> target; // where it leads, not standardised; absent when nothing stands there
    bool resolves = false; // something exists at the target

    [[nodiscard]] bool exists() const { return target.has_value(); }
    bool operator==(const CrucibleLink&) const = default;
};

} // namespace ManagerCore
