#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include "ManagerCore/Platform/Platform.h"

// Rules of macOS that need no system call of its own: they are compiled and tested on every system.
namespace ManagerCore::Platform::MacRules
{

// Without the leading /private of /private/tmp, /private/var and /private/etc, where the short form exists.
std::filesystem::path shortForm(const std::filesystem::path& given);

// "C" is the sibling of the user's "T" folder; /tmp for both, shared with other users, where the system names none.
TemporaryFolders temporaryFolders(const std::optional<std::filesystem::path>& ofUser);

// The volume at a mount point. The data volume belongs to the root file system and has the name of the volume at "/";
// where that is unknown, its own without " - Data". `nameAt` gives the name of the volume at a mount point, empty when
// unknown. Absent for a volume without a name.
using NameAt = std::function<std::string(const std::string& mountPoint)>;
std::optional<Volume> volumeAt(const std::string& mountPoint, const NameAt& nameAt);

} // namespace ManagerCore::Platform::MacRules
