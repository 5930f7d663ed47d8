#pragma once

#include "LinuxTools/Launchctl/ServiceBackend.h"

namespace LinuxTools
{

// Services without a user manager, started by start-stop-daemon. It does not restart a process that ends, so that
// KeepAlive is not supported.
//
// A service has a folder with its property list ("job.plist"), the boot in which it was loaded ("boot"), and after a
// start the pid of start-stop-daemon ("pid") and the identity of that process ("process"). It is loaded if "boot" is
// the present boot.
class StartStopBackend final : public ServiceBackend
{
public:
    [[nodiscard]] std::optional<Service> find(const std::string& label) const override;
    Result bootstrap(const Job& job, const std::filesystem::path& propertyList, const std::string& bytes) override;
    Result bootout(const std::string& label) override;
    Result restart(const std::string& label) override;
};

} // namespace LinuxTools
