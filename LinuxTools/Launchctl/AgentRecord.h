#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "LinuxTools/Launchctl/Job.h"

namespace LinuxTools
{

// What is remembered of a loaded agent, as a section that systemd passes over. A file without it is not ours.
struct AgentRecord {
    std::string label;
    std::string propertyList; // where it was loaded from, as a full path
    std::string program;
    std::vector<std::string> arguments;
    std::string outputPath;
    std::string errorPath;
    std::string home; // the home folder it was loaded for
    std::string boot; // the run of the system it was loaded in, where that matters
    std::uint32_t exitTimeOut = 0;
    bool startsAtLogin = false;
    bool hasTimer = false;

    bool operator==(const AgentRecord&) const = default;
};

AgentRecord recordOf(const Job& job, const std::filesystem::path& propertyList);

// The section, from its heading to its last line feed.
std::string toText(const AgentRecord& record);

// The record in a file's text; absent when there is none.
std::optional<AgentRecord> recordIn(std::string_view text);
// The same for a file; absent too for one that cannot be read.
std::optional<AgentRecord> recordInFile(const std::filesystem::path& file);

} // namespace LinuxTools
