#pragma once

#include <expected>
#include <string>
#include <string_view>

#include "LinuxTools/Launchctl/Job.h"

// Property lists of launch agents, XML or binary.
namespace LinuxTools::JobParser
{

// The job in a property list, or one sentence why there is none. Keys and values that are not supported are warnings.
std::expected<Job, std::string> parse(std::string_view bytes);

} // namespace LinuxTools::JobParser
