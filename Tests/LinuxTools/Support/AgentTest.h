#pragma once

#include <chrono>
#include <functional>
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

void PrintTo(const Out& out, std::ostream* stream); // NOLINT(readability-identifier-naming): as GoogleTest looks for it

} // namespace ManagerCore::Proc

namespace TestSupport
{

enum class Mode : std::uint8_t { userManager, alone };
void PrintTo(Mode mode, std::ostream* stream); // NOLINT(readability-identifier-naming): as GoogleTest looks for it

// Tests that load agents through the real launchctl: with a user manager of their own, or where none answers.
class AgentTest : public SandboxTest
{
protected:
    explicit AgentTest(Mode mode);
    ~AgentTest() override;

    void SetUp() override;

    [[nodiscard]] Mode mode() const { return mode_; }
    [[nodiscard]] std::filesystem::path runtimeFolder() const { return scratch() / "run"; }
    UserManagerRun& manager() { return *manager_; }

    // Runs launchctl and waits for it.
    static ManagerCore::Proc::Out launchctl(const std::vector<std::string>& arguments);
    static std::string domain();
    static std::string target(const std::string& label);

    // Writes the property list where agents have theirs, and loads it.
    [[nodiscard]] std::filesystem::path listPath(const std::string& name) const;
    ManagerCore::Proc::Out load(const std::string& label, const PropertyListText& list);
    static ManagerCore::Proc::Out unload(const std::string& label);
    static bool isLoaded(const std::string& label);

    // The process of a loaded agent, as `launchctl list` tells it.
    static std::optional<pid_t> pidOf(const std::string& label);
    // Waits for it to run.
    static pid_t awaitedPid(const std::string& label);

    // An agent that runs a line of sh and then whatever it is told.
    static PropertyListText shellAgent(const std::string& label, const std::string& script);

private:
    Mode mode_;
    EnvironmentVariable runtime_;
    EnvironmentVariable bus_;
    std::unique_ptr<UserManagerRun> manager_;
};

// Whether the condition comes true in time.
bool eventually(const std::function<bool()>& condition, std::chrono::seconds limit = std::chrono::seconds(20));

bool isAlive(pid_t pid);

// What `test-child dump` wrote: the arguments from argv[0] on, and the environment.
struct Dump {
    std::vector<std::string> arguments;
    std::map<std::string, std::string> environment;
    std::string folder;
};
std::optional<Dump> dumpIn(const std::filesystem::path& file);
Dump awaitedDump(const std::filesystem::path& file);

} // namespace TestSupport
