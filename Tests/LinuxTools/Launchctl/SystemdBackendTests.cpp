// Services as units of a user manager.

#include <algorithm>
#include <csignal>
#include <string>
#include <thread>
#include <unistd.h>

#include "Tests/LinuxTools/Support/LaunchctlTest.h"

namespace
{

using namespace TestSupport;
using namespace std::chrono_literals;
using ManagerCore::Proc::Out;
namespace fs = std::filesystem;

const std::string label = "com.example.agent";
const std::string unit = label + ".service";
const std::string failed = "Bootstrap failed: 5: Input/output error\nlaunchctl: ";

class SystemdBackend : public LaunchctlTest
{
protected:
    SystemdBackend()
        : LaunchctlTest(Backend::systemd)
    {
    }

    [[nodiscard]] fs::path configUnits() const { return home() / ".config/systemd/user"; }
    [[nodiscard]] fs::path runtimeUnits() const { return runtimeFolder() / "systemd/user"; }

    static Out systemctl(std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(), "--user");
        return ManagerCore::Proc::run("/usr/bin/systemctl", arguments);
    }
    static std::string property(const std::string& unit, const std::string& name)
    {
        const std::string value = systemctl({"show", "--property=" + name, "--value", unit}).stdout;
        return value.substr(0, value.find('\n'));
    }

    // All files and links that launchctl makes.
    [[nodiscard]] std::vector<std::string> unitFiles() const
    {
        std::vector<std::string> files;
        for (const fs::path& folder : {configUnits(), runtimeUnits(), runtimeFolder() / "code-manager/loaded"}) {
            std::error_code error;
            for (const auto& entry : fs::recursive_directory_iterator(folder, error)) {
                if (!entry.is_directory() || entry.is_symlink()) {
                    files.push_back(entry.path().string());
                }
            }
        }
        return files;
    }
    void expectNothingLeft() const { EXPECT_EQ(unitFiles(), std::vector<std::string> {}); }

    // A service that writes a line at each start.
    [[nodiscard]] PropertyListText counter(const std::string& script) const
    {
        return shellService(label, "echo x >>'" + startsFile().string() + "'; " + script);
    }
    [[nodiscard]] fs::path startsFile() const { return scratch() / "starts"; }
    [[nodiscard]] std::size_t starts() const { return read(startsFile()).size() / 2; }
    [[nodiscard]] bool awaitStarts(std::size_t count) const
    {
        return eventually([&] { return starts() >= count; });
    }

    static Out bootstrapIn(const fs::path& home, const fs::path& list)
    {
        auto environment = ManagerCore::Proc::environment();
        environment["HOME"] = home.string();
        return ManagerCore::Proc::run(
            builtProgram("launchctl").string(), {"bootstrap", domain(), list.string()}, std::nullopt, environment);
    }
};

TEST_F(SystemdBackend, RestartsAServiceWithKeepAlive)
{
    ASSERT_EQ(load(label, counter("exec sleep 1000").flag("KeepAlive", true).number("ThrottleInterval", 1)).code, 0);
    ASSERT_EQ(::kill(awaitPid(label), SIGKILL), 0);
    EXPECT_TRUE(awaitStarts(2));
    EXPECT_EQ(property(unit, "Restart"), "always");
    EXPECT_EQ(unload(label).code, 0);
    expectNothingLeft();
}

TEST_F(SystemdBackend, RestartsUntilTheExitIsSuccessful)
{
    const auto list = counter("[ $(wc -l <'" + startsFile().string() + "') -ge 3 ]")
                          .raw("KeepAlive", "<dict><key>SuccessfulExit</key><false/></dict>")
                          .number("ThrottleInterval", 0);
    ASSERT_EQ(load(label, list).code, 0);
    EXPECT_TRUE(eventually([&] { return starts() == 3 && property(unit, "SubState") == "dead"; }));
    EXPECT_TRUE(isLoaded(label));
}

TEST_F(SystemdBackend, RestartsAtOnceDuringTheDelayBetweenStarts)
{
    ASSERT_EQ(load(label, counter("exit 1").flag("KeepAlive", true).number("ThrottleInterval", 1000)).code, 0);
    ASSERT_TRUE(eventually([&] { return property(unit, "SubState") == "auto-restart"; }));
    EXPECT_EQ(restart(label).code, 0);
    EXPECT_TRUE(awaitStarts(2));
}

TEST_F(SystemdBackend, StartsAtTheInterval)
{
    ASSERT_EQ(load(label, counter("exit 1").number("StartInterval", 1)), (Out {0, "", ""}));
    EXPECT_TRUE(awaitStarts(2));
    EXPECT_TRUE(fs::exists(configUnits() / "timers.target.wants" / (label + ".timer")));
    EXPECT_EQ(unload(label).code, 0);
    EXPECT_EQ(property(label + ".timer", "ActiveState"), "inactive");
    expectNothingLeft();
}

