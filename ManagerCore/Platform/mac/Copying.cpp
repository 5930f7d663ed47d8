#include "ManagerCore/Platform/Copying.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/attr.h>
#include <sys/clonefile.h>
#include <sys/mount.h>
#include <unistd.h>

#include <copyfile.h>

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

int keepBetween(int source, int destination)
{
    return ::fcopyfile(source, destination, nullptr, COPYFILE_ACL | COPYFILE_XATTR) == 0 ? 0 : errno;
}

} // namespace

NewFile makeFile(int source, int folder, const char* name, bool clone)
{
    constexpr int flags = O_RDWR | O_NOFOLLOW | O_CLOEXEC;
    if (clone && ::fclonefileat(source, folder, name, CLONE_NOOWNERCOPY) == 0) {
        // Its mode came along and may keep its own maker from opening it for writing; reading is enough for the rest.
        const int writable = ::openat(folder, name, flags);
        return {.descriptor = writable >= 0 ? writable : ::openat(folder, name, O_RDONLY | O_NOFOLLOW | O_CLOEXEC),
                .cloned = true,
                .dressed = true};
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

int keepExtended(int source, int destination) { return keepBetween(source, destination); }

int keepExtendedOfLink(int sourceFolder, const char* source, int folder, const char* name)
{
    const UniqueFd from(::openat(sourceFolder, source, O_RDONLY | O_SYMLINK | O_CLOEXEC));
    const UniqueFd to(from.isOpen() ? ::openat(folder, name, O_RDONLY | O_SYMLINK | O_CLOEXEC) : -1);
    return to.isOpen() ? keepBetween(from.get(), to.get()) : errno;
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
