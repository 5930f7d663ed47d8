// What is particular to agents under a user manager.

#include "LinuxTools/Launchctl/UnitHost.h"

#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <random>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "Tests/LinuxTools/Support/AgentTest.h"

namespace
{

using namespace TestSupport;
using namespace std::chrono_literals;
using ManagerCore::Proc::Out;
namespace fs = std::filesystem;

class UnitHost : public AgentTest
{
protected:
    UnitHost()
        : AgentTest(Mode::userManager)
    {
    }

    [[nodiscard]] fs::path lastingUnits() const { return home() / ".config/systemd/user"; }
    [[nodiscard]] fs::path passingUnits() const { return runtimeFolder() / "systemd/user"; }

    static Out systemctl(std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(), "--user");
        return ManagerCore::Proc::run("/usr/bin/systemctl", arguments);
    }
    static std::string property(const std::string& unit, const std::string& name)
    {
        std::string value = systemctl({"show", "--property=" + name, "--value", unit}).stdout;
        return value.substr(0, value.find('\n'));
    }

    // Every file and link below the folders of units.
    [[nodiscard]] std::vector<std::string> unitFiles() const
    {
        std::vector<std::string> files;
        for (const fs::path& folder : {lastingUnits(), passingUnits(), runtimeFolder() / "code-manager/loaded"}) {
            std::error_code error;
            for (const auto& entry : fs::recursive_directory_iterator(folder, error)) {
                if (!entry.is_directory() || entry.is_symlink()) {
                    files.push_back(entry.path().string());
                }
            }
        }
        return files;
    }

    // Counts the starts of an agent whose script says so into this file.
    [[nodiscard]] std::size_t starts() const { return read(startsFile()).size() / 2; }
    [[nodiscard]] fs::path startsFile() const { return scratch() / "starts"; }
    [[nodiscard]] std::string countStart() const { return "echo x >>'" + startsFile().string() + "'; "; }
};

const std::string label = "com.example.agent";
const std::string unit = label + ".service";

TEST_F(UnitHost, StartsAgainWhatIsKeptAlive)
{
    ASSERT_EQ(
        load(label, shellAgent(label, countStart() + "exit 0").flag("KeepAlive", true).number("ThrottleInterval", 1))
            .code,
        0);
    EXPECT_TRUE(eventually([&] { return starts() >= 3; }));
    EXPECT_EQ(unload(label).code, 0);
    const std::size_t then = starts();
    std::this_thread::sleep_for(1500ms);
    EXPECT_EQ(starts(), then);
}

TEST_F(UnitHost, StartsAgainWhatWasKilled)
{
    ASSERT_EQ(
        load(label, shellAgent(label, "exec sleep 1000").flag("KeepAlive", true).number("ThrottleInterval", 1)).code,
        0);
    const pid_t pid = awaitedPid(label);
    ASSERT_EQ(::kill(pid, SIGKILL), 0);
    EXPECT_TRUE(eventually([&] { return pidOf(label).value_or(pid) != pid; }));
}

TEST_F(UnitHost, StartsAgainOnlyAfterAFailure)
{
    const std::string onFailure = "<dict><key>SuccessfulExit</key><false/></dict>";
    // Fails twice, then succeeds.
    ASSERT_EQ(load(label,
                   shellAgent(label, countStart() + "[ $(wc -l <'" + startsFile().string() + "') -ge 3 ]")
                       .raw("KeepAlive", onFailure)
                       .number("ThrottleInterval", 1))
                  .code,
              0);
    EXPECT_TRUE(eventually([&] { return starts() == 3; }));
    std::this_thread::sleep_for(1500ms);
    EXPECT_EQ(starts(), 3U);
    EXPECT_TRUE(isLoaded(label));
}

TEST_F(UnitHost, KickstartDoesNotWaitForThePauseBetweenStarts)
{
    ASSERT_EQ(
        load(label, shellAgent(label, countStart() + "exit 1").flag("KeepAlive", true).number("ThrottleInterval", 1000))
            .code,
        0);
    ASSERT_TRUE(eventually([&] { return property(unit, "SubState") == "auto-restart"; }));
    EXPECT_TRUE(launchctl({"print", target(label)}).stdout.contains("state = waiting to be started again\n"));
    EXPECT_EQ(launchctl({"kickstart", target(label)}).code, 0);
    EXPECT_TRUE(eventually([&] { return starts() == 2; }));
}

