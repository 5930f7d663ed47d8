#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace ManagerCore
{

// A database that the product can use, as its descriptor tells it. Paths stand as written, "~" and all.
struct Database {
    std::string id;
    std::string name;
    std::string detail;
    std::string source;
    std::string dest;

    bool operator==(const Database&) const = default;

    // Absent when the file cannot be read as UTF-8 or gives no id. The environment's CM_DB_SOURCE_ID takes the place
    // of the descriptor's source.
    static std::optional<Database> load(const std::filesystem::path& file);

    [[nodiscard]] std::filesystem::path sourcePath() const;
    [[nodiscard]] std::filesystem::path destPath() const;
    // Whether anything exists at `destPath` now.
    [[nodiscard]] bool installed() const;
};

} // namespace ManagerCore
