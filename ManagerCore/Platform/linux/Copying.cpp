#include "ManagerCore/Platform/Copying.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <string>
#include <string_view>
#include <sys/ioctl.h>
#include <sys/sendfile.h>
#include <sys/xattr.h>
#include <unistd.h>
#include <vector>

#include <linux/fs.h>

#include "ManagerCore/Platform/Attributes.h"
#include "ManagerCore/Platform/UniqueFd.h"

namespace ManagerCore::Platform::Copying
{

namespace
{

// An entry that the calls for extended attributes reach: an open file, or by its folder and name, its links not
// followed.
class Entry
{
public:
    explicit Entry(int descriptor)
        : descriptor_(descriptor)
    {
    }
    Entry(int folder, const char* name)
        : path_("/proc/self/fd/" + std::to_string(folder) + "/" + name)
    {
    }

    [[nodiscard]] ssize_t list(char* buffer, std::size_t size) const
    {
        return path_.empty() ? ::flistxattr(descriptor_, buffer, size) : ::llistxattr(path_.c_str(), buffer, size);
    }
    [[nodiscard]] ssize_t get(const std::string& name, char* buffer, std::size_t size) const
    {
        return path_.empty() ? ::fgetxattr(descriptor_, name.c_str(), buffer, size)
                             : ::lgetxattr(path_.c_str(), name.c_str(), buffer, size);
    }
    [[nodiscard]] int set(const std::string& name, const std::vector<char>& value) const
    {
        return path_.empty() ? ::fsetxattr(descriptor_, name.c_str(), value.data(), value.size(), 0)
                             : ::lsetxattr(path_.c_str(), name.c_str(), value.data(), value.size(), 0);
    }
    [[nodiscard]] int remove(const char* name) const
    {
        return path_.empty() ? ::fremovexattr(descriptor_, name) : ::lremovexattr(path_.c_str(), name);
    }

    // What users and programs write is not.
    static bool isOptional(std::string_view name) { return !name.starts_with("user."); }
    static constexpr int noSuchAttribute = ENODATA;

private:
    int descriptor_ = -1;
    std::string path_;
};

AttributeError copyAll(const Entry& source, const Entry& destination)
{
    const auto names = Attributes::copyAll(source, destination);
    if (!names) {
        return names.error();
    }
    // A folder's default list is handed down to what is made in it.
    for (const char* list : {"system.posix_acl_access", "system.posix_acl_default"}) {
        const bool inherited = std::ranges::find(*names, list) == names->end();
        if (inherited && destination.remove(list) != 0 && errno != ENODATA && errno != ENOTSUP) {
            return {.error = errno, .name = list};
        }
    }
    return {};
}

} // namespace

NewFile makeFile(int source, int folder, const char* name, bool clone)
{
    constexpr int flags = O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
    const int descriptor = ::openat(folder, name, flags, S_IRUSR | S_IWUSR);
    return {.descriptor = descriptor, .cloned = descriptor >= 0 && clone && ::ioctl(descriptor, FICLONE, source) == 0};
}

bool canClone(int source, int folder)
{
    const UniqueFd unnamed(::openat(folder, ".", O_RDWR | O_TMPFILE | O_CLOEXEC, S_IRUSR | S_IWUSR));
    return unnamed.isOpen() && ::ioctl(unnamed.get(), FICLONE, source) == 0;
}

bool copyInside(int source, int destination, off_t offset, std::size_t size)
{
    off_t from = offset;
    off_t to = offset;
    while (size > 0) {
        const ssize_t count = ::copy_file_range(source, &from, destination, &to, size, 0);
        if (count <= 0) {
            break;
        }
        size -= static_cast<std::size_t>(count);
    }
    // Between two file systems there is only the other way.
    if (size > 0 && ::lseek(destination, to, SEEK_SET) != to) {
        return false;
    }
    while (size > 0) {
        const ssize_t count = ::sendfile(destination, source, &from, size);
        if (count <= 0) {
            return false;
        }
        size -= static_cast<std::size_t>(count);
    }
    return true;
}

void startWriteBack(int file, off_t begin, off_t length)
{
    [[maybe_unused]] const int result = ::sync_file_range(file, begin, length, SYNC_FILE_RANGE_WRITE);
}

AttributeError copyAttributes(int source, int destination) { return copyAll(Entry(source), Entry(destination)); }

AttributeError copyAttributesAt(int sourceFolder, const char* source, int folder, const char* name)
{
    return copyAll(Entry(sourceFolder, source), Entry(folder, name));
}

// The status has none here.
void copyFlags(int /*copy*/, const struct stat& /*from*/) { }

int flushFile(int file, off_t length)
{
    constexpr off_t small = off_t {1} << 20; // syncfs takes thousands of them at once
    return length < small || ::fsync(file) == 0 ? 0 : errno;
}

int flushVolume(int folder) { return ::syncfs(folder) == 0 ? 0 : errno; }

FileTimes fileTimes(const struct stat& info)
{
    return {.accessed = info.st_atim, .modified = info.st_mtim, .changed = info.st_ctim};
}

} // namespace ManagerCore::Platform::Copying
