#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

#include "LinuxTools/Launchctl/AgentRecord.h"
#include "LinuxTools/Launchctl/Job.h"

namespace LinuxTools
{

// A loaded agent as it is now.
struct Agent {
    AgentRecord record;
    std::filesystem::path file; // that holds the record
    std::string state; // in the host's words: "running", "not running", …
    std::optional<pid_t> pid; // while it runs
    std::optional<int> lastExit; // a signal as a negative number; absent when unknown or never
};

// What became of a change. Without a failure it was made.
struct Change {
    std::optional<std::string> failure; // one sentence
    std::vector<std::string> remarks; // one sentence each
};

// What keeps agents. Blocking; nothing throws. Changes of one label are kept apart by the caller.
class AgentHost
{
public:
    AgentHost() = default;
    virtual ~AgentHost() = default;
    AgentHost(const AgentHost&) = delete;
    AgentHost& operator=(const AgentHost&) = delete;

    // The loaded agent of that label. Never starts anything.
    [[nodiscard]] virtual std::optional<Agent> find(const std::string& label) const = 0;
    [[nodiscard]] virtual std::vector<Agent> all() const = 0;

    // Loads a job whose label is not loaded, and starts it when it starts at load. On failure nothing is loaded and
    // nothing of it is left behind. `bytes` is the property list as read from `propertyList`.
    virtual Change bootstrap(const Job& job, const std::filesystem::path& propertyList, const std::string& bytes) = 0;
    // Ends what runs of it, waits for that, and forgets it. On failure it is still loaded.
    virtual Change bootout(const Agent& agent) = 0;
    // Starts it when it does not run; with `killFirst` ends first what runs.
    virtual Change kickstart(const Agent& agent, bool killFirst) = 0;
};

} // namespace LinuxTools
