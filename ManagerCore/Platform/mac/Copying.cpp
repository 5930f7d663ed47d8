#include "ManagerCore/Platform/Copying.h"

#include <cerrno>
#include <cstdint>
#include <fcntl.h>
#include <memory>
#include <string_view>
#include <sys/acl.h>
#include <sys/attr.h>
#include <sys/clonefile.h>
#include <sys/mount.h>
#include <sys/xattr.h>
#include <type_traits>
#include <unistd.h>
#include <vector>

#include "ManagerCore/Platform/Attributes.h"
#include "ManagerCore/Platform/UniqueFd.h"

namespace ManagerCore::Platform::Copying
{

namespace
{

bool clonesFiles(const struct statfs& volume)
{
    attrlist wanted {.bitmapcount = ATTR_BIT_MAP_COUNT, .volattr = ATTR_VOL_INFO | ATTR_VOL_CAPABILITIES};
    struct Reply {
        std::uint32_t length;
        vol_capabilities_attr_t capabilities;
    };
    Reply reply {};
    if (::getattrlist(volume.f_mntonname, &wanted, &reply, sizeof reply, 0) != 0) {
        return false;
    }
    const auto& interfaces = reply.capabilities.valid[VOL_CAPABILITIES_INTERFACES];
    return (interfaces & reply.capabilities.capabilities[VOL_CAPABILITIES_INTERFACES] & VOL_CAP_INT_CLONE) != 0;
}

// An open file, folder or link, as the calls for extended attributes take it.
class Entry
{
public:
    explicit Entry(int descriptor)
        : descriptor_(descriptor)
    {
    }

    [[nodiscard]] ssize_t list(char* buffer, std::size_t size) const
    {
        return ::flistxattr(descriptor_, buffer, size, 0);
    }
    [[nodiscard]] ssize_t get(const std::string& name, char* buffer, std::size_t size) const
    {
        return ::fgetxattr(descriptor_, name.c_str(), buffer, size, 0, 0);
    }
    [[nodiscard]] int set(const std::string& name, const std::vector<char>& value) const
    {
        return ::fsetxattr(descriptor_, name.c_str(), value.data(), value.size(), 0, 0);
    }

    // What users and programs of others write is not.
    static bool isOptional(std::string_view name) { return name.starts_with("com.apple."); }
    static constexpr int noSuchAttribute = ENOATTR;

private:
    int descriptor_;
};

using AccessList = std::unique_ptr<std::remove_pointer_t<acl_t>, decltype(&::acl_free)>;

AccessList accessListOf(int file) { return {::acl_get_fd_np(file, ACL_TYPE_EXTENDED), &::acl_free}; }

// 0 or an errno. The copy may have a list that its folder handed down.
int copyAccessList(int source, int destination)
{
    AccessList list = accessListOf(source);
    if (!list && !accessListOf(destination)) {
        return 0;
    }
    if (!list) {
        list.reset(::acl_init(0));
    }
    const bool set = list && ::acl_set_fd_np(destination, list.get(), ACL_TYPE_EXTENDED) == 0;
    return set || Attributes::isRefusal(errno) ? 0 : errno;
}

} // namespace

NewFile makeFile(int source, int folder, const char* name, bool clone)
{
    constexpr int flags = O_RDWR | O_NOFOLLOW | O_CLOEXEC;
    // Systems that do not know CLONE_ACL refuse it; the clone's access list is then the one of its folder.
    for (const std::uint32_t cloning : {CLONE_NOOWNERCOPY | CLONE_ACL, CLONE_NOOWNERCOPY}) {
        if (clone && ::fclonefileat(source, folder, name, cloning) == 0) {
            // Its mode came along and may keep its own maker from opening it for writing; reading is enough for the
            // rest.
            const int writable = ::openat(folder, name, flags);
            return {.descriptor = writable >= 0 ? writable : ::openat(folder, name, O_RDONLY | O_NOFOLLOW | O_CLOEXEC),
                    .cloned = true,
                    .hasAttributes = (cloning & CLONE_ACL) != 0};
        }
    }
    return {.descriptor = ::openat(folder, name, flags | O_CREAT | O_EXCL, S_IRUSR | S_IWUSR)};
}

bool canClone(int source, int folder)
{
    struct stat file {};
    struct stat place {};
    struct statfs volume {};
    return ::fstat(source, &file) == 0 && ::fstat(folder, &place) == 0 && file.st_dev == place.st_dev
        && ::fstatfs(folder, &volume) == 0 && clonesFiles(volume);
}

// There is no such call here.
bool copyInside(int /*source*/, int /*destination*/, off_t /*offset*/, std::size_t /*size*/) { return false; }

// The system writes back by itself soon enough; there is no call that only begins to.
void startWriteBack(int /*file*/, off_t /*begin*/, off_t /*length*/) { }

AttributeError copyAttributes(int source, int destination)
{
    const auto names = Attributes::copyAll(Entry(source), Entry(destination));
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
    AttributeError error = copyAttributes(from.get(), to.get());
    if (error.error == 0) {
        copyFlags(to.get(), info);
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

// To the drive here, and from the drive's own memory by flushVolume.
int flushFile(int file, off_t /*length*/) { return ::fsync(file) == 0 ? 0 : errno; }

int flushVolume(int folder)
{
    if (::fcntl(folder, F_FULLFSYNC) == 0) {
        return 0;
    }
    // Drives of other makes do not know it.
    return ::fsync(folder) == 0 ? 0 : errno;
}

FileTimes fileTimes(const struct stat& info)
{
    return {.accessed = info.st_atimespec, .modified = info.st_mtimespec, .changed = info.st_ctimespec};
}

} // namespace ManagerCore::Platform::Copying
