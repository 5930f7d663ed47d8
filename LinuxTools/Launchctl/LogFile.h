#pragma once

#include <optional>
#include <string>

namespace LinuxTools::LogFile
{

// Makes the folder of a job's log file where it is missing. launchd would then run the job without its log, systemd
// would not run it at all. Absent when the job can write its log there, else why it cannot, as the end of a sentence.
std::optional<std::string> prepare(const std::string& file);

} // namespace LinuxTools::LogFile
