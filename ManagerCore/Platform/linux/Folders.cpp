#include "ManagerCore/Platform/Platform.h"

#include <cerrno>
#include <fcntl.h>
#include <linux/openat2.h>
#include <sched.h>
#include <sys/syscall.h>
#include <system_error>
#include <unistd.h>

#include "ManagerCore/Platform/Posix.h"

namespace ManagerCore::Platform
{

using std::filesystem::path;

std::vector<std::optional<path>> Posix::homeCandidates() { return {environmentPath("HOME"), homeOfOwner()}; }

path Posix::executable()
{
    std::error_code error;
    const path file = std::filesystem::read_symlink("/proc/self/exe", error);
    return error ? path {} : file;
}

path shortForm(const path& given) { return given; }

TemporaryFolders temporaryFolders()
{
    return {
        .caches = Posix::absoluteFolder(Posix::environmentPath("XDG_CACHE_HOME").value_or(homeFolder() / ".cache")),
        .temporary = Posix::absoluteFolder(Posix::environmentPath("TMPDIR").value_or("/tmp")),
        .shared = true,
    };
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
    // Kernels before 5.6, and sandboxes that refuse calls they do not know, check the last name only.
    return ::openat(root, path, O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOFOLLOW);
}

void unshareDescriptorTable(int kept)
{
    constexpr unsigned last = ~0U;
    const auto first = static_cast<unsigned>(kept);
#ifdef __SANITIZE_THREAD__
    constexpr bool isConfused = true; // ThreadSanitizer knows one descriptor table for the process only
#else
    constexpr bool isConfused = false;
#endif
    if (isConfused || kept <= STDERR_FILENO || ::unshare(CLONE_FILES) != 0) {
        return;
    }
    // Copies of pipes would keep their readers waiting for the end.
    if (first > STDERR_FILENO + 1) {
        ::close_range(STDERR_FILENO + 1, first - 1, 0);
    }
    ::close_range(first + 1, last, 0);
}

} // namespace ManagerCore::Platform