TEST_F(SystemdBackend, AppliesLimitsAndSeparatesTheLogs)
{
    const auto list = shellService(label, "ulimit -Sn; ulimit -Hn; ulimit -Sc; echo e >&2")
                          .flag("RunAtLoad", true)
                          .text("ProcessType", "Background")
                          .text("StandardOutPath", (home() / "out").string())
                          .text("StandardErrorPath", (home() / "err").string())
                          .raw("SoftResourceLimits", "<dict><key>NumberOfFiles</key><integer>123</integer></dict>")
                          .raw("HardResourceLimits",
                               "<dict><key>NumberOfFiles</key><integer>456</integer><key>Core</key>"
                               "<integer>0</integer></dict>");
    ASSERT_EQ(load(label, list), (Out {0, "", ""}));
    EXPECT_TRUE(eventually([&] { return read(home() / "out") == "123\n456\n0\n" && read(home() / "err") == "e\n"; }));
    EXPECT_TRUE(read(configUnits() / unit).contains("\nCPUWeight=idle\n"));
}

TEST_F(SystemdBackend, SetsTheFirstArgument)
{
    const std::vector<std::string> arguments {"some $other %name", "dump", (scratch() / "dump").string()};
    PropertyListText list(label);
    list.text("Program", testChild().string()).texts("ProgramArguments", arguments).flag("RunAtLoad", true);
    ASSERT_EQ(load(label, list), (Out {0, "", ""}));
    EXPECT_EQ(awaitDump(scratch() / "dump").arguments, arguments);
}

TEST_F(SystemdBackend, ForgetsAFailedService)
{
    ASSERT_EQ(load(label, shellService(label, "exit 7").flag("RunAtLoad", true)).code, 0);
    ASSERT_TRUE(eventually([&] { return property(unit, "ActiveState") == "failed"; }));
    EXPECT_EQ(unload(label).code, 0);
    EXPECT_EQ(property(unit, "LoadState"), "not-found");
    EXPECT_EQ(property(unit, "ActiveState"), "inactive");
}

TEST_F(SystemdBackend, StartsAtEachLoginUntilItIsUnloaded)
{
    ASSERT_EQ(load(label, counter("exec sleep 1000").flag("RunAtLoad", true)).code, 0);
    ASSERT_TRUE(awaitStarts(1));
    manager().loginAnew();
    EXPECT_TRUE(awaitStarts(2));
    EXPECT_TRUE(isLoaded(label));
    EXPECT_EQ(unload(label).code, 0);
    expectNothingLeft();
    manager().loginAnew();
    EXPECT_FALSE(isLoaded(label));
    EXPECT_EQ(starts(), 2U);
}

TEST_F(SystemdBackend, IsLoadedAtLoginWithoutRunAtLoad)
{
    ASSERT_EQ(load(label, counter("exec sleep 1000")).code, 0);
    manager().loginAnew();
    EXPECT_TRUE(isLoaded(label));
    EXPECT_EQ(starts(), 0U);
    EXPECT_EQ(restart(label).code, 0);
    EXPECT_TRUE(awaitStarts(1));
}

TEST_F(SystemdBackend, IsNotLoadedAtLoginWithoutItsPropertyList)
{
    ASSERT_EQ(load(label, counter("exec sleep 1000").flag("KeepAlive", true)).code, 0);
    ASSERT_TRUE(awaitStarts(1));
    fs::remove(listPath(label));
    manager().loginAnew();
    ASSERT_TRUE(eventually([&] { return property("default.target", "ActiveState") == "active"; }));
    EXPECT_FALSE(isLoaded(label));
    EXPECT_EQ(starts(), 1U);

    // A new property list is loaded like the first.
    EXPECT_EQ(load(label, counter("exec sleep 1000").flag("RunAtLoad", true)), (Out {0, "", ""}));
    EXPECT_TRUE(awaitStarts(2));
}

TEST_F(SystemdBackend, UsesTheRuntimeFolderForAnotherHome)
{
    const fs::path sample = scratch() / "sample home";
    write(sample / "a.plist",
          shellService(label, "echo $HOME >'" + (scratch() / "home").string() + "'; exec sleep 1000")
              .flag("RunAtLoad", true)
              .xml());
    ASSERT_EQ(bootstrapIn(sample, sample / "a.plist"), (Out {0, "", ""}));
    EXPECT_TRUE(fs::exists(runtimeUnits() / unit));
    EXPECT_FALSE(fs::exists(sample / ".config"));
    EXPECT_FALSE(fs::exists(configUnits() / unit));
    EXPECT_TRUE(eventually([&] { return read(scratch() / "home") == sample.string() + "\n"; }));
    EXPECT_EQ(unload(label), (Out {0, "", ""})) << "one user has one domain";
    expectNothingLeft();

    const EnvironmentVariable elsewhere("XDG_CONFIG_HOME", (home() / "elsewhere").string());
    ASSERT_EQ(load(label, sleeper(label)).code, 0);
    EXPECT_TRUE(fs::exists(runtimeUnits() / unit));
    EXPECT_FALSE(fs::exists(home() / "elsewhere"));
}

