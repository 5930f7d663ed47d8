#pragma once

#include <filesystem>
#include <optional>
#include <vector>

#include "ManagerCore/Platform/Platform.h"

// What the implementations for both platforms share. Any thread.
namespace ManagerCore::Platform::Posix
{

// The home by the passwd entry of the user that runs the program; absent where there is none.
std::optional<std::filesystem::path> homeOfOwner();

// The value of an environment variable; absent when it is unset or empty.
std::optional<std::filesystem::path> environmentPath(const char* name);

// The folder as an absolute path without a trailing slash.
std::filesystem::path absoluteFolder(const std::filesystem::path& folder);

// The first of the candidates that names a folder, as absoluteFolder gives it; "/" when none does.
std::filesystem::path firstFolder(const std::vector<std::optional<std::filesystem::path>>& candidates);

// What may name the home, in the platform's order.
std::vector<std::optional<std::filesystem::path>> homeCandidates();

// The file of the running program, links resolved; empty when the system does not tell.
std::filesystem::path executable();

// The application bundle that the executable lies in, else the executable.
std::filesystem::path applicationOf(const std::filesystem::path& executable);

// The folder of resources beside bin, as a build and an installation have it, else the bundle's; absent without either.
std::optional<std::filesystem::path> resourcesOf(const std::filesystem::path& executable);

// Whether something exists at the path, links followed.
bool exists(const std::filesystem::path& file);

// Whether both open files are on one device.
bool areOnOneDevice(int file, int other);

// Opens the file in the folder for writing or, where its mode forbids that, for reading; no link is followed. -1 with
// errno.
int openClone(int folder, const char* name);

// Closes the descriptor in programs that are started from now on. False with errno.
bool closeOnExec(int descriptor);

// Adds to the flags that are set already. 0 or an errno.
int addSpawnFlag(posix_spawnattr_t& attributes, int flag);

} // namespace ManagerCore::Platform::Posix
