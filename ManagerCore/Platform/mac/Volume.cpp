#include "ManagerCore/Platform/Platform.h"

#include <array>
#include <cstddef>
#include <cstring>
#include <string_view>
#include <sys/attr.h>
#include <sys/mount.h>
#include <unistd.h>

namespace ManagerCore::Platform
{

namespace
{

// User files live on a data volume that belongs to the root file system and shows its name without the suffix.
constexpr std::string_view dataMountPoint = "/System/Volumes/Data";
constexpr std::string_view dataSuffix = " - Data";

std::optional<std::string> nameAt(const char* mountPoint)
{
    struct attrlist wanted {};
    wanted.bitmapcount = ATTR_BIT_MAP_COUNT;
    wanted.volattr = ATTR_VOL_INFO | ATTR_VOL_NAME;
    struct Reply {
        std::uint32_t length;
        attrreference_t name;
        std::array<char, 1024> text;
    };
    Reply reply {};
    if (::getattrlist(mountPoint, &wanted, &reply, sizeof reply, 0) != 0 || reply.name.attr_length == 0) {
        return std::nullopt;
    }
    const char* text = reinterpret_cast<const char*>(&reply.name) + reply.name.attr_dataoffset;
    return std::string(text, ::strnlen(text, reply.name.attr_length));
}

} // namespace

std::optional<Volume> volumeOf(const std::filesystem::path& path)
{
    struct statfs facts {};
    if (::statfs(path.c_str(), &facts) != 0) {
        return std::nullopt;
    }
    const std::string_view mountPoint = facts.f_mntonname;
    auto name = nameAt(facts.f_mntonname);
    if (!name) {
        return std::nullopt;
    }
    if (mountPoint == dataMountPoint && name->ends_with(dataSuffix)) {
        name->resize(name->size() - dataSuffix.size());
    }
    return Volume {.mountPoint = mountPoint,
                   .name = std::move(*name),
                   .isRoot = mountPoint == "/" || mountPoint == dataMountPoint};
}

} // namespace ManagerCore::Platform
