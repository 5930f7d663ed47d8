#include "Tests/LinuxTools/Support/AgentTest.h"

#include <charconv>
#include <csignal>
#include <thread>
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

void PrintTo(Mode mode, std::ostream* stream)
{
    *stream << (mode == Mode::userManager ? "with a user manager" : "alone");
}

AgentTest::AgentTest(Mode mode)
    : mode_(mode)
    , runtime_("XDG_RUNTIME_DIR", runtimeFolder().string())
    , bus_("DBUS_SESSION_BUS_ADDRESS", std::nullopt)
{
    fs::create_directories(runtimeFolder());
    fs::permissions(runtimeFolder(), fs::perms::owner_all);
}

// Nothing that a test has loaded outlives it. A user manager takes its own along.
AgentTest::~AgentTest()
{
    if (mode_ == Mode::alone) {
        const auto out = launchctl({"list"});
        std::size_t at = out.stdout.find('\n');
        while (at != std::string::npos && at + 1 < out.stdout.size()) {
            const std::size_t end = out.stdout.find('\n', at + 1);
            const std::string line = out.stdout.substr(at + 1, end - at - 1);
            unload(line.substr(line.rfind('\t') + 1));
            at = end;
        }
    }
}

void AgentTest::SetUp()
{
    if (mode_ == Mode::alone) {
        return;
    }
    if (const std::string obstacle = UserManagerRun::obstacle(); !obstacle.empty()) {
        GTEST_SKIP() << obstacle;
    }
    manager_ = std::make_unique<UserManagerRun>(runtimeFolder(), home());
    ASSERT_TRUE(manager_->isRunning()) << manager_->log();
}

ManagerCore::Proc::Out AgentTest::launchctl(const std::vector<std::string>& arguments)
{
    return ManagerCore::Proc::run(builtProgram("launchctl").string(), arguments);
}

std::string AgentTest::domain() { return "gui/" + std::to_string(::getuid()); }

std::string AgentTest::target(const std::string& label) { return domain() + "/" + label; }

fs::path AgentTest::listPath(const std::string& name) const
{
    return home() / "Library/LaunchAgents" / (name + ".plist");
}

ManagerCore::Proc::Out AgentTest::load(const std::string& label, const PropertyListText& list)
{
    write(listPath(label), list.xml());
    return launchctl({"bootstrap", domain(), listPath(label).string()});
}

ManagerCore::Proc::Out AgentTest::unload(const std::string& label) { return launchctl({"bootout", target(label)}); }

bool AgentTest::isLoaded(const std::string& label) { return launchctl({"list", label}).ok(); }

std::optional<pid_t> AgentTest::pidOf(const std::string& label)
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

pid_t AgentTest::awaitedPid(const std::string& label)
{
    std::optional<pid_t> pid;
    EXPECT_TRUE(eventually([&] { return (pid = pidOf(label)).has_value(); })) << label << " does not run";
    return pid.value_or(0);
}

PropertyListText AgentTest::shellAgent(const std::string& label, const std::string& script)
{
    PropertyListText list(label);
    list.texts("ProgramArguments", {"/bin/sh", "-c", script});
    return list;
}

bool eventually(const std::function<bool()>& condition, std::chrono::seconds limit)
{
    const auto deadline = std::chrono::steady_clock::now() + limit;
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
    const auto entry = LinuxTools::ProcessTable::entryOf(pid);
    return pid > 0 && entry && entry->isAlive();
}

std::optional<Dump> dumpIn(const fs::path& file)
{
    const std::string bytes = read(file);
    if (!bytes.contains("group:")) { // the last thing that is written
        return std::nullopt;
    }
    Dump dump;
    for (std::size_t at = 0; at < bytes.size();) {
        const std::size_t end = bytes.find('\0', at);
        const std::string entry = bytes.substr(at, end - at);
        const std::string value = entry.substr(entry.find(':') + 1);
        if (entry.starts_with("arg:")) {
            dump.arguments.push_back(value);
        } else if (entry.starts_with("env:")) {
            dump.environment[value.substr(0, value.find('='))] = value.substr(value.find('=') + 1);
        } else if (entry.starts_with("cwd:")) {
            dump.folder = value;
        }
        at = end == std::string::npos ? bytes.size() : end + 1;
    }
    return dump;
}

Dump awaitedDump(const fs::path& file)
{
    std::optional<Dump> dump;
    EXPECT_TRUE(eventually([&] { return (dump = dumpIn(file)).has_value(); })) << file << " was not written";
    return dump.value_or(Dump {});
}

} // namespace TestSupport
