// What launchctl does in the same way with every backend.

#include <csignal>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "Tests/LinuxTools/Support/LaunchctlTest.h"

namespace
{

using namespace TestSupport;
using ManagerCore::Proc::Out;
using ::testing::Values;

const std::string label = "com.example.agent";
const std::string unknown = "com.example.none";

class Launchctl : public LaunchctlTest, public ::testing::WithParamInterface<Backend>
{
protected:
    Launchctl()
        : LaunchctlTest(GetParam())
    {
    }

    // Loads a service that runs test-child with the arguments, which let it write a dump.
    Dump dumpOf(PropertyListText& list)
    {
        EXPECT_EQ(load(label, list.flag("RunAtLoad", true)), (Out {0, "", ""}));
        return awaitDump(dumpFile());
    }
    [[nodiscard]] std::filesystem::path dumpFile() const { return scratch() / "dump"; }
    [[nodiscard]] PropertyListText dumper() const
    {
        PropertyListText list(label);
        return list.texts("ProgramArguments", {testChild().string(), "dump", dumpFile().string()});
    }
};

std::string user() { return std::to_string(::getuid()); }

TEST_P(Launchctl, ReportsAnUnknownLabel)
{
    // A label may be empty, too long for a file name, or the name of a unit of systemd.
    for (const std::string& none :
         {unknown, std::string(), std::string(5000, 'x'), std::string("../../x"), std::string("dbus")}) {
        EXPECT_EQ(launchctl({"list", none}),
                  (Out {113, "", "Could not find service \"" + none + "\" in domain for port\n"}));
        EXPECT_EQ(unload(none), (Out {3, "", "Boot-out failed: 3: No such process\n"}));
        EXPECT_EQ(restart(none),
                  (Out {113, "", "Could not find service \"" + none + "\" in domain for user gui: " + user() + "\n"}));
    }
}

TEST_P(Launchctl, LoadsListsRestartsAndUnloads)
{
    ASSERT_EQ(load(label, sleeper(label)), (Out {0, "", ""}));
    const pid_t first = awaitPid(label);
    EXPECT_TRUE(isAlive(first));
    EXPECT_EQ(launchctl({"list", label}),
              (Out {0, "{\n\t\"Label\" = \"" + label + "\";\n\t\"PID\" = " + std::to_string(first) + ";\n};\n", ""}));
    EXPECT_EQ(load(label), (Out {5, "", "Bootstrap failed: 5: Input/output error\n"})) << "already loaded";
    EXPECT_EQ(pidOf(label), first);

    EXPECT_EQ(restart(label), (Out {0, "", ""}));
    const pid_t second = awaitPid(label);
    EXPECT_NE(second, first);
    EXPECT_FALSE(isAlive(first));

    EXPECT_EQ(unload(label), (Out {0, "", ""}));
    EXPECT_FALSE(isAlive(second));
    EXPECT_FALSE(isLoaded(label));
    EXPECT_EQ(unload(label).code, 3);
}

TEST_P(Launchctl, LoadsWithoutStartingUnlessRunAtLoadIsSet)
{
    ASSERT_EQ(load(label, shellService(label, "exec sleep 1000")).code, 0);
    EXPECT_EQ(launchctl({"list", label}), (Out {0, "{\n\t\"Label\" = \"" + label + "\";\n};\n", ""}));
    EXPECT_EQ(restart(label), (Out {0, "", ""}));
    EXPECT_TRUE(isAlive(awaitPid(label)));
}

TEST_P(Launchctl, StaysLoadedWhenTheProcessEnds)
{
    const auto log = home() / "log";
    ASSERT_EQ(
        load(label, shellService(label, "echo x; exit 3").flag("RunAtLoad", true).text("StandardOutPath", log.string()))
            .code,
        0);
    for (const char* text : {"x\n", "x\nx\n", "x\nx\nx\n"}) {
        ASSERT_TRUE(eventually([&] { return read(log) == text && !pidOf(label); })) << text;
        EXPECT_TRUE(isLoaded(label));
        EXPECT_EQ(restart(label).code, 0);
    }
    EXPECT_EQ(unload(label).code, 0);
    EXPECT_FALSE(isLoaded(label));
}

TEST_P(Launchctl, RefusesAFileThatIsNoPropertyListOfAnAgent)
{
    const std::string first = "Bootstrap failed: 5: Input/output error\n";
    EXPECT_EQ(load(unknown), (Out {5, "", first})) << "missing";
    EXPECT_EQ(launchctl({"bootstrap", domain(), ""}), (Out {5, "", first}));

    write(listPath("a"), "no property list");
    EXPECT_EQ(load("a"), (Out {5, "", first + "launchctl: The property list is malformed.\n"}));
    // Neither may a FIFO block.
    ASSERT_EQ(::mkfifo(listPath("b").c_str(), 0600), 0);
    EXPECT_EQ(
        load("b"),
        (Out {5, "", first + "launchctl: The file “b.plist” couldn’t be opened because it isn’t a regular file.\n"}));
}

TEST_P(Launchctl, RefusesOtherDomains)
{
    write(listPath(label), sleeper(label).xml());
    const std::string reason = " failed: 125: Domain does not support specified action\n";
    const std::string other = std::to_string(::getuid() + 1);
    for (const std::string& domain :
         {std::string("system"), "gui/" + other, "gui/0" + user(), "user/" + user(), std::string()}) {
        EXPECT_EQ(launchctl({"bootstrap", domain, listPath(label).string()}), (Out {125, "", "Bootstrap" + reason}));
        EXPECT_EQ(launchctl({"bootout", domain + "/" + label}), (Out {125, "", "Boot-out" + reason}));
        EXPECT_EQ(launchctl({"kickstart", "-k", domain + "/" + label}), (Out {125, "", "Kickstart" + reason}));
    }
    EXPECT_EQ(launchctl({"bootout", domain()}), (Out {125, "", "Boot-out" + reason}));
    EXPECT_FALSE(isLoaded(label));
}

TEST_P(Launchctl, FindsThePropertyListByARelativePathAndThroughALink)
{
    write(home() / "lists/real.plist", sleeper(label).xml());
    makeLink(home() / "lists/link.plist", "real.plist");
    const Out out = ManagerCore::Proc::run(
        builtProgram("launchctl").string(), {"bootstrap", domain(), "./link.plist"}, (home() / "lists").string());
    EXPECT_EQ(out, (Out {0, "", ""}));
    EXPECT_TRUE(isAlive(awaitPid(label)));
    EXPECT_EQ(unload(label).code, 0);
}

TEST_P(Launchctl, PassesArgumentsUnchanged)
{
    const std::vector<std::string> arguments {testChild().string(),
                                              "dump",
                                              dumpFile().string(),
                                              "",
                                              " ",
                                              "\ttab and\nnew line\r",
                                              "100% %n %%h",
                                              "$HOME ${HOME} $$ $",
                                              "back\\slash \\n \\",
                                              "\"quoted\" 'single' `true`",
                                              "; \\; #",
                                              "--",
                                              "@:!+-",
                                              "größe — 漢字 😀",
                                              "a;b|c>d&e*f?g[h]{i}~j ",
                                              std::string(20000, 'x')};
    PropertyListText list(label);
    EXPECT_EQ(dumpOf(list.texts("ProgramArguments", arguments)).arguments, arguments);
}

TEST_P(Launchctl, PassesTheEnvironment)
{
    const std::map<std::string, std::string> variables {
        {"EMPTY", ""},
        {"SPACED", "  two  words  "},
        {"SIGNS", "100% %h $HOME ${X} $$ \\ \\n \" ' ` ; #"},
        {"LINES", "one\ntwo\tthree\n"},
        {"WORDS", "größe — 漢字 😀"},
        {"EQUALS", "a=b=c"},
        {"PATH", "/opt/own:/bin"},
    };
    PropertyListText list = dumper();
    const Dump dump = dumpOf(list.dictionary("EnvironmentVariables", variables));
    for (const auto& [name, value] : variables) {
        EXPECT_EQ(dump.environment.contains(name) ? dump.environment.at(name) : "(absent)", value) << name;
    }
    EXPECT_EQ(dump.environment.at("HOME"), home().string());
    EXPECT_EQ(dump.folder, "/");
}

TEST_P(Launchctl, RunsProgramsInFoldersWithUnusualNames)
{
    const auto folder = scratch() / "Bob's \"tools\" 100% $HOME";
    std::filesystem::create_directories(folder);
    std::filesystem::create_symlink(testChild(), folder / "it's a \\ program");
    const std::vector<std::string> arguments {
        (folder / "it's a \\ program").string(), "dump", dumpFile().string(), "$x %n"};
    PropertyListText list(label);
    list.texts("ProgramArguments", arguments)
        .text("WorkingDirectory", folder.string())
        .text("StandardOutPath", (folder / "output").string());
    const Dump dump = dumpOf(list);
    EXPECT_EQ(dump.arguments, arguments);
    EXPECT_EQ(dump.folder, folder.string());
    EXPECT_TRUE(std::filesystem::exists(folder / "output"));
}

TEST_P(Launchctl, SearchesAProgramWithoutASlash)
{
    PropertyListText list(label);
    list.texts("ProgramArguments", {"sh", "-c", "exec \"$0\" dump \"$1\"", testChild().string(), dumpFile().string()});
    EXPECT_EQ(dumpOf(list).arguments.size(), 3U);
}

TEST_P(Launchctl, AppliesNiceAndUmask)
{
    const auto file = scratch() / "about";
    PropertyListText list = shellService(label, "{ nice; umask; cat; } >'" + file.string() + "'; exec sleep 1000");
    ASSERT_EQ(load(label, list.flag("RunAtLoad", true).number("Nice", 5).text("Umask", "027")), (Out {0, "", ""}));
    EXPECT_TRUE(eventually([&] { return read(file) == "5\n0027\n"; })) << read(file);
}

TEST_P(Launchctl, AppendsBothStreamsToOneLog)
{
    const auto log = home() / "Library/Logs/a new folder/%n $x.log";
    ASSERT_EQ(load(label,
                   shellService(label, "echo one; echo two >&2")
                       .text("StandardOutPath", log.string())
                       .text("StandardErrorPath", log.string())),
              (Out {0, "", ""}));
    write(log, "before\n");
    ASSERT_EQ(restart(label), (Out {0, "", ""}));
    EXPECT_TRUE(eventually([&] { return read(log) == "before\none\ntwo\n"; })) << read(log);
}

TEST_P(Launchctl, CreatesTheLogFolderAgainForARestart)
{
    const auto log = home() / "logs/agent.log";
    ASSERT_EQ(load(label,
                   shellService(label, "echo here")
                       .text("StandardErrorPath", (home() / "e").string())
                       .text("StandardOutPath", log.string()))
                  .code,
              0);
    std::filesystem::remove_all(home() / "logs");
    ASSERT_EQ(restart(label).code, 0);
    EXPECT_TRUE(eventually([&] { return read(log) == "here\n"; }));
}

TEST_P(Launchctl, RunsWithoutALogThatCannotBeOpened)
{
    std::filesystem::create_directories(home() / "folder");
    ASSERT_EQ(::mkfifo((home() / "pipe").c_str(), 0600), 0);
    const Out out = load(label,
                         sleeper(label)
                             .text("StandardOutPath", (home() / "pipe").string())
                             .text("StandardErrorPath", (home() / "folder").string()));
    EXPECT_EQ(out.code, 0);
    EXPECT_TRUE(out.stderr.contains("launchctl: warning: The file “pipe” couldn’t be saved")) << out.stderr;
    EXPECT_TRUE(out.stderr.contains("launchctl: warning: The file “folder” couldn’t be saved")) << out.stderr;
    EXPECT_TRUE(isAlive(awaitPid(label)));
}

TEST_P(Launchctl, LoadsAServiceWhoseProgramIsMissing)
{
    const auto program = home() / "later.sh";
    PropertyListText list(label);
    ASSERT_EQ(load(label, list.text("Program", program.string()).flag("RunAtLoad", true)).code, 0);
    EXPECT_TRUE(isLoaded(label));
    makeExecutable(program, "#!/bin/sh\nexec sleep 1000\n");
    EXPECT_EQ(restart(label), (Out {0, "", ""}));
    EXPECT_TRUE(isAlive(awaitPid(label)));
}

TEST_P(Launchctl, RestartsAServiceWhosePropertyListIsGone)
{
    ASSERT_EQ(load(label, sleeper(label)).code, 0);
    const pid_t pid = awaitPid(label);
    std::filesystem::remove(listPath(label));
    EXPECT_TRUE(isLoaded(label));
    EXPECT_EQ(restart(label), (Out {0, "", ""}));
    EXPECT_NE(awaitPid(label), pid);
    EXPECT_EQ(unload(label).code, 0);
}

TEST_P(Launchctl, EndsAllProcessesOfTheService)
{
    // "set -m" gives the child a process group of its own.
    const auto child = scratch() / "child";
    const auto script = "set -m; sleep 1000 & echo $! >'" + child.string() + "'; wait";
    ASSERT_EQ(load(label, shellService(label, script).flag("RunAtLoad", true)).code, 0);
    ASSERT_TRUE(eventually([&] { return read(child).ends_with("\n"); }));
    const pid_t pid = std::stoi(read(child));
    ASSERT_TRUE(isAlive(pid));
    EXPECT_EQ(unload(label).code, 0);
    EXPECT_FALSE(isAlive(pid));
}

TEST_P(Launchctl, WaitsForAServiceThatEndsItself)
{
    const auto log = home() / "log";
    ASSERT_EQ(load(label,
                   shellService(label, "trap 'sleep 1; echo bye; exit 0' TERM; echo hello; while :; do sleep 0.1; done")
                       .flag("RunAtLoad", true)
                       .text("StandardOutPath", log.string()))
                  .code,
              0);
    ASSERT_TRUE(eventually([&] { return read(log) == "hello\n"; }));
    EXPECT_EQ(unload(label).code, 0);
    EXPECT_TRUE(read(log).ends_with("bye\n")) << read(log);
}

TEST_P(Launchctl, KillsAServiceThatIgnoresSigterm)
{
    const auto ready = scratch() / "ready";
    const auto script = "trap '' TERM; echo x >'" + ready.string() + "'; while :; do sleep 1; done";
    ASSERT_EQ(load(label, shellService(label, script).flag("RunAtLoad", true).number("ExitTimeOut", 1)).code, 0);
    const pid_t pid = awaitPid(label);
    ASSERT_TRUE(eventually([&] { return read(ready) == "x\n"; }));
    EXPECT_EQ(unload(label), (Out {0, "", ""}));
    EXPECT_FALSE(isAlive(pid));
    EXPECT_FALSE(isLoaded(label));
}

TEST_P(Launchctl, WarnsAboutUnsupportedKeysAndLoads)
{
    const Out out = load(label, sleeper(label).raw("WatchPaths", "<array/>").text("Nice", "no number"));
    EXPECT_EQ(out,
              (Out {0,
                    "",
                    "launchctl: warning: The key “WatchPaths” of “" + label
                        + "” is not supported.\nlaunchctl: warning: The value of the key “Nice” of “" + label
                        + "” is not supported.\n"}));
    EXPECT_TRUE(isAlive(awaitPid(label)));
}

TEST_P(Launchctl, SupportsAnyLabel)
{
    for (const std::string& odd : {std::string("/.. %n größe 漢字 back\\slash @ \"b'c$d line\nfeed \x7f .service"),
                                   std::string(".hidden"),
                                   std::string("-k")}) {
        const auto file = home() / "odd.plist";
        write(file, sleeper(odd).xml());
        EXPECT_EQ(launchctl({"bootstrap", domain(), file.string()}), (Out {0, "", ""})) << odd;
        const pid_t pid = awaitPid(odd);
        EXPECT_EQ(restart(odd), (Out {0, "", ""})) << odd;
        EXPECT_NE(awaitPid(odd), pid);
        EXPECT_EQ(unload(odd), (Out {0, "", ""})) << odd;
        EXPECT_FALSE(isLoaded(odd)) << odd;
    }
}

TEST_P(Launchctl, LeavesOtherServicesAlone)
{
    const std::string other = label + ".b";
    ASSERT_EQ(load(label, sleeper(label)).code, 0);
    ASSERT_EQ(load(other, sleeper(other)).code, 0);
    const pid_t pid = awaitPid(other);
    EXPECT_EQ(unload(label).code, 0);
    EXPECT_EQ(pidOf(other), pid);
    EXPECT_TRUE(isAlive(pid));
}

INSTANTIATE_TEST_SUITE_P(, Launchctl, Values(Backend::systemd, Backend::startStopDaemon), [](const auto& info) {
    return info.param == Backend::systemd ? "Systemd" : "StartStopDaemon";
});

TEST(LaunchctlUsage, IsReported)
{
    const auto expect = [](const std::vector<std::string>& arguments, const std::string& message) {
        EXPECT_EQ(ManagerCore::Proc::run(builtProgram("launchctl").string(), arguments),
                  (Out {64, "", "launchctl: " + message + "\n"}));
    };
    expect({}, "missing subcommand");
    expect({"fly"}, "unknown subcommand “fly”");
    expect({"list"}, "usage: launchctl list LABEL");
    expect({"bootstrap", "gui/0"}, "usage: launchctl bootstrap gui/UID PROPERTY-LIST");
    expect({"bootout"}, "usage: launchctl bootout gui/UID/LABEL");
    expect({"kickstart", "gui/0/a"}, "usage: launchctl kickstart -k gui/UID/LABEL");
    expect({"kickstart", "-p", "gui/0/a"}, "usage: launchctl kickstart -k gui/UID/LABEL");
}

} // namespace
