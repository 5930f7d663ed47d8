#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "LinuxTools/Launchctl/AgentRecord.h"
#include "LinuxTools/Launchctl/Job.h"

// Jobs as texts of systemd units.
namespace LinuxTools::UnitText
{

// Between double quotes, with C's escapes: one word for systemd, on one line, whatever the bytes.
std::string quoted(std::string_view text);
// What `quoted` was given.
std::string unquoted(std::string_view text);

struct Unit {
    std::string text;
    std::vector<std::string> remarks; // one sentence for each part of the job that a unit cannot carry
};

// The service unit of a job. `record` goes along; `loadedMark` is a file that stands for as long as the agent is loaded
// in this login, see `condition`.
Unit service(const Job& job, const AgentRecord& record, const std::filesystem::path& loadedMark);

// The unit that starts the service every `startInterval` seconds.
std::string timer(const Job& job, const AgentRecord& record, const std::filesystem::path& loadedMark);

} // namespace LinuxTools::UnitText
