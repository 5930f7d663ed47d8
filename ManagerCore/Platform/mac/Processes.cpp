#include "ManagerCore/Platform/Platform.h"

#include <fcntl.h>
#include <pthread/qos.h>
#include <sys/event.h>
#include <unistd.h>

#include "ManagerCore/Platform/Posix.h"

namespace ManagerCore::Platform
{

void lowerThreadPriority() { ::pthread_set_qos_class_self_np(QOS_CLASS_UTILITY, 0); }

// macOS 26 deprecates this name for one that earlier systems do not have.
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wdeprecated-declarations"
int setWorkingFolder(posix_spawn_file_actions_t& actions, const std::filesystem::path& folder)
{
    return ::posix_spawn_file_actions_addchdir_np(&actions, folder.c_str());
}
#pragma clang diagnostic pop

// Another thread may start a child between the creation of a pipe and FD_CLOEXEC: children close all but their streams.
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
    const bool isWatched = queue.isOpen() && Posix::closeOnExec(queue.get())
        && ::kevent(queue.get(), &change, 1, nullptr, 0, nullptr) == 0; // fails when the child has ended already
    return isWatched ? std::move(queue) : UniqueFd();
}

} // namespace ManagerCore::Platform
