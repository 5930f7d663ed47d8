#pragma once

#include <string>

#include "ManagerCore/Foundation/Proc.h"

// The backend's launch agent, driven through launchctl. `label` is handed over as it is. Each call runs one command and
// blocks until it has ended: not for the interface thread.
namespace ManagerCore::Service
{

// Whether the label is loaded in the user's domain, its process alive or not. False for an empty label.
bool running(const std::string& label);

// launchctl's own result, unchanged.
Proc::Out start(const std::string& label);
Proc::Out stop(const std::string& label);
Proc::Out restart(const std::string& label);

// Where the agent's property list belongs, whether it exists or not.
std::string plistPath(const std::string& label);

} // namespace ManagerCore::Service
