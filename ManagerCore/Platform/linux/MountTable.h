#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// The kernel's table of mounts, as /proc/self/mountinfo gives it. Never throws; malformed lines are passed over.
namespace ManagerCore::Platform::MountTable
{

struct Mount {
    std::filesystem::path mountPoint;
    std::string source; // the device, such as /dev/sda1, or a name for what has none
};

std::vector<Mount> parse(std::string_view mountinfo);

// The mount that holds an absolute path without links: the longest mount point that leads it, the last one mounted
// there when there are several.
std::optional<Mount> holding(const std::vector<Mount>& mounts, const std::filesystem::path& path);

// A label's name in /dev/disk/by-label, such as "My\x20Disk", as its user wrote it.
std::string decodedLabel(std::string_view name);

// The label of the file system on `device`, found among the links of `labelFolder`; empty when it has none.
std::string labelOf(const std::filesystem::path& device, const std::filesystem::path& labelFolder);

} // namespace ManagerCore::Platform::MountTable
