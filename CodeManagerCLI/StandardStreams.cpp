#include "CodeManagerCLI/StandardStreams.h"

#include <cerrno>
#include <cstdlib>
#include <string_view>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include "CodeManagerCLI/Signals.h"
#include "ManagerCore/Foundation/Proc.h"

namespace CodeManagerCLI
{

namespace StandardStreams
{

void prepare()
{
    for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
        if (::fcntl(descriptor, F_GETFD) < 0 && errno == EBADF) {
            ::open("/dev/null", O_RDONLY); // takes the lowest free number, which is this one
        }
    }
    const pid_t foreground = ::tcgetpgrp(STDIN_FILENO); // -1 for anything but the controlling terminal
    if (foreground > 0 && foreground != ::getpgrp()) {
        ManagerCore::Proc::giveUpTerminalInput();
    }
}

bool wantsColours(int descriptor)
{
    const char* noColour = std::getenv("NO_COLOR");
    const bool refused = noColour != nullptr && *noColour != '\0';
    return canRewriteLines(descriptor) && !refused;
}

bool canRewriteLines(int descriptor)
{
    const char* terminal = std::getenv("TERM");
    const bool dumb = terminal != nullptr && std::string_view(terminal) == "dumb";
    return ::isatty(descriptor) == 1 && !dumb;
}

} // namespace StandardStreams

namespace
{

void waitUntilWritable(int descriptor)
{
    pollfd wanted {.fd = descriptor, .events = POLLOUT, .revents = 0};
    ::poll(&wanted, 1, -1);
}

} // namespace

DescriptorStream::DescriptorStream(int descriptor)
    : std::ostream(nullptr)
    , buffer_(descriptor)
{
    rdbuf(&buffer_);
}

DescriptorStream::Buffer::int_type DescriptorStream::Buffer::overflow(int_type letter)
{
    if (letter != traits_type::eof()) {
        pending_.push_back(traits_type::to_char_type(letter));
    }
    return traits_type::not_eof(letter);
}

std::streamsize DescriptorStream::Buffer::xsputn(const char* text, std::streamsize count)
{
    pending_.append(text, static_cast<std::size_t>(count));
    return count;
}

int DescriptorStream::Buffer::sync()
{
    Signals::waitIfEnding();
    std::string_view rest = pending_;
    while (!rest.empty() && error_ == 0) {
        const ssize_t written = ::write(descriptor_, rest.data(), rest.size());
        if (written >= 0) {
            rest.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno == EAGAIN) {
            waitUntilWritable(descriptor_); // someone else made the shared stream a non-blocking one
        } else if (errno != EINTR) {
            error_ = errno;
        }
    }
    pending_.clear();
    return error_ == 0 ? 0 : -1;
}

} // namespace CodeManagerCLI
