#include "ManagerCore/Platform/Platform.h"

#include <fcntl.h>
#include <pthread/qos.h>
#include <sys/event.h>
#include <unistd.h>

namespace ManagerCore::Platform
{

void yieldToOthers() { ::pthread_set_qos_class_self_np(QOS_CLASS_UTILITY, 0); }

std::optional<long> timesWaited() { return std::nullopt; }

bool makePipe(std::array<int, 2>& ends)
{
    if (::pipe(ends.data()) != 0) {
        return false;
    }
    for (const int end : ends) {
        ::fcntl(end, F_SETFD, FD_CLOEXEC);
    }
    return true;
}

// There is no pipe2 here: between a pipe's birth and its FD_CLOEXEC another thread may start a child. Closing
// everything by default keeps that child from inheriting it.
int restrictInheritance(posix_spawnattr_t& attributes, posix_spawn_file_actions_t& actions)
{
    short flags = 0;
    if (const int error = ::posix_spawnattr_getflags(&attributes, &flags); error != 0) {
        return error;
    }
    const auto closing = static_cast<short>(flags | POSIX_SPAWN_CLOEXEC_DEFAULT);
    if (const int error = ::posix_spawnattr_setflags(&attributes, closing); error != 0) {
        return error;
    }
    return ::fcntl(STDIN_FILENO, F_GETFD) < 0 ? 0 : ::posix_spawn_file_actions_addinherit_np(&actions, STDIN_FILENO);
}

int exitDescriptor(pid_t child)
{
    const int queue = ::kqueue();
    struct kevent change {};
    EV_SET(&change, static_cast<uintptr_t>(child), EVFILT_PROC, EV_ADD, NOTE_EXIT, 0, nullptr);
    if (queue >= 0 && ::kevent(queue, &change, 1, nullptr, 0, nullptr) == 0) {
        ::fcntl(queue, F_SETFD, FD_CLOEXEC);
        return queue;
    }
    if (queue >= 0) {
        ::close(queue); // the child has ended already
    }
    return -1;
}

} // namespace ManagerCore::Platform
