#pragma once

#include <expected>
#include <filesystem>
#include <string>
#include <string_view>

#include "LinuxTools/Launchctl/Job.h"

// Property lists of launch agents, in XML or binary.
namespace LinuxTools::JobReader
{

// The job that a property list describes, or one sentence why it describes none: unreadable, malformed, without a
// label or a program. A key that has no counterpart here, or a value that does not suit its key, is a remark.
std::expected<Job, std::string> parse(std::string_view bytes);

// The bytes of the file at `propertyList`, or one sentence why they cannot be read.
std::expected<std::string, std::string> readBytes(const std::filesystem::path& propertyList);

} // namespace LinuxTools::JobReader
