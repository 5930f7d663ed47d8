#include "ManagerCore/Platform/Platform.h"

#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <unistd.h>

#include "ManagerCore/Platform/Posix.h"

namespace ManagerCore::Platform
{

namespace
{

bool isDots(std::string_view name) { return name == "." || name == ".."; }

} // namespace

bool readFolder(int folder, const std::function<void(std::string_view, FileKind)>& entry)
{
    // The stream closes its descriptor: it gets one of its own. A descriptor to read from is opened anew, since a
    // duplicate would share its position with the caller's.
    const int own = ::openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const std::unique_ptr<DIR, decltype(&::closedir)> stream(own < 0 ? nullptr : ::fdopendir(own), &::closedir);
    if (!stream) {
        if (own >= 0) {
            ::close(own);
        }
        return false;
    }
    errno = 0;
    while (const dirent* found = ::readdir(stream.get())) {
        const std::string_view name(found->d_name, found->d_namlen);
        if (!isDots(name)) {
            entry(name, Posix::kindOf(found->d_type));
        }
        errno = 0;
    }
    return errno == 0;
}

int openFolderAt(int root, const char* path)
{
    return ::openat(root, path, O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOFOLLOW_ANY);
}

void ownDescriptors(int /*kept*/) { } // threads share them always

} // namespace ManagerCore::Platform
