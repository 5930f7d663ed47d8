#pragma once

#include <expected>
#include <filesystem>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

#include "LinuxTools/Launchctl/Job.h"

namespace LinuxTools
{

// A loaded service.
struct Service {
    std::optional<pid_t> pid; // of the main process while it runs
};

// Warnings, or the reason for the failure; one sentence each.
using Result = std::expected<std::vector<std::string>, std::string>;

// Loads and runs services. All functions block. The caller must serialise changes of one label.
class ServiceBackend
{
public:
    ServiceBackend() = default;
    virtual ~ServiceBackend() = default;
    ServiceBackend(const ServiceBackend&) = delete;
    ServiceBackend& operator=(const ServiceBackend&) = delete;

    // Empty when the label is not loaded here.
    [[nodiscard]] virtual std::optional<Service> find(const std::string& label) const = 0;

    // Loads a job whose label is not loaded, and starts it with runAtLoad. After a failure nothing is loaded.
    // `bytes` is the content of the file `propertyList`.
    virtual Result bootstrap(const Job& job, const std::filesystem::path& propertyList, const std::string& bytes) = 0;
    // Ends all processes of a loaded service and unloads it. After a failure it is still loaded.
    virtual Result bootout(const std::string& label) = 0;
    // Ends all processes of a loaded service and starts it again.
    virtual Result restart(const std::string& label) = 0;
};

} // namespace LinuxTools
