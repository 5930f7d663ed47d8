#include "ManagerCore/Platform/Platform.h"

#include <fcntl.h>
#include <pthread/qos.h>
#include <sys/event.h>
#include <unistd.h>

#include "ManagerCore/Platform/Posix.h"

namespace ManagerCore::Platform
{

void lowerThreadPriority() { ::pthread_set_qos_class_self_np(QOS_CLASS_UTILITY, 0); }

bool makePipe(std::array<UniqueFd, 2>& ends)
{
    std::array<int, 2> made {};
    if (::pipe(made.data()) != 0) {
        return false;
    }
    ends = {UniqueFd(made[0]), UniqueFd(made[1])};
    return Posix::closeOnExec(made[0]) && Posix::closeOnExec(made[1]);
}

// macOS 26 deprecates this name for one that earlier systems do not have.
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wdeprecated-declarations"
int setWorkingFolder(posix_spawn_file_actions_t& actions, const std::filesystem::path& folder)
{
    return ::posix_spawn_file_actions_addchdir_np(&actions, folder.c_str());
}
#pragma clang diagnostic pop

// There is no pipe2 here: between a pipe's birth and its FD_CLOEXEC another thread may start a child. Closing
// everything by default keeps that child from inheriting it.
int restrictInheritance(posix_spawnattr_t& attributes, posix_spawn_file_actions_t& actions)
{
    const int error = Posix::addSpawnFlag(attributes, POSIX_SPAWN_CLOEXEC_DEFAULT);
    const bool hasInput = ::fcntl(STDIN_FILENO, F_GETFD) >= 0;
    return error != 0 || !hasInput ? error : ::posix_spawn_file_actions_addinherit_np(&actions, STDIN_FILENO);
}

UniqueFd exitDescriptor(pid_t child)
{
    UniqueFd queue(::kqueue());
    struct kevent change {};
    EV_SET(&change, static_cast<uintptr_t>(child), EVFILT_PROC, EV_ADD, NOTE_EXIT, 0, nullptr);
    if (!queue.isOpen() || ::kevent(queue.get(), &change, 1, nullptr, 0, nullptr) != 0) {
        return {}; // no descriptor left, or the child has ended already
    }
    Posix::closeOnExec(queue.get());
    return queue;
}

} // namespace ManagerCore::Platform
