#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <sys/types.h>
#include <vector>

#include "ManagerCore/Foundation/Proc.h"
#include "Tests/LinuxTools/Support/PropertyListText.h"
#include "Tests/LinuxTools/Support/UserManagerRun.h"
#include "Tests/Support/Sandbox.h"

namespace ManagerCore::Proc
{

void PrintTo(const Out& out, std::ostream* stream); // NOLINT(readability-identifier-naming): GoogleTest's name

} // namespace ManagerCore::Proc

namespace TestSupport
{

enum class Backend : std::uint8_t { systemd, startStopDaemon };

// Tests that load services with the built launchctl, with a user manager of the test or without one.
class LaunchctlTest : public SandboxTest
{
protected:
    explicit LaunchctlTest(Backend backend);
    ~LaunchctlTest() override;

    void SetUp() override;

    [[nodiscard]] std::filesystem::path runtimeFolder() const { return scratch() / "run"; }
    UserManagerRun& manager() { return *manager_; }

    static ManagerCore::Proc::Out launchctl(const std::vector<std::string>& arguments);
    static std::string domain();
    static std::string target(const std::string& label);

    // Writes the property list into the home, and loads it.
    [[nodiscard]] std::filesystem::path listPath(const std::string& label) const;
    ManagerCore::Proc::Out load(const std::string& label, const PropertyListText& list);
    // Loads the property list that was written before.
    ManagerCore::Proc::Out load(const std::string& label);
    static ManagerCore::Proc::Out unload(const std::string& label);
    static ManagerCore::Proc::Out restart(const std::string& label);
    static bool isLoaded(const std::string& label);

    // The pid that "launchctl list" reports.
    static std::optional<pid_t> pidOf(const std::string& label);
    // Waits until there is one.
    static pid_t awaitPid(const std::string& label);

    // A service that runs a shell script.
    static PropertyListText shellService(const std::string& label, const std::string& script);
    // A service that starts at load and runs until it is stopped.
    static PropertyListText sleeper(const std::string& label);

    // Runs launchctl with a fault, see Tests/Support/Faults.cpp.
    [[nodiscard]] ManagerCore::Proc::Out launchctlWithFault(const std::string& fault,
                                                            const std::vector<std::string>& arguments) const;

private:
    Backend backend_;
    EnvironmentVariable runtime_;
    EnvironmentVariable bus_;
    std::unique_ptr<UserManagerRun> manager_;
    std::vector<std::string> labels_; // loaded at least once
};

// Whether the condition comes true in time.
bool eventually(const std::function<bool()>& condition);

bool isAlive(pid_t pid);

// The output of `test-child dump`.
struct Dump {
    std::vector<std::string> arguments; // argv[0] first
    std::map<std::string, std::string> environment;
    std::string folder;
};
Dump awaitDump(const std::filesystem::path& file);

} // namespace TestSupport
