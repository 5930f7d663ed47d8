// Services without a user manager.

#include <csignal>
#include <fcntl.h>
#include <sstream>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "LinuxTools/Launchctl/ProcessTable.h"
#include "Tests/LinuxTools/Support/LaunchctlTest.h"

namespace
{

using namespace TestSupport;
using ManagerCore::Proc::Out;
namespace fs = std::filesystem;

const std::string label = "com.example.agent";

class StartStopBackend : public LaunchctlTest
{
protected:
    StartStopBackend()
        : LaunchctlTest(Backend::startStopDaemon)
    {
    }

    [[nodiscard]] fs::path folder() const { return runtimeFolder() / "code-manager/agents" / label; }

    pid_t loadSleeper()
    {
        EXPECT_EQ(load(label, sleeper(label)), (Out {0, "", ""}));
        return awaitPid(label);
    }
};

TEST_F(StartStopBackend, WarnsAboutKeysThatNeedAUserManager)
{
    PropertyListText list(label);
    list.text("Program", "/bin/sleep")
        .texts("ProgramArguments", {"other", "1000"})
        .flag("KeepAlive", true)
        .number("StartInterval", 5)
        .text("ProcessType", "Background")
        .raw("SoftResourceLimits", "<dict><key>Core</key><integer>0</integer></dict>")
        .raw("HardResourceLimits", "<dict><key>Core</key><integer>0</integer></dict>")
        .text("StandardOutPath", (home() / "out").string())
        .text("StandardErrorPath", (home() / "err").string());
    const Out out = load(label, list);
    std::string expected;
    for (const char* key : {"KeepAlive",
                            "StartInterval",
                            "ProcessType",
                            "SoftResourceLimits",
                            "HardResourceLimits",
                            "StandardErrorPath",
                            "ProgramArguments[0]"}) {
        expected += "launchctl: warning: The key “" + std::string(key) + "” of “" + label
            + "” is not supported without a systemd user manager.\n";
    }
    EXPECT_EQ(out, (Out {0, "", expected}));
    EXPECT_TRUE(isAlive(awaitPid(label)));
}

TEST_F(StartStopBackend, SetsOnlyTheEnvironmentOfLaunchd)
{
    const EnvironmentVariable own("OF_THE_CALLER", "x");
    const EnvironmentVariable temporary("TMPDIR", scratch().string());
    PropertyListText list(label);
    list.texts("ProgramArguments", {testChild().string(), "dump", (scratch() / "dump").string()})
        .dictionary("EnvironmentVariables", {{"OWN-ODD.NAME", "x"}})
        .flag("RunAtLoad", true);
    ASSERT_EQ(load(label, list), (Out {0, "", ""}));
    auto environment = awaitDump(scratch() / "dump").environment;
    EXPECT_EQ(environment["HOME"], home().string());
    EXPECT_EQ(environment["PATH"], "/usr/bin:/bin:/usr/sbin:/sbin");
    EXPECT_EQ(environment["TMPDIR"], scratch().string());
    EXPECT_EQ(environment["OWN-ODD.NAME"], "x");
    EXPECT_EQ(environment["XPC_SERVICE_NAME"], label);
    EXPECT_FALSE(environment["USER"].empty());
    EXPECT_EQ(environment["USER"], environment["LOGNAME"]);
    EXPECT_FALSE(environment["SHELL"].empty());
    EXPECT_EQ(environment.size(), 8U);
}

TEST_F(StartStopBackend, InheritsNeitherDescriptorsNorBlockedSignals)
{
    ASSERT_EQ(::dup2(STDERR_FILENO, 77), 77); // not close-on-exec
    sigset_t blocked;
    ::sigemptyset(&blocked);
    ::sigaddset(&blocked, SIGUSR1);
    ::sigprocmask(SIG_BLOCK, &blocked, nullptr);
    const auto file = scratch() / "about";
    // The shell blocks all signals for a moment when it starts a program, so it reads the file itself.
    const std::string script
        = "while read -r line; do case $line in SigBlk*) echo \"$line\";; esac; done </proc/$$/status"
          "; ls /proc/$$/fd; echo end";
    const Out out
        = load(label, shellService(label, script).flag("RunAtLoad", true).text("StandardOutPath", file.string()));
    ::sigprocmask(SIG_UNBLOCK, &blocked, nullptr);
    ::close(77);
    ASSERT_EQ(out, (Out {0, "", ""}));
    ASSERT_TRUE(eventually([&] { return read(file).ends_with("end\n"); }));
    EXPECT_FALSE(read(file).contains("77\n")) << read(file);
    EXPECT_TRUE(read(file).starts_with("SigBlk:\t0000000000000000\n")) << read(file);
}

TEST_F(StartStopBackend, KeepsItsStateInTheHomeWithoutARuntimeFolder)
{
    for (const auto& value : {std::optional<std::string>(),
                              std::optional<std::string>("relative"),
                              std::optional((home() / "missing").string())}) {
        const EnvironmentVariable none("XDG_RUNTIME_DIR", value);
        const pid_t pid = loadSleeper();
        EXPECT_TRUE(fs::exists(home() / ".local/state/code-manager/agents" / label / "boot"));
        EXPECT_FALSE(fs::exists(folder()));
        {
            const EnvironmentVariable later("XDG_RUNTIME_DIR", runtimeFolder().string());
            EXPECT_EQ(pidOf(label), pid) << "a runtime folder appears later";
        }
        EXPECT_EQ(unload(label).code, 0);
        EXPECT_TRUE(fs::is_empty(home() / ".local/state/code-manager/agents"));
    }
}

TEST_F(StartStopBackend, IsUsedWhenNoProcessListensOnTheSocketOfTheUserManager)
{
    fs::create_directories(runtimeFolder() / "systemd");
    sockaddr_un address {};
    address.sun_family = AF_UNIX;
    const std::string name = (runtimeFolder() / "systemd/private").string();
    std::copy_n(name.data(), name.size(), std::begin(address.sun_path));
    const int socket = ::socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(::bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    ::close(socket);
    EXPECT_TRUE(isAlive(loadSleeper()));
    EXPECT_TRUE(fs::exists(folder()));
}

TEST_F(StartStopBackend, IsRefusedWithoutStartStopDaemon)
{
    if (!isRoot()) {
        GTEST_SKIP() << "Hiding a program with a mount needs root.";
    }
    write(listPath(label), sleeper(label).xml());
    const Out out = ManagerCore::Proc::run("/usr/bin/unshare",
                                           {"--mount",
                                            "/bin/sh",
                                            "-c",
                                            "mount --bind /dev/null /sbin/start-stop-daemon && exec \"$@\"",
                                            "sh",
                                            builtProgram("launchctl").string(),
                                            "bootstrap",
                                            domain(),
                                            listPath(label).string()});
    EXPECT_EQ(out,
              (Out {5,
                    "",
                    "Bootstrap failed: 5: Input/output error\nlaunchctl: This system has neither a systemd user "
                    "manager nor start-stop-daemon.\n"}));
    EXPECT_FALSE(isLoaded(label));
}

TEST_F(StartStopBackend, StartsAServiceThatSurvivesTheSessionOfTheCaller)
{
    write(listPath(label), sleeper(label).xml());
    const pid_t caller = ::fork();
    if (caller == 0) {
        ::setsid();
        const bool loaded = load(label).ok();
        ::raise(loaded ? SIGSTOP : SIGKILL);
        ::_exit(0);
    }
    int status = 0;
    ::waitpid(caller, &status, WUNTRACED);
    ASSERT_TRUE(WIFSTOPPED(status));
    ::kill(-caller, SIGKILL);
    ::waitpid(caller, &status, 0);
    EXPECT_TRUE(isAlive(awaitPid(label)));
    EXPECT_EQ(unload(label).code, 0);
}

// The pid of an ended service may name another process.
TEST_F(StartStopBackend, LeavesAnotherProcessWithTheSamePidAlone)
{
    const pid_t pid = loadSleeper();
    const pid_t stranger = ::fork();
    if (stranger == 0) {
        ::setsid();
        ::execl("/bin/sleep", "sleep", "1000", nullptr);
        ::_exit(127);
    }
    const auto isInSession = [&] { return LinuxTools::ProcessTable::find(stranger)->session == stranger; };
    ASSERT_TRUE(eventually(isInSession));
    const std::string number = std::to_string(stranger);
    for (const std::string& identity : {number + " 1 " + number + "\n", std::string()}) {
        write(folder() / "pid", number + "\n");
        write(folder() / "process", identity);
        EXPECT_EQ(pidOf(label), std::nullopt) << identity;
        EXPECT_EQ(unload(label).code, 0) << identity;
        EXPECT_TRUE(isAlive(stranger)) << identity;
        EXPECT_EQ(load(label, shellService(label, "true")).code, 0);
    }
    ::kill(stranger, SIGKILL);
    ::waitpid(stranger, nullptr, 0);
    ::kill(pid, SIGKILL);
}

TEST_F(StartStopBackend, FindsAProcessWhoseIdentityWasNotWritten)
{
    const pid_t pid = loadSleeper();
    fs::remove(folder() / "process");
    EXPECT_EQ(pidOf(label), pid);
    EXPECT_EQ(unload(label).code, 0);
    EXPECT_FALSE(isAlive(pid));
}

TEST_F(StartStopBackend, SurvivesADamagedState)
{
    for (const char* name : {"pid", "process", "job.plist"}) {
        for (const char* damage : {"", "x", "-5 7\n", "1 1 1\n", "99999999999999999999 1\n"}) {
            const pid_t pid = loadSleeper();
            write(folder() / name, damage);
            EXPECT_TRUE(isLoaded(label)) << name << damage;
            EXPECT_EQ(unload(label).code, 0) << name << damage;
            EXPECT_FALSE(isLoaded(label)) << name << damage;
            ::kill(pid, SIGKILL);
        }
    }
    loadSleeper();
    write(folder() / "job.plist", "x");
    EXPECT_EQ(restart(label),
              (Out {5, "", "Kickstart failed: 5: Input/output error\nlaunchctl: The property list is malformed.\n"}));
}

TEST_F(StartStopBackend, ForgetsServicesOfAnEarlierBoot)
{
    const pid_t pid = loadSleeper();
    write(folder() / "boot", "another");
    EXPECT_FALSE(isLoaded(label));
    EXPECT_EQ(unload(label).code, 3);
    EXPECT_TRUE(isAlive(pid)) << "its pid may name another process";
    EXPECT_NE(loadSleeper(), pid);
    ::kill(pid, SIGKILL);
}

TEST_F(StartStopBackend, EndsTheChildrenOfAnEndedProcess)
{
    const auto child = scratch() / "child";
    const auto script = "sleep 1000 & echo $! >'" + child.string() + "'";
    ASSERT_EQ(load(label, shellService(label, script).flag("RunAtLoad", true)).code, 0);
    ASSERT_TRUE(eventually([&] { return read(child).ends_with("\n") && !pidOf(label); }));
    const pid_t pid = std::stoi(read(child));
    ASSERT_TRUE(isAlive(pid));
    EXPECT_EQ(unload(label).code, 0);
    EXPECT_FALSE(isAlive(pid));
}

TEST_F(StartStopBackend, ReportsWhyAServiceDoesNotStart)
{
    const std::string failed = "Kickstart failed: 5: Input/output error\nlaunchctl: ";
    PropertyListText missing(label);
    EXPECT_EQ(load(label, missing.text("Program", (home() / "none").string()).flag("RunAtLoad", true)),
              (Out {0, "", "launchctl: warning: The file “none” doesn’t exist.\n"}));
    EXPECT_EQ(restart(label), (Out {5, "", failed + "The file “none” doesn’t exist.\n"}));
    EXPECT_EQ(unload(label).code, 0);

    ASSERT_EQ(load(label, shellService(label, "true").text("WorkingDirectory", "/none")).code, 0);
    const Out out = restart(label);
    EXPECT_EQ(out.code, 5);
    EXPECT_TRUE(out.stderr.starts_with(failed + "/sbin/start-stop-daemon: unable to chdir() to /none")) << out.stderr;
}

TEST_F(StartStopBackend, LoadsNothingWhenItsStateCannotBeWritten)
{
    write(runtimeFolder() / "code-manager", "in the way");
    const Out out = load(label, sleeper(label));
    EXPECT_EQ(out.code, 5);
    EXPECT_TRUE(out.stderr.starts_with("Bootstrap failed: 5: Input/output error\nlaunchctl: ")) << out.stderr;
    EXPECT_FALSE(isLoaded(label));
}

TEST_F(StartStopBackend, StartsOnceWhenRestartedConcurrently)
{
    const auto starts = scratch() / "starts";
    ASSERT_EQ(load(label, shellService(label, "echo $$ >>'" + starts.string() + "'; exec sleep 1000")).code, 0);
    std::vector<std::thread> threads;
    for (int index = 0; index < 4; index++) {
        threads.emplace_back([] { EXPECT_EQ(restart(label).code, 0); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    const std::string last = std::to_string(awaitPid(label));
    ASSERT_TRUE(eventually([&] { return read(starts).ends_with(last + "\n"); }));
    std::istringstream lines(read(starts));
    for (pid_t pid = 0; lines >> pid;) {
        EXPECT_EQ(isAlive(pid), std::to_string(pid) == last);
    }
}

#ifndef __SANITIZE_ADDRESS__ // whose runtime must be the first library that is loaded
// Whatever system call is the last one, the service is afterwards loaded or not, and can be restarted or loaded.
TEST_F(StartStopBackend, IsConsistentAfterAKilledCommand)
{
    const auto starts = scratch() / "starts";
    const auto script = "echo $$ >>'" + starts.string() + "'; exec sleep 1000";
    write(listPath(label), shellService(label, script).flag("RunAtLoad", true).xml());
    bool killed = true;
    for (int call = 1; killed; call++) {
        const std::string fault = "any:" + std::to_string(call) + ":kill";
        killed = !launchctlWithFault(fault, {"bootstrap", domain(), listPath(label).string()}).ok();
        EXPECT_EQ(isLoaded(label) ? restart(label) : load(label), (Out {0, "", ""})) << call;
        killed = !launchctlWithFault(fault, {"kickstart", "-k", target(label)}).ok() || killed;
        EXPECT_EQ(restart(label), (Out {0, "", ""})) << call;
        const pid_t last = awaitPid(label);
        killed = !launchctlWithFault(fault, {"bootout", target(label)}).ok() || killed;
        EXPECT_EQ(isLoaded(label) ? unload(label).code : 0, 0) << call;
        EXPECT_FALSE(isAlive(last)) << call;
        std::istringstream lines(read(starts));
        for (pid_t pid = 0; lines >> pid;) {
            EXPECT_FALSE(isAlive(pid)) << call;
        }
    }
}

TEST_F(StartStopBackend, LoadsNothingOrStartsWhenACallFails)
{
    write(listPath(label), sleeper(label).xml());
    for (const std::string& call :
         {std::string("mkdir"), std::string("write"), std::string("fsync"), std::string("rename")}) {
        for (int nth = 1; nth <= 4; nth++) {
            const std::string fault = call + ":" + std::to_string(nth) + ":errno=28";
            const Out out = launchctlWithFault(fault, {"bootstrap", domain(), listPath(label).string()});
            EXPECT_EQ(isLoaded(label), out.ok()) << fault << out.stderr;
            EXPECT_EQ(out.ok() ? unload(label).code : out.code, out.ok() ? 0 : 5) << fault << out.stderr;
        }
    }
}
#endif

} // namespace
