#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

namespace ManagerCore
{

// One declared place of a copy of the weights.
struct CrucibleSite {
    std::string declared; // as the descriptor writes it; the site's identity
    std::filesystem::path real; // home-expanded, one link followed
    bool exists = false;
    std::string volume = "—"; // name of the disk that holds `real`
    bool external = false; // not on the root file system
    std::int64_t sizeBytes = 0;

    [[nodiscard]] const std::string& id() const { return declared; }
    bool operator==(const CrucibleSite&) const = default;
};

} // namespace ManagerCore