TEST_F(UnitHost, StartsAtItsInterval)
{
    ASSERT_EQ(load(label, shellAgent(label, countStart() + "exit 1").number("StartInterval", 1)), (Out {0, "", ""}));
    EXPECT_EQ(starts(), 0U); // not at load
    EXPECT_TRUE(eventually([&] { return starts() >= 3; }));
    EXPECT_TRUE(fs::exists(lastingUnits() / "timers.target.wants" / (label + ".timer")));
    EXPECT_EQ(unload(label).code, 0);
    const std::size_t then = starts();
    std::this_thread::sleep_for(1500ms);
    EXPECT_EQ(starts(), then);
    EXPECT_EQ(unitFiles(), std::vector<std::string> {});
}

TEST_F(UnitHost, TellsTheLastExit)
{
    ASSERT_EQ(load(label, shellAgent(label, "exit 7").flag("RunAtLoad", true)).code, 0);
    EXPECT_TRUE(eventually([&] { return launchctl({"list"}).stdout == "PID\tStatus\tLabel\n-\t7\t" + label + "\n"; }));
    EXPECT_TRUE(launchctl({"print", target(label)}).stdout.contains("state = failed\n"));
    EXPECT_EQ(unload(label).code, 0);

    ASSERT_EQ(load(label, shellAgent(label, "kill -9 $$").flag("RunAtLoad", true)).code, 0);
    EXPECT_TRUE(eventually([&] { return launchctl({"list", label}).stdout.contains("\"LastExitStatus\" = -9;"); }));
    // A failed unit that nobody clears would be shown for ever.
    EXPECT_EQ(unload(label).code, 0);
    EXPECT_EQ(property(unit, "LoadState"), "not-found");
    EXPECT_EQ(property(unit, "ActiveState"), "inactive");
}

TEST_F(UnitHost, GivesTheProcessTypeToTheScheduler)
{
    ASSERT_EQ(load(label, shellAgent(label, "true").text("ProcessType", "Background")).code, 0);
    EXPECT_TRUE(read(lastingUnits() / unit).contains("\nCPUWeight=idle\n"));
    EXPECT_EQ(property(unit, "LoadState"), "loaded");
}

TEST_F(UnitHost, StaysInThisHomeAndStartsAtEveryLogin)
{
    ASSERT_EQ(load(label, shellAgent(label, countStart() + "exec sleep 1000").flag("RunAtLoad", true)).code, 0);
    ASSERT_TRUE(eventually([&] { return starts() == 1; }));
    EXPECT_TRUE(fs::exists(lastingUnits() / unit));
    EXPECT_EQ(property(unit, "UnitFileState"), "enabled");

    manager().loginAnew();
    EXPECT_TRUE(eventually([&] { return starts() == 2; }));
    EXPECT_TRUE(isLoaded(label));
    EXPECT_EQ(unload(label).code, 0);
    EXPECT_EQ(unitFiles(), std::vector<std::string> {});

    manager().loginAnew();
    EXPECT_FALSE(isLoaded(label));
    EXPECT_EQ(starts(), 2U);
}

TEST_F(UnitHost, DoesNotStartAtLoginWhenThePropertyListHasGone)
{
    ASSERT_EQ(load(label, shellAgent(label, countStart() + "exec sleep 1000").flag("KeepAlive", true)).code, 0);
    ASSERT_TRUE(eventually([&] { return starts() == 1; }));
    fs::remove(listPath(label));

    manager().loginAnew();
    ASSERT_TRUE(eventually([&] { return property("default.target", "ActiveState") == "active"; }));
    EXPECT_EQ(property(unit, "ActiveState"), "inactive");
    EXPECT_FALSE(isLoaded(label));
    EXPECT_EQ(starts(), 1U);

    // A new one takes its place.
    EXPECT_EQ(load(label, shellAgent(label, countStart() + "exec sleep 1000").flag("RunAtLoad", true)),
              (Out {0, "", ""}));
    EXPECT_TRUE(eventually([&] { return starts() == 2; }));
}

TEST_F(UnitHost, IsLoadedAtLoginWithoutStarting)
{
    ASSERT_EQ(load(label, shellAgent(label, countStart() + "exec sleep 1000")).code, 0);
    manager().loginAnew();
    EXPECT_TRUE(isLoaded(label));
    EXPECT_EQ(starts(), 0U);
    EXPECT_EQ(launchctl({"kickstart", target(label)}).code, 0);
    EXPECT_TRUE(eventually([&] { return starts() == 1; }));
}

