#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

// Processes as /proc lists them.
namespace LinuxTools::ProcessTable
{

struct Process {
    pid_t pid = 0;
    pid_t session = 0;
    std::uint64_t startTime = 0; // clock ticks since the boot; distinguishes processes with the same pid
    bool alive = false; // false for a zombie
};

// Empty when there is no process with that pid.
std::optional<Process> find(pid_t pid);

// The living processes of a session.
std::vector<Process> inSession(pid_t session);

// Whether the process was started with this entry ("NAME=value") in its environment.
bool hasEnvironment(pid_t pid, const std::string& entry);

// Identifies this run of the system, or of the container.
std::string bootId();

} // namespace LinuxTools::ProcessTable