TEST_F(SystemdBackend, UsesAHomeWithASpaceInItsName)
{
    const fs::path spaced = scratch() / "my home";
    fs::create_directories(spaced);
    const EnvironmentVariable runtime("XDG_RUNTIME_DIR", (scratch() / "run2").string());
    const UserManagerRun other(scratch() / "run2", spaced);
    ASSERT_TRUE(other.isRunning());
    write(spaced / "a.plist", sleeper(label).xml());
    EXPECT_EQ(bootstrapIn(spaced, spaced / "a.plist"), (Out {0, "", ""}));
    EXPECT_TRUE(fs::exists(spaced / ".config/systemd/user" / unit));
    EXPECT_TRUE(isAlive(awaitPid(label)));
}

TEST_F(SystemdBackend, LeavesUnitsOfOtherProgramsAlone)
{
    const std::string text = "[Service]\nExecStart=/bin/sleep 1000\n";
    write(configUnits() / unit, text);
    ASSERT_EQ(systemctl({"start", unit}).code, 0);
    EXPECT_FALSE(isLoaded(label));
    EXPECT_EQ(unload(label).code, 3);
    EXPECT_EQ(restart(label).code, 113);
    EXPECT_EQ(load(label, sleeper(label)),
              (Out {5, "", failed + "Another program has a unit with the name “" + unit + "”.\n"}));
    EXPECT_EQ(read(configUnits() / unit), text);
    EXPECT_EQ(property(unit, "ActiveState"), "active");
}

TEST_F(SystemdBackend, LeavesNothingAfterAFailedBootstrap)
{
    PropertyListText list(label);
    list.text("Program", "/" + std::string(5000, 'x')).flag("RunAtLoad", true).number("StartInterval", 1);
    EXPECT_EQ(load(label, list), (Out {5, "", failed + "systemd does not accept the unit “" + unit + "”.\n"}));
    EXPECT_FALSE(isLoaded(label));
    expectNothingLeft();
    EXPECT_EQ(property(unit, "LoadState"), "not-found");

    const Out folder = load(label, sleeper(label).text("WorkingDirectory", "/a\nb"));
    EXPECT_EQ(folder, (Out {5, "", failed + "systemd does not support the path \"/a\\x0ab\".\n"}));
    fs::remove_all(home() / ".config/systemd");
    write(home() / ".config/systemd", "in the way");
    const Out out = load(label, sleeper(label));
    EXPECT_EQ(out.code, 5);
    EXPECT_TRUE(out.stderr.starts_with(failed)) << out.stderr;
    EXPECT_FALSE(isLoaded(label));
    expectNothingLeft();
}

TEST_F(SystemdBackend, WritesUnitsThatOthersCannotRead)
{
    ASSERT_EQ(load(label, sleeper(label)).code, 0);
    EXPECT_EQ(fs::status(configUnits() / unit).permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

#ifndef __SANITIZE_ADDRESS__ // whose runtime must be the first library that is loaded
TEST_F(SystemdBackend, IsConsistentAfterAKilledBootstrap)
{
    write(listPath(label), sleeper(label).number("StartInterval", 1000).xml());
    bool killed = true;
    for (int call = 1; killed; call += 5) {
        const std::string fault = "any:" + std::to_string(call) + ":kill";
        killed = !launchctlWithFault(fault, {"bootstrap", domain(), listPath(label).string()}).ok();
        EXPECT_EQ(isLoaded(label) ? restart(label) : load(label), (Out {0, "", ""})) << call;
        EXPECT_TRUE(isAlive(awaitPid(label)));
        EXPECT_EQ(unload(label), (Out {0, "", ""})) << call;
        EXPECT_FALSE(isLoaded(label));
        expectNothingLeft();
    }
}
#endif

TEST_F(SystemdBackend, LoadsOnceWhenBootstrappedConcurrently)
{
    write(listPath(label), sleeper(label).xml());
    int codes[2] = {-1, -1};
    std::thread other([&] { codes[0] = launchctl({"bootstrap", domain(), listPath(label).string()}).code; });
    codes[1] = launchctl({"bootstrap", domain(), listPath(label).string()}).code;
    other.join();
    EXPECT_EQ(std::min(codes[0], codes[1]), 0);
    EXPECT_EQ(std::max(codes[0], codes[1]), 5);
}

TEST_F(SystemdBackend, ReportsAUserManagerThatDoesNotAnswer)
{
    ASSERT_EQ(load(label, sleeper(label)).code, 0);
    const std::string other = "com.example.other";
    manager().pause();
    EXPECT_EQ(launchctl({"list", label}).code, 113);
    EXPECT_EQ(load(other, sleeper(other)), (Out {5, "", failed + "The systemd user manager does not answer.\n"}));
    manager().resume();
    EXPECT_TRUE(isLoaded(label));
    EXPECT_FALSE(isLoaded(other));
}

TEST_F(SystemdBackend, FindsServicesThatWereLoadedWithoutAUserManager)
{
    {
        const EnvironmentVariable none("XDG_RUNTIME_DIR", std::nullopt);
        ASSERT_EQ(load(label, sleeper(label)).code, 0);
    }
    const pid_t pid = awaitPid(label);
    EXPECT_EQ(load(label).code, 5);
    EXPECT_EQ(unload(label).code, 0);
    EXPECT_FALSE(isAlive(pid));
}

} // namespace
