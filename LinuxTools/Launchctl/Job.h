#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace LinuxTools
{

struct ResourceLimit {
    std::string name; // systemd's, without "Limit": "NOFILE"
    int resource = 0; // setrlimit's
    std::optional<std::uint64_t> soft;
    std::optional<std::uint64_t> hard;
};

// The property list of a launch agent, with launchd's defaults.
struct Job {
    std::string label; // never empty
    std::string program; // an absolute path
    std::vector<std::string> arguments; // argv[0] first, never empty
    std::map<std::string, std::string> environment;
    std::string workingDirectory = "/"; // an absolute path
    bool runAtLoad = false;
    std::string restart = "no"; // systemd's value for KeepAlive
    std::string outputPath; // absolute or empty
    std::string errorPath; // absolute or empty
    std::uint32_t throttleInterval = 10; // seconds
    std::optional<std::uint32_t> startInterval; // seconds
    std::uint32_t exitTimeOut = 20; // seconds; 0 is no limit
    std::optional<int> nice;
    std::optional<unsigned> umask;
    bool background = false;
    std::vector<ResourceLimit> limits;
    std::vector<std::string> warnings; // one sentence per ignored key
};

// The warning for an ignored key. `condition` is "" or begins with a space.
inline std::string unsupportedKey(const std::string& label, const std::string& key, const std::string& condition = "")
{
    return "The key “" + key + "” of “" + label + "” is not supported" + condition + ".";
}

} // namespace LinuxTools
