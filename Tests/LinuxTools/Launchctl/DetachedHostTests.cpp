// What is particular to agents where no user manager answers.

#include "LinuxTools/Launchctl/DetachedHost.h"

#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "LinuxTools/Launchctl/ProcessTable.h"
#include "Tests/LinuxTools/Support/AgentTest.h"

namespace
{

using namespace TestSupport;
using namespace std::chrono_literals;
using ManagerCore::Proc::Out;
namespace fs = std::filesystem;

const std::string label = "com.example.agent";

class DetachedHost : public AgentTest
{
protected:
    DetachedHost()
        : AgentTest(Mode::alone)
    {
    }

    [[nodiscard]] fs::path agents() const { return runtimeFolder() / "code-manager/agents"; }
    [[nodiscard]] fs::path processFile() const { return agents() / label / "process"; }

    pid_t loadSleeper()
    {
        EXPECT_EQ(load(label, shellAgent(label, "exec sleep 1000").flag("RunAtLoad", true)).code, 0);
        return awaitedPid(label);
    }
};

TEST_F(DetachedHost, SaysThatNobodyWatchesOver)
{
    PropertyListText list = shellAgent(label, "exec sleep 1000");
    const Out out = load(label, list.flag("KeepAlive", true).number("StartInterval", 5));
    EXPECT_EQ(out.code, 0);
    EXPECT_EQ(out.stderr,
              "launchctl: the key “KeepAlive” of “" + label
                  + "” is not available without a user manager and is left out.\n"
                    "launchctl: the key “StartInterval” of “"
                  + label + "” is not available without a user manager and is left out.\n");
    EXPECT_TRUE(isAlive(awaitedPid(label))); // started once it is
}

TEST_F(DetachedHost, GivesTheEnvironmentThatLaunchdGives)
{
    const EnvironmentVariable own("OF_THE_CALLER", "must not be seen");
    const EnvironmentVariable temporary("TMPDIR", scratch().string());
    PropertyListText list(label);
    list.texts("ProgramArguments", {testChild().string(), "dump", (scratch() / "dump").string()})
        .dictionary("EnvironmentVariables", {{"OWN-ODD.NAME", "x"}, {"BELL", "\t"}})
        .flag("RunAtLoad", true);
    ASSERT_EQ(load(label, list), (Out {0, "", ""}));
    auto environment = awaitedDump(scratch() / "dump").environment;
    EXPECT_EQ(environment["HOME"], home().string());
    EXPECT_EQ(environment["PATH"], "/usr/bin:/bin:/usr/sbin:/sbin");
    EXPECT_EQ(environment["TMPDIR"], scratch().string());
    EXPECT_EQ(environment["OWN-ODD.NAME"], "x");
    EXPECT_FALSE(environment["USER"].empty());
    EXPECT_EQ(environment["USER"], environment["LOGNAME"]);
    EXPECT_FALSE(environment["SHELL"].empty());
    EXPECT_EQ(environment.size(), 8U);
}

TEST_F(DetachedHost, KeepsItsStateInTheHomeWithoutARuntimeFolder)
{
    const EnvironmentVariable none("XDG_RUNTIME_DIR", std::nullopt);
    const pid_t pid = loadSleeper();
    EXPECT_TRUE(fs::exists(home() / ".local/state/code-manager/agents" / label / "job.plist"));
    EXPECT_FALSE(fs::exists(agents()));
    {
        // It is found also when there is one later.
        const EnvironmentVariable later("XDG_RUNTIME_DIR", runtimeFolder().string());
        EXPECT_EQ(pidOf(label), pid);
    }
    EXPECT_EQ(unload(label).code, 0);
    EXPECT_TRUE(fs::is_empty(home() / ".local/state/code-manager/agents"));
}

TEST_F(DetachedHost, PassesOverARuntimeFolderThatIsNone)
{
    for (const std::string& value : {(home() / "missing").string(), std::string("relative"), std::string()}) {
        const EnvironmentVariable odd("XDG_RUNTIME_DIR", value);
        const pid_t pid = loadSleeper();
        EXPECT_TRUE(isAlive(pid)) << value;
        EXPECT_EQ(unload(label).code, 0);
    }
}

TEST_F(DetachedHost, TellsAtOnceThatNobodyListens)
{
    fs::create_directories(runtimeFolder() / "systemd");
    sockaddr_un address {};
    address.sun_family = AF_UNIX;
    const std::string name = (runtimeFolder() / "systemd/private").string();
    std::copy_n(name.data(), name.size(), std::begin(address.sun_path));
    const int socket = ::socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(::bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    ::close(socket); // left behind, as by a manager that was killed
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(launchctl({"list", label}).code, 113);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 2s);
    EXPECT_TRUE(isAlive(loadSleeper()));
}

TEST_F(DetachedHost, OutlivesItsCallersGroup)
{
    write(listPath(label), shellAgent(label, "exec sleep 1000").flag("RunAtLoad", true).xml());
    const std::string program = builtProgram("launchctl").string();
    const std::string list = listPath(label).string();
    const std::string own = domain();
    const pid_t caller = ::fork();
    if (caller == 0) {
        ::setpgid(0, 0);
        if (::fork() == 0) {
            ::execl(program.c_str(), "launchctl", "bootstrap", own.c_str(), list.c_str(), nullptr);
        }
        ::wait(nullptr);
        ::raise(SIGSTOP);
        ::_exit(0);
    }
    int status = 0;
    ::waitpid(caller, &status, WUNTRACED);
    const pid_t pid = awaitedPid(label);
    ::kill(-caller, SIGKILL);
    ::waitpid(caller, &status, 0);
    std::this_thread::sleep_for(200ms);
    EXPECT_TRUE(isAlive(pid));
}

TEST_F(DetachedHost, InheritsNoDescriptorsAndNoSignals)
{
    const int leaked = ::open("/dev/null", O_RDONLY); // not close-on-exec
    ASSERT_EQ(::dup2(leaked, 77), 77);
    std::signal(SIGHUP, SIG_IGN);
    sigset_t blocked;
    ::sigemptyset(&blocked);
    ::sigaddset(&blocked, SIGUSR1);
    ::sigprocmask(SIG_BLOCK, &blocked, nullptr);
    const auto about = scratch() / "about";
    // Read by the shell itself: while it starts a program, it has every signal blocked for a moment.
    const std::string signalsOfTheShell
        = "while read -r line; do case $line in SigBlk*|SigIgn*) echo \"$line\";; esac; done </proc/$$/status";
    ASSERT_EQ(load(label,
                   shellAgent(label,
                              "{ ls /proc/$$/fd | tr '\\n' ' '; " + signalsOfTheShell + "; } >'" + about.string()
                                  + ".new'; mv '" + about.string() + ".new' '" + about.string() + "'")
                       .flag("RunAtLoad", true))
                  .code,
              0);
    ::sigprocmask(SIG_UNBLOCK, &blocked, nullptr);
    std::signal(SIGHUP, SIG_DFL);
    ASSERT_TRUE(eventually([&] { return fs::exists(about); }));
    const std::string text = read(about);
    EXPECT_FALSE(text.contains("77")) << text;
    const auto maskAfter = [&text](const std::string& key) {
        constexpr unsigned long long standard = 0x7fffffff; // those above are the system library's own
        return std::stoull(text.substr(text.find(key) + key.size()), nullptr, 16) & standard;
    };
    EXPECT_EQ(maskAfter("SigBlk:\t"), 0U) << text;
    EXPECT_EQ(maskAfter("SigIgn:\t"), 0U) << text;
    ::close(77);
    ::close(leaked);
}

// A number that now means another process must never be taken for the agent.
TEST_F(DetachedHost, DoesNotTouchAProcessOfTheSameNumber)
{
    const pid_t pid = loadSleeper();
    std::this_thread::sleep_for(50ms); // the system's clock of starts ticks every 10
    const pid_t stranger = ::fork();
    if (stranger == 0) {
        ::setsid();
        ::execl("/bin/sleep", "sleep", "1000", nullptr);
        ::_exit(127);
    }
    ASSERT_TRUE(eventually([&] {
        const auto entry = LinuxTools::ProcessTable::entryOf(stranger);
        return entry && entry->session == stranger;
    }));
    const std::string mark = read(processFile());
    write(processFile(), std::to_string(stranger) + mark.substr(mark.find(' ')));
    EXPECT_EQ(pidOf(label), std::nullopt);
    EXPECT_EQ(unload(label).code, 0);
    EXPECT_TRUE(isAlive(stranger));
    ::kill(stranger, SIGKILL);
    ::waitpid(stranger, nullptr, 0);
    ::kill(pid, SIGKILL);
}

TEST_F(DetachedHost, SurvivesADamagedState)
{
    for (const char* damaged : {"", "x", "12", "-5 7\n", "1 1\n", "99999999999999999999 1\n"}) {
        const pid_t pid = loadSleeper();
        write(processFile(), damaged);
        EXPECT_TRUE(isLoaded(label)) << damaged;
        EXPECT_EQ(pidOf(label), std::nullopt) << damaged;
        EXPECT_EQ(unload(label).code, 0) << damaged;
        ::kill(pid, SIGKILL);
    }
    fs::create_directories(agents() / label);
    write(agents() / label / "agent", "[X-CodeManager]\nLabel=");
    EXPECT_FALSE(isLoaded(label));
    EXPECT_TRUE(isAlive(loadSleeper()));
}

TEST_F(DetachedHost, ForgetsWhatWasLoadedBeforeTheSystemWasStartedAnew)
{
    const pid_t pid = loadSleeper();
    const fs::path record = agents() / label / "agent";
    std::string text = read(record);
    const std::size_t at = text.find("Boot=\"") + 6;
    write(record, text.replace(at, text.find('"', at) - at, "another"));
    EXPECT_FALSE(isLoaded(label));
    EXPECT_EQ(unload(label).code, 3);
    EXPECT_TRUE(isAlive(pid));
    EXPECT_NE(loadSleeper(), pid);
    ::kill(pid, SIGKILL);
}

TEST_F(DetachedHost, TwoKickstartsStartOne)
{
    const auto starts = scratch() / "starts";
    ASSERT_EQ(load(label, shellAgent(label, "echo x >>'" + starts.string() + "'; exec sleep 1000")).code, 0);
    std::vector<std::thread> threads;
    for (int index = 0; index < 6; index++) {
        threads.emplace_back([] { EXPECT_EQ(launchctl({"kickstart", target(label)}).code, 0); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    ASSERT_TRUE(eventually([&] { return !read(starts).empty(); }));
    std::this_thread::sleep_for(200ms);
    EXPECT_EQ(read(starts), "x\n");
}

TEST_F(DetachedHost, EndsAlsoWhatHasItsOwnProcessGroup)
{
    // A shell with job control gives each job a group of its own, within the session.
    const auto child = scratch() / "child";
    ASSERT_EQ(
        load(label,
             shellAgent(label, "set -m; sleep 1000 & echo $! >'" + child.string() + "'; wait").flag("RunAtLoad", true))
            .code,
        0);
    ASSERT_TRUE(eventually([&] { return read(child).ends_with("\n"); }));
    const pid_t pid = std::stoi(read(child));
    EXPECT_EQ(unload(label).code, 0);
    EXPECT_FALSE(isAlive(pid));
}

TEST_F(DetachedHost, EndsWhatAnEndedAgentLeftBehind)
{
    const auto child = scratch() / "child";
    ASSERT_EQ(
        load(label, shellAgent(label, "sleep 1000 & echo $! >'" + child.string() + "'").flag("RunAtLoad", true)).code,
        0);
    ASSERT_TRUE(eventually([&] { return read(child).ends_with("\n") && !pidOf(label); }));
    const pid_t pid = std::stoi(read(child));
    ASSERT_TRUE(isAlive(pid));
    EXPECT_EQ(launchctl({"kickstart", target(label)}).code, 0);
    EXPECT_FALSE(isAlive(pid));
}

TEST_F(DetachedHost, TellsWhyAProgramDoesNotStart)
{
    PropertyListText list(label);
    const Out out = load(label, list.text("Program", (home() / "none").string()).flag("RunAtLoad", true));
    EXPECT_EQ(out.code, 0);
    EXPECT_EQ(out.stderr, "launchctl: The file “none” doesn’t exist.\n");
    EXPECT_EQ(launchctl({"kickstart", target(label)}),
              (Out {5, "", "Kickstart failed: 5: Input/output error\nlaunchctl: The file “none” doesn’t exist.\n"}));
    EXPECT_FALSE(fs::exists(processFile()));
}

TEST_F(DetachedHost, LeavesNothingWhenItsStateCannotBeWritten)
{
    write(runtimeFolder() / "code-manager", "in the way");
    const Out out = load(label, shellAgent(label, "exec sleep 1000").flag("RunAtLoad", true));
    EXPECT_EQ(out.code, 5);
    EXPECT_TRUE(out.stderr.starts_with("Bootstrap failed: 5: Input/output error\nlaunchctl: ")) << out.stderr;
    EXPECT_FALSE(isLoaded(label));
}

TEST_F(DetachedHost, LoadsOnceWhenKilledAndTriedAgain)
{
    write(listPath(label), shellAgent(label, "exec sleep 1000").flag("RunAtLoad", true).xml());
    for (int attempt = 0; attempt < 20; attempt++) {
        const std::string program = builtProgram("launchctl").string();
        const std::string list = listPath(label).string();
        const std::string own = domain();
        const pid_t child = ::fork();
        if (child == 0) {
            ::execl(program.c_str(), "launchctl", "bootstrap", own.c_str(), list.c_str(), nullptr);
            ::_exit(127);
        }
        std::this_thread::sleep_for(std::chrono::microseconds(attempt * 400));
        ::kill(child, SIGKILL);
        ::waitpid(child, nullptr, 0);
        if (isLoaded(label)) {
            EXPECT_EQ(launchctl({"kickstart", target(label)}).code, 0);
        } else {
            EXPECT_EQ(launchctl({"bootstrap", own, list}).code, 0);
        }
        EXPECT_TRUE(isAlive(awaitedPid(label)));
        EXPECT_EQ(unload(label).code, 0);
        EXPECT_FALSE(isLoaded(label));
    }
}

} // namespace
