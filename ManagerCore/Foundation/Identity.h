#pragma once

#include <expected>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace ManagerCore
{

// Who the managed product is: what a descriptor file says of its names and places. Paths stand as written, "~" and all.
struct Identity {
    std::string name = "app"; // short name, used in file names
    std::string display = "Code";
    std::string bundlePrefix;
    std::vector<std::string> appPaths;
    std::vector<std::string> binaries; // executables, the preferred one first
    std::vector<std::string> configDirs;
    std::vector<std::string> modelPaths;
    std::vector<std::string> modelLocations; // the first is the crucible's root link
    std::string modelDisplay = "Model";
    std::string editorExtensionId;
    std::string marker; // text compiled into the product's own executables
    std::vector<std::string> sweepNames;
    std::vector<std::string> sweepDirs;

    bool operator==(const Identity&) const = default;

    static const Identity empty;

    // One sentence why when the file cannot be read as UTF-8; otherwise always a record, absent keys at their defaults.
    static std::expected<Identity, std::string> load(const std::filesystem::path& file);

    // The first of `binaries` that exists, executable or not. Asks the disk.
    [[nodiscard]] std::optional<std::filesystem::path> installedExecutable() const;
};

} // namespace ManagerCore
