#pragma once

#include <filesystem>
#include <string_view>
#include <vector>

// The paths that launchctl uses. Nothing here creates anything.
namespace LinuxTools::Paths
{

// XDG_RUNTIME_DIR; empty when that is not a folder of this user.
std::filesystem::path runtimeFolder();

// The folder for units that stay after a logout, and the one for units that do not.
std::filesystem::path configUnits();
std::filesystem::path runtimeUnits();

// The folder for locks and states: in the runtime folder, else in the home.
std::filesystem::path stateFolder();
// The folders with the records of services that run without a user manager; new ones go into the first.
std::vector<std::filesystem::path> serviceFolders();

// A file that exists while the service is loaded in this login session.
std::filesystem::path loadedMark(std::string_view label);

} // namespace LinuxTools::Paths
