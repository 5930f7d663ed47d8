#include "ManagerCore/Platform/Copying.h"

#include <cerrno>
#include <cstdint>
#include <fcntl.h>
#include <string_view>
#include <sys/acl.h>
#include <sys/clonefile.h>
#include <sys/mount.h>
#include <sys/xattr.h>
#include <unistd.h>
#include <vector>

#include "ManagerCore/Platform/Attributes.h"
#include "ManagerCore/Platform/Posix.h"
#include "ManagerCore/Platform/UniqueFd.h"

namespace ManagerCore::Platform::Copying
{

namespace
{

// An open file, folder or link, as the calls for extended attributes take it.
struct Entry {
    int file = -1;

    [[nodiscard]] ssize_t list(char* buffer, std::size_t size) const { return ::flistxattr(file, buffer, size, 0); }
    [[nodiscard]] ssize_t get(const std::string& name, char* buffer, std::size_t size) const
    {
        return ::fgetxattr(file, name.c_str(), buffer, size, 0, 0);
    }
    [[nodiscard]] int set(const std::string& name, const std::vector<char>& value) const
    {
        return ::fsetxattr(file, name.c_str(), value.data(), value.size(), 0, 0);
    }
    static bool isOptional(std::string_view name) { return name.starts_with("com.apple."); }
    static constexpr int noSuchAttribute = ENOATTR;
};

// 0 or an errno. A source without a list empties the one that the copy's folder handed down.
int copyAccessList(int source, int destination)
{
    const acl_t found = ::acl_get_fd_np(source, ACL_TYPE_EXTENDED);
    const acl_t list = found != nullptr ? found : ::acl_init(0);
    const bool set = list != nullptr && ::acl_set_fd_np(destination, list, ACL_TYPE_EXTENDED) == 0;
    const int error = set || Attributes::isRefusal(errno) ? 0 : errno;
    ::acl_free(list);
    return error;
}

} // namespace

NewFile makeFile(int source, int folder, const char* name, bool clone)
{
    // Systems that do not know CLONE_ACL refuse it; the clone's access list is then the one of its folder.
    for (const std::uint32_t cloning : {CLONE_NOOWNERCOPY | CLONE_ACL, CLONE_NOOWNERCOPY}) {
        if (clone && ::fclonefileat(source, folder, name, cloning) == 0) {
            return {.descriptor = Posix::openClone(folder, name),
                    .cloned = true,
                    .hasAttributes = (cloning & CLONE_ACL) != 0};
        }
    }
    return {.descriptor
            = ::openat(folder, name, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR)};
}

bool canClone(int source, int folder)
{
    struct statfs volume {};
    return Posix::areOnOneDevice(source, folder) && ::fstatfs(folder, &volume) == 0
        && std::string_view(volume.f_fstypename) == "apfs";
}

// Calls that this system does not have.
bool copyInside(int, int, off_t, std::size_t) { return false; }
void startWriteBack(int, off_t, off_t) { }

AttributeError copyAttributes(int source, int destination)
{
    const auto names = Attributes::copyAll(Entry {source}, Entry {destination});
    return names ? AttributeError {.error = copyAccessList(source, destination), .name = {}} : names.error();
}

AttributeError copyAttributesAt(int sourceFolder, const char* source, int folder, const char* name)
{
    constexpr int flags = O_RDONLY | O_SYMLINK | O_NONBLOCK | O_CLOEXEC;
    const UniqueFd from(::openat(sourceFolder, source, flags));
    const UniqueFd to(from.isOpen() ? ::openat(folder, name, flags) : -1);
    struct stat info {};
    if (!to.isOpen() || ::fstat(from.get(), &info) != 0) {
        return {.error = errno, .name = {}};
    }
    const AttributeError error = copyAttributes(from.get(), to.get());
    if (error.error == 0) {
        copyFlags(to.get(), info); // last: a locked item takes no attributes
    }
    return error;
}

// The flags that belong to the system and to the volume stay as they are.
void copyFlags(int copy, const struct stat& from)
{
    constexpr std::uint32_t owners = UF_NODUMP | UF_IMMUTABLE | UF_APPEND | UF_OPAQUE | UF_HIDDEN;
    struct stat made {};
    if (::fstat(copy, &made) == 0 && ((made.st_flags ^ from.st_flags) & owners) != 0) {
        ::fchflags(copy, (made.st_flags & ~owners) | (from.st_flags & owners));
    }
}

// To the drive; flushVolume empties the drive's own cache, where it can.
int flushFile(int file, off_t /*length*/) { return ::fsync(file) == 0 ? 0 : errno; }
int flushVolume(int folder) { return ::fcntl(folder, F_FULLFSYNC) == 0 || ::fsync(folder) == 0 ? 0 : errno; }

FileTimes fileTimes(const struct stat& info)
{
    return {.accessed = info.st_atimespec, .modified = info.st_mtimespec, .changed = info.st_ctimespec};
}

} // namespace ManagerCore::Platform::Copying
