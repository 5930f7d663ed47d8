#pragma once

#include <filesystem>
#include <optional>
#include <vector>

#include "ManagerCore/Installers/Database.h"

// The databases that a folder of descriptors tells of.
namespace ManagerCore::DatabaseCatalog
{

// The folder that CM_DATABASES_DIR names, whether it exists or not, else "databases" among the program's resources;
// absent when the program has none.
std::optional<std::filesystem::path> folder();

// The files of a folder that are descriptors by their name ("*.toml"), in the order of their names.
std::vector<std::filesystem::path> descriptorsIn(const std::filesystem::path& folder);

// The databases that `folder` tells of by name, those of one name by file. What cannot be read is left out; empty
// when there is no folder. Reads small files: not for the interface thread.
std::vector<Database> load();

} // namespace ManagerCore::DatabaseCatalog
