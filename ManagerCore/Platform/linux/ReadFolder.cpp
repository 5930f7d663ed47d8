#include "ManagerCore/Platform/Platform.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <linux/openat2.h>
#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "ManagerCore/Platform/Posix.h"

namespace ManagerCore::Platform
{

namespace
{

bool isDots(const char* name) { return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0')); }

} // namespace

bool readFolder(int folder, const std::function<void(std::string_view, FileKind)>& entry)
{
    // The system call itself: readdir would add a buffer of its own and a heap allocation for each folder.
    alignas(dirent64) std::array<char, 32768> buffer;
    while (true) {
        const ssize_t filled = ::getdents64(folder, buffer.data(), buffer.size());
        if (filled <= 0) {
            return filled == 0;
        }
        for (ssize_t at = 0; at < filled;) {
            const auto* found = reinterpret_cast<const dirent64*>(buffer.data() + at);
            if (!isDots(found->d_name)) {
                entry(found->d_name, Posix::kindOf(found->d_type));
            }
            at += found->d_reclen;
        }
    }
}

int openFolderAt(int root, const char* path)
{
    open_how how {};
    how.flags = O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOFOLLOW;
    how.resolve = RESOLVE_NO_SYMLINKS;
    const auto opened = static_cast<int>(::syscall(SYS_openat2, root, path, &how, sizeof how));
    if (opened >= 0 || (errno != ENOSYS && errno != EPERM)) {
        return opened;
    }
    // Kernels before 5.6, and sandboxes that refuse calls they do not know, guard the last name only.
    return ::openat(root, path, O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOFOLLOW);
}

void ownDescriptors(int kept)
{
    constexpr unsigned last = ~0U;
    const auto first = static_cast<unsigned>(kept);
#ifdef __SANITIZE_THREAD__
    constexpr bool mistaken = true; // ThreadSanitizer takes descriptors of one number for one, whosever they are
#else
    constexpr bool mistaken = false;
#endif
    if (mistaken || kept <= STDERR_FILENO || ::unshare(CLONE_FILES) != 0) {
        return;
    }
    // Copies of others' pipes must not stay open here.
    if (first > STDERR_FILENO + 1) {
        ::close_range(STDERR_FILENO + 1, first - 1, 0);
    }
    ::close_range(first + 1, last, 0);
}

} // namespace ManagerCore::Platform
