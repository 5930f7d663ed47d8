#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

// The running processes, as /proc tells them.
namespace LinuxTools::ProcessTable
{

struct Entry {
    pid_t pid = 0;
    char state = '?'; // "Z" and "X" are dead
    pid_t session = 0;
    std::uint64_t startTime = 0; // in ticks since the system's start: with it a number that is used again is told apart

    [[nodiscard]] bool isAlive() const { return state != 'Z' && state != 'X'; }
};

std::optional<Entry> entryOf(pid_t pid);

// The living processes of the session.
std::vector<Entry> membersOf(pid_t session);

// Names this run of the system, also for a container that was started anew on a system that was not.
std::string boot();

} // namespace LinuxTools::ProcessTable
