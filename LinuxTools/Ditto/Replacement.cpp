#include "LinuxTools/Ditto/Replacement.h"

#include <cerrno>
#include <cstdint>
#include <fcntl.h>
#include <sys/random.h>
#include <unistd.h>

namespace LinuxTools
{

namespace
{

constexpr mode_t ownerOnly = 0600;

bool canShowNameless()
{
    static const bool can = ::access("/proc/self/fd", X_OK) == 0;
    return can;
}

std::string placeOf(int descriptor) { return "/proc/self/fd/" + std::to_string(descriptor); }

} // namespace

std::string unusedName()
{
    std::uint64_t number = 0;
    if (::getrandom(&number, sizeof(number), 0) != sizeof(number)) {
        static std::uint64_t counter = 0;
        number = (static_cast<std::uint64_t>(::getpid()) << 32U) + counter++;
    }
    return ".ditto-" + std::to_string(number);
}

int putInPlace(int folder, const std::string& unfinished, const std::string& name)
{
    const int error = ::renameat(folder, unfinished.c_str(), folder, name.c_str()) == 0 ? 0 : errno;
    // Two names of one file are left alone by a rename, so that it is no failure to find it still there.
    ::unlinkat(folder, unfinished.c_str(), 0);
    return error;
}

NewFile::NewFile(int folder)
    : folder_(folder)
{
    if (canShowNameless()) {
        file_ = Descriptor(::openat(folder, ".", O_TMPFILE | O_RDWR | O_CLOEXEC, ownerOnly));
    }
    if (!file_.isOpen()) {
        unfinished_ = unusedName();
        file_ = Descriptor(
            ::openat(folder, unfinished_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, ownerOnly));
        error_ = file_.isOpen() ? 0 : errno;
        unfinished_ = file_.isOpen() ? unfinished_ : "";
    }
}

NewFile::~NewFile()
{
    if (!unfinished_.empty()) {
        ::unlinkat(folder_, unfinished_.c_str(), 0);
    }
}

int NewFile::finish(const std::string& name)
{
    if (::fsync(file_.get()) != 0) {
        return errno;
    }
    const int error = show(name);
    unfinished_.clear();
    return error;
}

int NewFile::show(const std::string& name)
{
    if (unfinished_.empty()) {
        const std::string place = placeOf(file_.get());
        if (::linkat(AT_FDCWD, place.c_str(), folder_, name.c_str(), AT_SYMLINK_FOLLOW) == 0) {
            return 0;
        }
        if (errno != EEXIST) {
            return errno;
        }
        unfinished_ = unusedName();
        if (::linkat(AT_FDCWD, place.c_str(), folder_, unfinished_.c_str(), AT_SYMLINK_FOLLOW) != 0) {
            return errno;
        }
    }
    return putInPlace(folder_, unfinished_, name);
}

} // namespace LinuxTools
