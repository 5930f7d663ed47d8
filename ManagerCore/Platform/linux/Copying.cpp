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
    void remove(const char* name) const
    {
        // Not being there is what is wanted.
        [[maybe_unused]] const int result
            = path_.empty() ? ::fremovexattr(descriptor_, name) : ::lremovexattr(path_.c_str(), name);
    }

private:
    int descriptor_ = -1;
    std::string path_;
};

// Asks for the size first, and again when it has grown meanwhile. False with errno.
template <class Ask> bool answer(std::vector<char>& buffer, Ask ask)
{
    for (;;) {
        const ssize_t size = ask(nullptr, 0);
        if (size < 0) {
            return false;
        }
        buffer.resize(static_cast<std::size_t>(size));
        const ssize_t got = size == 0 ? 0 : ask(buffer.data(), buffer.size());
        if (got >= 0) {
            buffer.resize(static_cast<std::size_t>(got));
            return true;
        }
        if (errno != ERANGE) {
            return false;
        }
    }
}

// What users and programs write counts, the access lists too where the volume has any; labels of the system's own
// may be refused.
bool mayBeMissing(std::string_view name, int error)
{
    if (name.starts_with("user.")) {
        return false;
    }
    return error == EPERM || error == EACCES || error == EINVAL || error == ENOTSUP;
}

// The name of the list, up to its end, that begins at `at`.
std::string nameAt(const std::vector<char>& names, std::size_t at) { return {names.data() + at}; }

int keepOne(const Entry& source, const Entry& destination, const std::string& name)
{
    std::vector<char> value;
    if (!answer(value, [&](char* buffer, std::size_t size) { return source.get(name, buffer, size); })) {
        return errno == ENODATA || mayBeMissing(name, errno) ? 0 : errno;
    }
    return destination.set(name, value) != 0 && !mayBeMissing(name, errno) ? errno : 0;
}

int keepAll(const Entry& source, const Entry& destination)
{
    std::vector<char> names;
    if (!answer(names, [&source](char* buffer, std::size_t size) { return source.list(buffer, size); })) {
        return errno == ENOTSUP ? 0 : errno;
    }
    names.push_back('\0');
    bool accessList = false;
    for (std::size_t at = 0; at + 1 < names.size();) {
        const std::string name = nameAt(names, at);
        if (const int error = keepOne(source, destination, name); error != 0) {
            return error;
        }
        accessList = accessList || name == "system.posix_acl_access";
        at += name.size() + 1;
    }
    if (!accessList) {
        destination.remove("system.posix_acl_access"); // a folder's default list may have given one to the copy
    }
    return 0;
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
    const int unnamed = ::openat(folder, ".", O_RDWR | O_TMPFILE | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (unnamed < 0) {
        return false;
    }
    const bool cloned = ::ioctl(unnamed, FICLONE, source) == 0;
    ::close(unnamed);
    return cloned;
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

int keepExtended(int source, int destination) { return keepAll(Entry(source), Entry(destination)); }

int keepExtendedOfLink(int sourceFolder, const char* source, int folder, const char* name)
{
    return keepAll(Entry(sourceFolder, source), Entry(folder, name));
}

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
