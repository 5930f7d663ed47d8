#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

#include "LinuxTools/Launchctl/Job.h"

// Processes of jobs that outlive this program without anybody above them.
namespace LinuxTools::DetachedProcess
{

// One that was started, so that it is told apart from a later one of the same number.
struct Mark {
    pid_t pid = 0;
    std::uint64_t startTime = 0;
};

// Starts the job in a session of its own, with the environment given and nothing else, and none of this program's
// descriptors. Before the program runs, its mark stands in `markFile`. Absent once it runs, else one sentence why it
// does not; then nothing is left behind. Logs that cannot be opened are told in `remarks` and go nowhere.
// This process must have no other threads.
std::optional<std::string> start(const Job& job,
                                 const std::map<std::string, std::string>& environment,
                                 const std::filesystem::path& markFile,
                                 std::vector<std::string>& remarks);

// The mark in `markFile`; absent when there is none.
std::optional<Mark> markIn(const std::filesystem::path& markFile);

// Whether the marked process itself lives.
bool isAlive(const Mark& mark);

// Ends the marked process and what else lives in its session: asked first, by force after `patience` (0 is for ever).
// Returns when all has ended; false when something withstands even that.
bool stop(const Mark& mark, std::chrono::seconds patience);

} // namespace LinuxTools::DetachedProcess
