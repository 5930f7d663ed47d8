#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>

#include "ManagerCore/Inventory/ArtifactCategory.h"

namespace ManagerCore
{

// One file, folder or link that the product put on disk. Lists and selections know it by its path alone.
struct FoundItem {
    std::filesystem::path url;
    ArtifactCategory category = ArtifactCategory::application;
    std::int64_t sizeBytes = 0;

    [[nodiscard]] std::string id() const { return url.string(); }
    [[nodiscard]] std::string path() const { return id(); }
    // The last component of the path, for a folder too.
    [[nodiscard]] std::string name() const;
    [[nodiscard]] std::string humanSize() const;

    // All three fields, the path to the letter.
    bool operator==(const FoundItem& other) const
    {
        return url.native() == other.url.native() && category == other.category && sizeBytes == other.sizeBytes;
    }
};

} // namespace ManagerCore

template <> struct std::hash<ManagerCore::FoundItem> {
    std::size_t operator()(const ManagerCore::FoundItem& item) const noexcept;
};
