#include "ManagerCore/Health/Service.h"

#include <unistd.h>

#include "ManagerCore/Foundation/FilePath.h"
#include "ManagerCore/Platform/Platform.h"

namespace ManagerCore::Service
{

namespace
{

Proc::Out launchctl(const std::vector<std::string>& arguments)
{
    return Proc::run(Platform::launchctl().string(), arguments);
}

std::string userDomain() { return "gui/" + std::to_string(::getuid()); }

std::string target(const std::string& label) { return userDomain() + "/" + label; }

} // namespace

bool running(const std::string& label) { return !label.empty() && launchctl({"list", label}).ok(); }

Proc::Out start(const std::string& label) { return launchctl({"bootstrap", userDomain(), plistPath(label)}); }

Proc::Out stop(const std::string& label) { return launchctl({"bootout", target(label)}); }

Proc::Out restart(const std::string& label) { return launchctl({"kickstart", "-k", target(label)}); }

std::string plistPath(const std::string& label)
{
    return FilePath::appending(Platform::homeFolder(), "Library/LaunchAgents/" + label + ".plist").string();
}

} // namespace ManagerCore::Service