TEST_F(UnitHost, GoesWithTheLoginWhenTheManagerLooksIntoAnotherHome)
{
    const fs::path sample = scratch() / "sample home";
    write(sample / "Library/LaunchAgents/a.plist",
          shellAgent(label, "echo $HOME >'" + (scratch() / "home").string() + "'; exec sleep 1000")
              .flag("RunAtLoad", true)
              .xml());
    auto environment = ManagerCore::Proc::environment();
    environment["HOME"] = sample.string();
    const auto inSample = [&](const std::vector<std::string>& arguments) {
        return ManagerCore::Proc::run(builtProgram("launchctl").string(), arguments, std::nullopt, environment);
    };
    ASSERT_EQ(inSample({"bootstrap", domain(), (sample / "Library/LaunchAgents/a.plist").string()}), (Out {0, "", ""}));
    EXPECT_TRUE(fs::exists(passingUnits() / unit));
    EXPECT_FALSE(fs::exists(sample / ".config"));
    EXPECT_FALSE(fs::exists(lastingUnits() / unit));
    EXPECT_TRUE(eventually([&] { return read(scratch() / "home") == sample.string() + "\n"; }));
    EXPECT_TRUE(isLoaded(label)); // one user, one domain
    EXPECT_EQ(inSample({"bootout", target(label)}).code, 0);
    EXPECT_EQ(unitFiles(), std::vector<std::string> {});
}

TEST_F(UnitHost, StaysInAHomeWithASpaceInItsName)
{
    const fs::path spaced = scratch() / "my home";
    fs::create_directories(spaced);
    const EnvironmentVariable runtime("XDG_RUNTIME_DIR", (scratch() / "run2").string());
    UserManagerRun other(scratch() / "run2", spaced);
    ASSERT_TRUE(other.isRunning());
    const auto loadIn = [&](const fs::path& folder, const std::string& name) {
        write(folder / "a.plist", shellAgent(name, "exec sleep 1000").flag("RunAtLoad", true).xml());
        auto environment = ManagerCore::Proc::environment();
        environment["HOME"] = folder.string();
        return ManagerCore::Proc::run(builtProgram("launchctl").string(),
                                      {"bootstrap", domain(), (folder / "a.plist").string()},
                                      std::nullopt,
                                      environment);
    };
    EXPECT_EQ(loadIn(spaced, "of.the.manager"), (Out {0, "", ""}));
    EXPECT_TRUE(fs::exists(spaced / ".config/systemd/user/of.the.manager.service"));
    EXPECT_TRUE(isAlive(awaitedPid("of.the.manager")));

    EXPECT_EQ(loadIn(scratch() / "a sample", "of.a.sample"), (Out {0, "", ""}));
    EXPECT_TRUE(fs::exists(scratch() / "run2/systemd/user/of.a.sample.service"));
    EXPECT_FALSE(fs::exists(scratch() / "a sample/.config/systemd/user/of.a.sample.service"));
    EXPECT_TRUE(isAlive(awaitedPid("of.a.sample")));
}

TEST_F(UnitHost, HonoursTheConfigurationFolder)
{
    // The manager does not look there.
    const EnvironmentVariable elsewhere("XDG_CONFIG_HOME", (home() / "elsewhere").string());
    ASSERT_EQ(load(label, shellAgent(label, "true")).code, 0);
    EXPECT_TRUE(fs::exists(passingUnits() / unit));
    EXPECT_FALSE(fs::exists(home() / "elsewhere"));
}

TEST_F(UnitHost, LeavesUnitsOfOthersAlone)
{
    write(lastingUnits() / unit, "[Service]\nExecStart=/bin/sleep 1000\n");
    ASSERT_EQ(systemctl({"start", unit}).code, 0);
    EXPECT_FALSE(isLoaded(label));
    EXPECT_EQ(unload(label).code, 3);
    EXPECT_EQ(launchctl({"kickstart", "-k", target(label)}).code, 113);

    const Out out = load(label, shellAgent(label, "exec sleep 1000").flag("RunAtLoad", true));
    EXPECT_EQ(out.code, 5);
    EXPECT_EQ(out.stderr,
              "Bootstrap failed: 5: Input/output error\nlaunchctl: There is another unit of the name “" + unit
                  + "”.\n");
    EXPECT_EQ(read(lastingUnits() / unit), "[Service]\nExecStart=/bin/sleep 1000\n");
    EXPECT_EQ(property(unit, "ActiveState"), "active");

    // Nor is one that comes with the system covered.
    EXPECT_EQ(load("dbus", shellAgent("dbus", "true")).code, property("dbus.service", "LoadState") == "loaded" ? 5 : 0);
}

