#pragma once

#include <optional>
#include <string>
#include <string_view>

// The names by which launchctl is told where something is: "gui/501" and "gui/501/com.example.agent".
namespace LinuxTools::Target
{

// Whether the text names the domain of the user who runs this: "gui/UID" or "user/UID".
bool isOwnDomain(std::string_view domain);

// The label in a target within the own domain, all that follows the second slash; absent for any other domain.
std::optional<std::string> labelIn(std::string_view target);

} // namespace LinuxTools::Target
