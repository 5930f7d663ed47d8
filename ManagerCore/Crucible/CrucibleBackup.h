#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "ManagerCore/Crucible/CrucibleHealth.h"

// Where the store's links stand and where they lead, as a text that CrucibleRestore reads. The weights are no part of
// it. Never fails; writes nothing to disk. Walks whole trees: not for the interface thread.
namespace ManagerCore::CrucibleBackup
{

// A document and what it could not take up: paths that are not UTF-8 text, have a line feed in them or end with a
// double quote would come back as other paths, since nothing is escaped in it.
struct Backup {
    std::string document;
    std::vector<CrucibleHealth::Finding> leftOut;
};

// Every link below the roots, with the configuration file's text where there is one that can be read.
Backup make(const std::vector<std::filesystem::path>& roots, const std::optional<std::filesystem::path>& configPath);

// The document alone.
std::string exported(const std::vector<std::filesystem::path>& roots,
                     const std::optional<std::filesystem::path>& configPath);

} // namespace ManagerCore::CrucibleBackup
