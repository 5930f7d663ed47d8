#pragma once

#include <filesystem>
#include <string_view>
#include <vector>

// Where things lie. Nothing here creates anything.
namespace LinuxTools::Places
{

// The user's runtime folder; empty when there is none that is the user's own.
std::filesystem::path runtimeFolder();

// Where a unit file stays for good, and where it goes with the login.
std::filesystem::path lastingUnits();
std::filesystem::path passingUnits();

// The folder of this tool's own state: in the runtime folder, else in the home.
std::filesystem::path stateFolder();
// The folders in which agents may be found that run without a user manager, the one for new ones first.
std::vector<std::filesystem::path> agentsFolders();

// A file that stands for as long as the agent is loaded in this login.
std::filesystem::path loadedMark(std::string_view label);

} // namespace LinuxTools::Places
