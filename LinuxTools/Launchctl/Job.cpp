#include "LinuxTools/Launchctl/Job.h"

#include <array>
#include <cstdlib>
#include <unistd.h>

#include <pwd.h>

namespace LinuxTools
{

std::string leftOut(const std::string& what, const std::string& label, const std::string& why)
{
    return what + " of “" + label + "” " + why + " and is left out.";
}

std::map<std::string, std::string> environmentOf(const Job& job, const std::string& home)
{
    const char* temporary = std::getenv("TMPDIR");
    std::map<std::string, std::string> variables {
        {"HOME", home},
        {"PATH", "/usr/bin:/bin:/usr/sbin:/sbin"},
        {"TMPDIR", temporary != nullptr && *temporary != '\0' ? temporary : "/tmp"},
    };
    passwd entry {};
    passwd* user = nullptr;
    std::array<char, 16384> buffer {};
    if (::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &user) == 0 && user != nullptr) {
        variables["USER"] = user->pw_name;
        variables["LOGNAME"] = user->pw_name;
        variables["SHELL"] = user->pw_shell;
    }
    for (const auto& [name, value] : job.environment) {
        variables[name] = value;
    }
    return variables;
}

} // namespace LinuxTools
