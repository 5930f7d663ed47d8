#include "ManagerCore/Platform/Platform.h"

#include <algorithm>
#include <fstream>
#include <sstream>
#include <system_error>

#include "ManagerCore/Platform/linux/MountTable.h"

namespace ManagerCore::Platform
{

namespace
{

std::string nameOf(const MountTable::Mount& mount)
{
    std::string label = MountTable::labelOf(mount.source, "/dev/disk/by-label");
    if (!label.empty()) {
        return label;
    }
    return mount.mountPoint == "/" ? "/" : mount.mountPoint.filename().string();
}

} // namespace

// st_blksize is the file system's block size here, or larger, and needs no call that could fail.
std::int64_t allocatedSize(const struct stat& info)
{
    const auto unit = std::max<std::int64_t>(info.st_blksize, 1);
    const std::int64_t wholeBlocks = (static_cast<std::int64_t>(info.st_size) + unit - 1) / unit * unit;
    return std::min(bytesInBlocks(info), wholeBlocks);
}

std::optional<Volume> volumeOf(const std::filesystem::path& path)
{
    std::error_code error;
    const std::filesystem::path real = std::filesystem::canonical(path, error);
    const std::ifstream table("/proc/self/mountinfo", std::ios::binary);
    if (error || !table) {
        return std::nullopt;
    }
    std::ostringstream text;
    if (!(text << table.rdbuf())) { // which throws nothing when reading fails
        return std::nullopt;
    }
    const auto mount = MountTable::holding(MountTable::parse(text.str()), real);
    if (!mount) {
        return std::nullopt;
    }
    return Volume {.mountPoint = mount->mountPoint, .name = nameOf(*mount), .isRoot = mount->mountPoint == "/"};
}

} // namespace ManagerCore::Platform
