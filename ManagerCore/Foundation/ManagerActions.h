#pragma once

#include <filesystem>
#include <string>

namespace ManagerCore
{

// How the managed product is run: what a descriptor file says of its service and its served model.
struct ManagerActions {
    std::string defaultsPath;
    std::string launchAgent; // label of the backend's launch agent
    std::string serverBin;
    std::string serverPort;
    std::string serverLog;
    std::string modelServed; // also the path of the crucible's served link

    bool operator==(const ManagerActions&) const = default;

    static const ManagerActions empty;

    // Never fails: a file that cannot be read gives `empty`.
    static ManagerActions load(const std::filesystem::path& file);
};

} // namespace ManagerCore
