#include "ManagerCore/Platform/Platform.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace ManagerCore::Platform
{

// On Linux PRIO_PROCESS with 0 is the calling thread. A lower priority that the program was started with is kept.
void lowerThreadPriority()
{
    constexpr int niceness = 10;
    if (::getpriority(PRIO_PROCESS, 0) < niceness) {
        ::setpriority(PRIO_PROCESS, 0, niceness);
    }
}

int setWorkingFolder(posix_spawn_file_actions_t& actions, const std::filesystem::path& folder)
{
    return ::posix_spawn_file_actions_addchdir_np(&actions, folder.c_str());
}

// Our own descriptors are close-on-exec from birth; this is for those that the program itself was started with.
int restrictInheritance(posix_spawnattr_t& /*attributes*/, posix_spawn_file_actions_t& actions)
{
    return ::posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
}

UniqueFd exitDescriptor(pid_t child) { return UniqueFd(static_cast<int>(::syscall(SYS_pidfd_open, child, 0))); }

} // namespace ManagerCore::Platform
