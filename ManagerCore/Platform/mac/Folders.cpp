#include "ManagerCore/Platform/Platform.h"

#include <array>
#include <climits>
#include <fcntl.h>
#include <sys/attr.h>
#include <sys/mount.h>
#include <unistd.h>

#include <libproc.h>

#include "ManagerCore/Platform/MacRules.h"
#include "ManagerCore/Platform/Posix.h"

namespace ManagerCore::Platform
{

namespace
{

using std::filesystem::path;

std::string nameAt(const std::string& mountPoint)
{
    attrlist wanted {.bitmapcount = ATTR_BIT_MAP_COUNT, .volattr = ATTR_VOL_INFO | ATTR_VOL_NAME};
    struct Reply {
        std::uint32_t length;
        attrreference_t name;
        std::array<char, 1024> text; // more than a name with its zero byte takes
    };
    Reply reply {};
    const bool isKnown
        = ::getattrlist(mountPoint.c_str(), &wanted, &reply, sizeof reply, 0) == 0 && reply.name.attr_length != 0;
    return isKnown ? reinterpret_cast<const char*>(&reply.name) + reply.name.attr_dataoffset : "";
}

} // namespace

std::vector<std::optional<path>> Posix::homeCandidates()
{
    return {environmentPath("CFFIXED_USER_HOME"), homeOfOwner(), environmentPath("HOME")};
}

path Posix::executable()
{
    std::array<char, PROC_PIDPATHINFO_MAXSIZE> file {};
    ::proc_pidpath(::getpid(), file.data(), file.size());
    return file.data();
}

path shortForm(const path& given) { return MacRules::shortForm(given); }

TemporaryFolders temporaryFolders()
{
    std::array<char, PATH_MAX> folder {};
    const bool known = ::confstr(_CS_DARWIN_USER_TEMP_DIR, folder.data(), folder.size()) != 0;
    return MacRules::temporaryFolders(known ? std::optional<path>(folder.data()) : std::nullopt);
}

std::optional<Volume> volumeOf(const path& path)
{
    struct statfs info {};
    return ::statfs(path.c_str(), &info) == 0 ? MacRules::volumeAt(info.f_mntonname, &nameAt) : std::nullopt;
}

std::int64_t allocatedSize(const struct stat& info) { return bytesInBlocks(info); }

int openFolderAt(int root, const char* path)
{
    return ::openat(root, path, O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOFOLLOW_ANY);
}

void unshareDescriptorTable(int /*kept*/) { } // threads always share it

} // namespace ManagerCore::Platform
