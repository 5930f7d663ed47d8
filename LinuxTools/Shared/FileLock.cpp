#include "LinuxTools/Shared/FileLock.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>

namespace LinuxTools
{

FileLock::FileLock(const std::filesystem::path& file)
    : file_(::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600))
{
    if (file_.isOpen()) {
        int result = ::flock(file_.get(), LOCK_EX);
        while (result != 0 && errno == EINTR) {
            result = ::flock(file_.get(), LOCK_EX);
        }
        held_ = result == 0;
    }
}

} // namespace LinuxTools
