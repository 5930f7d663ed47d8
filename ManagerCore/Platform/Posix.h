#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "ManagerCore/Platform/Platform.h"

// What both platforms have in common, for their own use. Any thread.
namespace ManagerCore::Platform::Posix
{

// The kind of an entry by the type that the system read with its name.
FileKind kindOf(unsigned char type);

// Homes by the passwd entries; nothing where there is no entry.
std::optional<std::filesystem::path> homeOfOwner();
std::optional<std::filesystem::path> homeOf(const std::string& user);

std::filesystem::path withoutTrailingSlash(const std::filesystem::path& folder);

// Whether something is at the path, links followed.
bool isThere(const std::filesystem::path& file);

} // namespace ManagerCore::Platform::Posix
