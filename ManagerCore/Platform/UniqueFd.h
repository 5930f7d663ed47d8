#pragma once

#include <cerrno>
#include <unistd.h>
#include <utility>

namespace ManagerCore::Platform
{

// Owns a file descriptor and closes it when destroyed, keeping errno. -1 owns nothing.
class UniqueFd
{
public:
    UniqueFd() = default;
    explicit UniqueFd(int fd)
        : fd_(fd)
    {
    }
    ~UniqueFd() { reset(); }
    UniqueFd(UniqueFd&& other) noexcept
        : fd_(other.release())
    {
    }
    UniqueFd& operator=(UniqueFd&& other) noexcept
    {
        reset(other.release());
        return *this;
    }
    UniqueFd(const UniqueFd&) = delete;
    UniqueFd& operator=(const UniqueFd&) = delete;

    [[nodiscard]] int get() const { return fd_; }
    [[nodiscard]] bool isOpen() const { return fd_ >= 0; }
    [[nodiscard]] int release() { return std::exchange(fd_, -1); }

    void reset(int fd = -1)
    {
        const int error = errno;
        if (const int previous = std::exchange(fd_, fd); previous >= 0) {
            ::close(previous);
        }
        errno = error;
    }

private:
    int fd_ = -1;
};

} // namespace ManagerCore::Platform
