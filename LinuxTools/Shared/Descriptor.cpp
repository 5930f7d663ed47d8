#include "LinuxTools/Shared/Descriptor.h"

#include <cerrno>
#include <unistd.h>
#include <utility>

namespace LinuxTools
{

Descriptor::~Descriptor()
{
    const int before = errno;
    close();
    errno = before;
}

Descriptor::Descriptor(Descriptor&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1))
{
}

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept
{
    if (this != &other) {
        close();
        descriptor_ = std::exchange(other.descriptor_, -1);
    }
    return *this;
}

bool Descriptor::close()
{
    const int descriptor = std::exchange(descriptor_, -1);
    // Interrupted or not, the descriptor is gone afterwards: closing it again could hit another one.
    return descriptor < 0 || ::close(descriptor) == 0 || errno == EINTR;
}

} // namespace LinuxTools
