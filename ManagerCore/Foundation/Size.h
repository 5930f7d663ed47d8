#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

namespace ManagerCore::Size
{

// Bytes that the item occupies on disk, a folder with all its contents. A path that is a link to a folder is followed;
// links inside are not and add nothing, nor do folders themselves; hard links count each time. Nothing there, or
// nothing readable, is 0. Walks the whole tree: not for the interface thread.
std::int64_t of(const std::filesystem::path& path);

// A byte count for people, in KB, MB or GB of a thousand: "Zero KB", "4 KB", "1.2 MB", "1,234.57 GB".
std::string human(std::int64_t bytes);

} // namespace ManagerCore::Size
