#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace LinuxTools
{

enum class Restart : std::uint8_t { never, always, onSuccess, onFailure, onCrash };

struct ResourceLimit {
    std::string name; // as systemd calls it, without "Limit": "NOFILE"
    int resource = 0; // as setrlimit takes it
    std::optional<std::uint64_t> soft;
    std::optional<std::uint64_t> hard;
};

// What an agent's property list says, with launchd's defaults for what it does not say.
struct Job {
    std::string label; // never empty
    std::string program; // a full path
    std::vector<std::string> arguments; // from argv[0] on, never empty
    std::map<std::string, std::string> environment;
    std::string workingDirectory = "/"; // a full path
    bool startsAtLoad = false;
    Restart restart = Restart::never;
    std::string outputPath; // a full path, or empty
    std::string errorPath;
    std::uint32_t throttleInterval = 10; // seconds, as all that follow
    std::optional<std::uint32_t> startInterval;
    std::uint32_t exitTimeOut = 20; // 0 stands for ever
    std::optional<int> nice;
    std::optional<unsigned> umask;
    bool background = false;
    std::vector<ResourceLimit> limits;
    std::vector<std::string> remarks; // one sentence for each key that is left out
};

// A sentence that tells that something of the property list is not heeded here.
std::string leftOut(const std::string& what, const std::string& label, const std::string& why);

// The home, user, search path and shell that launchd gives every agent, `home` being the user's; what the property list
// says comes on top.
std::map<std::string, std::string> environmentOf(const Job& job, const std::string& home);

} // namespace LinuxTools
