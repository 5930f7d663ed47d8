#include "Tests/Support/Permissions.h"

#ifdef __linux__
#include <array>
#include <cstdlib>
#include <linux/capability.h>
#include <sys/syscall.h>
#include <unistd.h>
#endif

namespace TestSupport
{

#ifdef __linux__

namespace
{

using Halves = std::array<__user_cap_data_struct, 2>;

__user_cap_header_struct ownThread() { return {.version = _LINUX_CAPABILITY_VERSION_3, .pid = 0}; }

Halves capabilities()
{
    __user_cap_header_struct header = ownThread();
    Halves halves {};
    if (::syscall(SYS_capget, &header, halves.data()) != 0) {
        std::abort();
    }
    return halves;
}

void setFirstEffective(std::uint32_t effective)
{
    __user_cap_header_struct header = ownThread();
    Halves halves = capabilities();
    halves[0].effective = effective;
    if (::syscall(SYS_capset, &header, halves.data()) != 0) {
        std::abort();
    }
}

} // namespace

PermissionsHold::PermissionsHold()
    : before_(capabilities()[0].effective)
{
    setFirstEffective(before_ & ~(CAP_TO_MASK(CAP_DAC_OVERRIDE) | CAP_TO_MASK(CAP_DAC_READ_SEARCH)));
}

PermissionsHold::~PermissionsHold() { setFirstEffective(before_); }

#else

PermissionsHold::PermissionsHold() = default;
PermissionsHold::~PermissionsHold() = default;

#endif

} // namespace TestSupport
