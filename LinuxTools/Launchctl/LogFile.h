#pragma once

#include <string>
#include <vector>

#include "LinuxTools/Launchctl/Job.h"

namespace LinuxTools
{

// Creates the log files of a job and their folders. Removes a log that cannot be opened from the job, because systemd
// and start-stop-daemon do not start a service without its log. Returns one warning for each.
std::vector<std::string> prepareLogs(Job& job);

} // namespace LinuxTools
