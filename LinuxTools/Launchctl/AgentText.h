#pragma once

#include <string>
#include <vector>

#include "LinuxTools/Launchctl/AgentHost.h"

// Agents as launchctl shows them.
namespace LinuxTools::AgentText
{

// A line for each: process, last exit and label.
std::string table(const std::vector<Agent>& agents);

// The few facts of "list LABEL", in the old property list form.
std::string summary(const Agent& agent);

// Everything known of an agent, for people.
std::string details(const Agent& agent, const std::string& target);

} // namespace LinuxTools::AgentText
