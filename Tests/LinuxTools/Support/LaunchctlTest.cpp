#include "Tests/LinuxTools/Support/LaunchctlTest.h"

#include <charconv>
#include <chrono>
#include <thread>
#include <tuple>
#include <unistd.h>

#include "LinuxTools/Launchctl/ProcessTable.h"

namespace ManagerCore::Proc
{

void PrintTo(const Out& out, std::ostream* stream)
{
    *stream << "status " << out.code << ", output \"" << out.stdout << "\", error \"" << out.stderr << "\"";
}

} // namespace ManagerCore::Proc

namespace TestSupport
{

namespace fs = std::filesystem;

LaunchctlTest::LaunchctlTest(Backend backend)
    : backend_(backend)
    , runtime_("XDG_RUNTIME_DIR", runtimeFolder().string())
    , bus_("DBUS_SESSION_BUS_ADDRESS", std::nullopt)
{
    fs::create_directories(runtimeFolder());
    fs::permissions(runtimeFolder(), fs::perms::owner_all);
    makeLink(scratch() / "faults.so", builtProgram("test-faults.so"));
}

// No process outlives its test. A user manager ends its own.
LaunchctlTest::~LaunchctlTest()
{
    for (const std::string& label : labels_) {
        std::ignore = backend_ == Backend::startStopDaemon ? unload(label) : ManagerCore::Proc::Out {};
    }
}

void LaunchctlTest::SetUp()
{
    if (backend_ == Backend::startStopDaemon) {
        return;
    }
    if (const std::string obstacle = UserManagerRun::obstacle(); !obstacle.empty()) {
        GTEST_SKIP() << obstacle;
    }
    manager_ = std::make_unique<UserManagerRun>(runtimeFolder(), home());
    ASSERT_TRUE(manager_->isRunning()) << manager_->log();
}

ManagerCore::Proc::Out LaunchctlTest::launchctl(const std::vector<std::string>& arguments)
{
    return ManagerCore::Proc::run(builtProgram("launchctl").string(), arguments);
}

std::string LaunchctlTest::domain() { return "gui/" + std::to_string(::getuid()); }

std::string LaunchctlTest::target(const std::string& label) { return domain() + "/" + label; }

fs::path LaunchctlTest::listPath(const std::string& label) const
{
    return home() / "Library/LaunchAgents" / (label + ".plist");
}

ManagerCore::Proc::Out LaunchctlTest::load(const std::string& label, const PropertyListText& list)
{
    write(listPath(label), list.xml());
    return load(label);
}

ManagerCore::Proc::Out LaunchctlTest::load(const std::string& label)
{
    labels_.push_back(label);
    return launchctl({"bootstrap", domain(), listPath(label).string()});
}

ManagerCore::Proc::Out LaunchctlTest::unload(const std::string& label) { return launchctl({"bootout", target(label)}); }

ManagerCore::Proc::Out LaunchctlTest::restart(const std::string& label)
{
    return launchctl({"kickstart", "-k", target(label)});
}

bool LaunchctlTest::isLoaded(const std::string& label) { return launchctl({"list", label}).ok(); }

std::optional<pid_t> LaunchctlTest::pidOf(const std::string& label)
{
    const std::string text = launchctl({"list", label}).stdout;
    const std::string key = "\"PID\" = ";
    const std::size_t at = text.find(key);
    pid_t pid = 0;
    if (at != std::string::npos) {
        std::from_chars(text.data() + at + key.size(), text.data() + text.size(), pid);
    }
    return pid > 0 ? std::optional(pid) : std::nullopt;
}

pid_t LaunchctlTest::awaitPid(const std::string& label)
{
    std::optional<pid_t> pid;
    EXPECT_TRUE(eventually([&] { return (pid = pidOf(label)).has_value(); })) << label << " does not run";
    return pid.value_or(0);
}

PropertyListText LaunchctlTest::shellService(const std::string& label, const std::string& script)
{
    PropertyListText list(label);
    list.texts("ProgramArguments", {"/bin/sh", "-c", script});
    return list;
}

PropertyListText LaunchctlTest::sleeper(const std::string& label)
{
    return shellService(label, "exec sleep 1000").flag("RunAtLoad", true);
}

ManagerCore::Proc::Out LaunchctlTest::launchctlWithFault(const std::string& fault,
                                                         const std::vector<std::string>& arguments) const
{
    auto environment = ManagerCore::Proc::environment();
    // Through a link: the loader splits the variable at spaces, which the build folder may contain.
    environment["LD_PRELOAD"] = (scratch() / "faults.so").string();
    environment["TEST_FAULTS"] = fault;
    return ManagerCore::Proc::run(builtProgram("launchctl").string(), arguments, std::nullopt, environment);
}

bool eventually(const std::function<bool()>& condition)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}

bool isAlive(pid_t pid)
{
    const auto process = LinuxTools::ProcessTable::find(pid);
    return process && process->alive;
}

Dump awaitDump(const fs::path& file)
{
    std::string bytes;
    const auto isComplete = [&] { return (bytes = read(file)).contains("group:"); }; // the last entry
    EXPECT_TRUE(eventually(isComplete)) << file << " was not written";
    Dump dump;
    for (std::size_t at = 0; at < bytes.size();) {
        const std::size_t end = std::min(bytes.find('\0', at), bytes.size());
        const std::string entry = bytes.substr(at, end - at);
        const std::string value = entry.substr(entry.find(':') + 1);
        if (entry.starts_with("arg:")) {
            dump.arguments.push_back(value);
        } else if (entry.starts_with("env:")) {
            dump.environment[value.substr(0, value.find('='))] = value.substr(value.find('=') + 1);
        } else if (entry.starts_with("cwd:")) {
            dump.folder = value;
        }
        at = end + 1;
    }
    return dump;
}

} // namespace TestSupport
