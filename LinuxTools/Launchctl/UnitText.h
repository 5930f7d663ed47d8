#pragma once

#include <expected>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "LinuxTools/Launchctl/Job.h"

// Jobs as systemd units.
namespace LinuxTools::UnitText
{

// The first line of every unit that launchctl writes.
inline constexpr std::string_view header
    = "# Made by launchctl from the agent’s property list; “launchctl bootout” removes it.\n";

// Between double quotes and with C's escapes, so that systemd reads any bytes as one word.
std::string quote(std::string_view text);

struct Unit {
    std::string text;
    std::vector<std::string> warnings;
};

// The service unit of a job, or one sentence why systemd cannot run it. At a login systemd starts the service only if
// the property list still exists; while `loadedMark` exists the service starts in any case.
std::expected<Unit, std::string>
service(const Job& job, const std::filesystem::path& propertyList, const std::filesystem::path& loadedMark);

// The unit that starts the service every `startInterval` seconds.
std::string timer(const Job& job, const std::filesystem::path& propertyList, const std::filesystem::path& loadedMark);

} // namespace LinuxTools::UnitText
