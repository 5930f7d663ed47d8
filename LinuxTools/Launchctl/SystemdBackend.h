#pragma once

#include <memory>

#include "LinuxTools/Launchctl/ServiceBackend.h"

namespace LinuxTools
{

// Services as units of systemd's user manager. The unit files are in the home where the user manager searches that
// home, and then start at each login; else in the runtime folder, until the logout.
class SystemdBackend final : public ServiceBackend
{
public:
    // Whether a user manager listens. Starts nothing and does not wait.
    static bool isAvailable();

    [[nodiscard]] std::optional<Service> find(const std::string& label) const override;
    Result bootstrap(const Job& job, const std::filesystem::path& propertyList, const std::string& bytes) override;
    Result bootout(const std::string& label) override;
    Result restart(const std::string& label) override;
};

} // namespace LinuxTools