TEST_F(UnitHost, LeavesNothingOfAFailedBootstrap)
{
    // A path that is longer than systemd takes.
    PropertyListText list(label);
    list.text("Program", "/" + std::string(5000, 'x')).flag("RunAtLoad", true).number("StartInterval", 1);
    const Out out = load(label, list);
    EXPECT_EQ(out.code, 5);
    EXPECT_TRUE(out.stderr.starts_with("Bootstrap failed: 5: Input/output error\nlaunchctl: ")) << out.stderr;
    EXPECT_FALSE(isLoaded(label));
    EXPECT_EQ(unitFiles(), std::vector<std::string> {});
    EXPECT_EQ(property(unit, "LoadState"), "not-found");
    EXPECT_EQ(load(label, shellAgent(label, "exec sleep 1000")).code, 0);
}

TEST_F(UnitHost, LeavesNothingWhenUnitsCannotBeWritten)
{
    write(home() / ".config/systemd", "in the way");
    const Out out = load(label, shellAgent(label, "true"));
    EXPECT_EQ(out.code, 5);
    EXPECT_TRUE(out.stderr.contains("launchctl: ")) << out.stderr;
    EXPECT_FALSE(isLoaded(label));
    EXPECT_EQ(unitFiles(), std::vector<std::string> {});
}

TEST_F(UnitHost, HidesFromOthersWhatThePropertyListHides)
{
    write(listPath(label), shellAgent(label, "true").xml());
    fs::permissions(listPath(label), fs::perms::owner_read);
    ASSERT_EQ(launchctl({"bootstrap", domain(), listPath(label).string()}).code, 0);
    EXPECT_EQ(fs::status(lastingUnits() / unit).permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

// Wherever it is killed, the agent is afterwards either loaded or not, and can be unloaded or loaded.
TEST_F(UnitHost, IsConsistentAfterAKilledBootstrap)
{
    write(listPath(label),
          shellAgent(label, "exec sleep 1000").flag("RunAtLoad", true).number("StartInterval", 1000).xml());
    std::mt19937 random(7);
    int loaded = 0;
    for (int attempt = 0; attempt < 8; attempt++) {
        const std::string program = builtProgram("launchctl").string();
        const std::string list = listPath(label).string();
        const std::string own = domain();
        const pid_t child = ::fork();
        if (child == 0) {
            ::setpgid(0, 0);
            ::execl(program.c_str(), "launchctl", "bootstrap", own.c_str(), list.c_str(), nullptr);
            ::_exit(127);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(random() % 250));
        ::kill(child, SIGKILL);
        ::waitpid(child, nullptr, 0);

        if (isLoaded(label)) {
            loaded++;
            EXPECT_EQ(launchctl({"kickstart", target(label)}).code, 0);
            EXPECT_TRUE(isAlive(awaitedPid(label)));
        } else {
            EXPECT_EQ(launchctl({"bootstrap", own, list}), (Out {0, "", ""}));
        }
        EXPECT_EQ(unload(label), (Out {0, "", ""}));
        EXPECT_FALSE(isLoaded(label));
        EXPECT_EQ(unitFiles(), std::vector<std::string> {});
    }
    EXPECT_GT(loaded, 0) << "No attempt came far enough to be of interest.";
}

TEST_F(UnitHost, TwoAtATimeLoadOnce)
{
    write(listPath(label), shellAgent(label, "exec sleep 1000").flag("RunAtLoad", true).xml());
    int codes[2] = {-1, -1};
    std::thread other([&] { codes[0] = launchctl({"bootstrap", domain(), listPath(label).string()}).code; });
    codes[1] = launchctl({"bootstrap", domain(), listPath(label).string()}).code;
    other.join();
    EXPECT_EQ(std::min(codes[0], codes[1]), 0);
    EXPECT_EQ(std::max(codes[0], codes[1]), 5);
}

TEST_F(UnitHost, DoesNotHangWithAManagerThatDoesNotAnswer)
{
    ASSERT_EQ(load(label, shellAgent(label, "exec sleep 1000").flag("RunAtLoad", true)).code, 0);
    manager().pause();
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(launchctl({"list", label}).code, 113);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 30s);
    manager().resume();
    EXPECT_TRUE(isLoaded(label));
}

TEST_F(UnitHost, KeepsWhatWasLoadedBeforeThereWasAManager)
{
    write(listPath(label), shellAgent(label, "exec sleep 1000").flag("RunAtLoad", true).xml());
    {
        const EnvironmentVariable none("XDG_RUNTIME_DIR", std::nullopt);
        ASSERT_EQ(launchctl({"bootstrap", domain(), listPath(label).string()}).code, 0);
    }
    EXPECT_TRUE(isLoaded(label));
    const pid_t pid = awaitedPid(label);
    EXPECT_EQ(launchctl({"bootstrap", domain(), listPath(label).string()}).code, 5);
    EXPECT_EQ(unload(label).code, 0);
    EXPECT_FALSE(isAlive(pid));
}

} // namespace
