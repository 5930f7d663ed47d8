// What launchctl says and ends with, the same with a user manager and without one.

#include <chrono>
#include <csignal>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "Tests/LinuxTools/Support/AgentTest.h"

namespace
{

using namespace TestSupport;
using namespace std::chrono_literals;
using ManagerCore::Proc::Out;
using ::testing::Values;

class Launchctl : public AgentTest, public ::testing::WithParamInterface<Mode>
{
protected:
    Launchctl()
        : AgentTest(GetParam())
    {
    }

    // Lets an agent run test-child, which dumps what it was given.
    Dump dumpOf(const std::string& label, PropertyListText& list)
    {
        const Out out = load(label, list.flag("RunAtLoad", true));
        EXPECT_EQ(out.code, 0) << out.stderr;
        return awaitedDump(dumpFile());
    }
    [[nodiscard]] std::filesystem::path dumpFile() const { return scratch() / "dump"; }
};

std::string user() { return std::to_string(::getuid()); }

TEST_P(Launchctl, TellsAnUnknownLabel)
{
    EXPECT_EQ(launchctl({"list", "com.example.none"}),
              (Out {113, "", "Could not find service \"com.example.none\" in domain for port\n"}));
    EXPECT_EQ(launchctl({"bootout", target("com.example.none")}),
              (Out {3, "", "Boot-out failed: 3: No such process\n"}));
    const std::string unknown = "Could not find service \"com.example.none\" in domain for user gui: " + user() + "\n";
    EXPECT_EQ(launchctl({"kickstart", "-k", target("com.example.none")}), (Out {113, "", unknown}));
    EXPECT_EQ(launchctl({"kickstart", target("com.example.none")}), (Out {113, "", unknown}));
    EXPECT_EQ(launchctl({"print", target("com.example.none")}), (Out {113, "", unknown}));
}

TEST_P(Launchctl, KnowsOnlyItsOwnUnits)
{
    EXPECT_EQ(launchctl({"list", "dbus"}).code, 113);
    EXPECT_EQ(launchctl({"bootout", target("dbus")}).code, 3);
    EXPECT_EQ(launchctl({"list"}), (Out {0, "PID\tStatus\tLabel\n", ""}));
}

TEST_P(Launchctl, TakesAnEmptyLabelForAnUnknownOne)
{
    EXPECT_EQ(launchctl({"list", ""}), (Out {113, "", "Could not find service \"\" in domain for port\n"}));
    EXPECT_EQ(launchctl({"bootout", target("")}), (Out {3, "", "Boot-out failed: 3: No such process\n"}));
    EXPECT_EQ(launchctl({"kickstart", "-k", target("")}),
              (Out {113, "", "Could not find service \"\" in domain for user gui: " + user() + "\n"}));
}

TEST_P(Launchctl, TakesLabelsThatNoFileNameCanHold)
{
    for (const std::string& label : {std::string(5000, 'x'), std::string("../../etc/x"), std::string("a\nb\x01\xff")}) {
        EXPECT_EQ(launchctl({"list", label}).code, 113);
        EXPECT_EQ(launchctl({"bootout", target(label)}).code, 3);
        EXPECT_EQ(launchctl({"kickstart", "-k", target(label)}).code, 113);
    }
}

TEST_P(Launchctl, LoadsListsAndUnloads)
{
    const std::string label = "com.example.agent";
    EXPECT_EQ(load(label, shellAgent(label, "exec sleep 1000").flag("RunAtLoad", true)), (Out {0, "", ""}));
    EXPECT_TRUE(isLoaded(label));
    const pid_t pid = awaitedPid(label);
    EXPECT_TRUE(isAlive(pid));
    EXPECT_EQ(launchctl({"list"}).stdout, "PID\tStatus\tLabel\n" + std::to_string(pid) + "\t0\t" + label + "\n");

    EXPECT_EQ(unload(label), (Out {0, "", ""}));
    EXPECT_FALSE(isAlive(pid));
    EXPECT_FALSE(isLoaded(label));
    EXPECT_EQ(launchctl({"list"}).stdout, "PID\tStatus\tLabel\n");
    EXPECT_EQ(unload(label).code, 3);
}

TEST_P(Launchctl, RefusesALoadedLabel)
{
    const std::string label = "com.example.agent";
    ASSERT_EQ(load(label, shellAgent(label, "exec sleep 1000").flag("RunAtLoad", true)).code, 0);
    const pid_t pid = awaitedPid(label);
    EXPECT_EQ(launchctl({"bootstrap", domain(), listPath(label).string()}),
              (Out {5, "", "Bootstrap failed: 5: Input/output error\n"}));
    EXPECT_EQ(pidOf(label), pid);
}

TEST_P(Launchctl, RefusesAMissingPropertyList)
{
    EXPECT_EQ(launchctl({"bootstrap", domain(), listPath("none").string()}),
              (Out {5, "", "Bootstrap failed: 5: Input/output error\n"}));
    EXPECT_EQ(launchctl({"bootstrap", domain(), ""}), (Out {5, "", "Bootstrap failed: 5: Input/output error\n"}));
}

TEST_P(Launchctl, RefusesWhatIsNoPropertyListOfAnAgent)
{
    const auto refused = [this](const std::string& bytes) {
        write(listPath("bad"), bytes);
        const Out out = launchctl({"bootstrap", domain(), listPath("bad").string()});
        EXPECT_EQ(out.code, 5) << bytes;
        EXPECT_TRUE(out.stderr.starts_with("Bootstrap failed: 5: Input/output error\nlaunchctl: ")) << out.stderr;
        EXPECT_TRUE(out.stderr.ends_with(".\n")) << out.stderr;
    };
    refused("");
    refused("no property list");
    refused("bplist00");
    refused("<plist><array/></plist>");
    refused("<plist><dict><key>Program</key><string>/bin/true</string></dict></plist>");
    refused(PropertyListText("").text("Program", "/bin/true").xml());
    refused(PropertyListText("com.example.a").xml());
    refused(PropertyListText("com.example.a").texts("ProgramArguments", {}).xml());
    refused(PropertyListText("com.example.a").texts("ProgramArguments", {""}).xml());
    refused(PropertyListText("com.example.a").number("Program", 1).xml());
    refused(PropertyListText(std::string(300, 'x')).text("Program", "/bin/true").xml());
    refused(std::string(3 << 20, ' '));
    EXPECT_EQ(launchctl({"list"}).stdout, "PID\tStatus\tLabel\n");
}

TEST_P(Launchctl, RefusesWhatIsNoFileWithoutWaiting)
{
    std::filesystem::create_directories(listPath("folder"));
    ASSERT_EQ(::mkfifo((home() / "pipe").c_str(), 0600), 0);
    makeLink(home() / "circle", home() / "circle");
    EXPECT_EQ(launchctl({"bootstrap", domain(), listPath("folder").string()}).code, 5);
    EXPECT_EQ(launchctl({"bootstrap", domain(), (home() / "pipe").string()}).code, 5);
    EXPECT_EQ(launchctl({"bootstrap", domain(), (home() / "circle").string()}).code, 5);
}

TEST_P(Launchctl, RefusesOtherDomains)
{
    write(listPath("a"), shellAgent("a", "true").xml());
    const Out refused {125, "", "Bootstrap failed: 125: Domain does not support specified action\n"};
    const std::string other = std::to_string(::getuid() + 1);
    for (const std::string& unsupported : {std::string("system"),
                                           "gui/" + other,
                                           "gui/0" + user(),
                                           std::string("gui/"),
                                           std::string("pid/1"),
                                           std::string(),
                                           "gui/" + user() + "/"}) {
        EXPECT_EQ(launchctl({"bootstrap", unsupported, listPath("a").string()}), refused) << unsupported;
    }
    EXPECT_EQ(launchctl({"bootout", "gui/" + other + "/a"}).code, 125);
    EXPECT_EQ(launchctl({"bootout", "a"}).code, 125);
    EXPECT_EQ(launchctl({"kickstart", "system/a"}).code, 125);
    EXPECT_EQ(launchctl({"print", "system/a"}).code, 125);
    EXPECT_FALSE(isLoaded("a"));

    EXPECT_EQ(launchctl({"bootstrap", "user/" + user(), listPath("a").string()}).code, 0);
    EXPECT_EQ(launchctl({"bootout", "user/" + user() + "/a"}).code, 0);
}

TEST_P(Launchctl, TellsWrongUsage)
{
    using Arguments = std::vector<std::string>;
    for (const Arguments& wrong : {Arguments {},
                                   Arguments {"fly"},
                                   Arguments {"list", "a", "b"},
                                   Arguments {"bootstrap"},
                                   Arguments {"bootstrap", domain()},
                                   Arguments {"bootout"},
                                   Arguments {"kickstart", "-k"},
                                   Arguments {"kickstart", "-x", target("a")},
                                   Arguments {"print"}}) {
        const Out out = launchctl(wrong);
        EXPECT_EQ(out.code, 64);
        EXPECT_EQ(out.stdout, "");
        EXPECT_TRUE(out.stderr.starts_with("launchctl: ") && out.stderr.ends_with(".\n")) << out.stderr;
        EXPECT_EQ(out.stderr.find('\n'), out.stderr.size() - 1);
    }
    const Out help = launchctl({"--help"});
    EXPECT_EQ(help.code, 0);
    EXPECT_TRUE(help.stdout.contains("launchctl kickstart [-k] gui/UID/LABEL"));
}

TEST_P(Launchctl, OnlyLoadsWhatDoesNotStartAtLoad)
{
    const std::string label = "com.example.idle";
    ASSERT_EQ(load(label, shellAgent(label, "exec sleep 1000")).code, 0);
    EXPECT_TRUE(isLoaded(label));
    EXPECT_EQ(pidOf(label), std::nullopt);
    EXPECT_EQ(launchctl({"list"}).stdout, "PID\tStatus\tLabel\n-\t0\t" + label + "\n");

    EXPECT_EQ(launchctl({"kickstart", target(label)}), (Out {0, "", ""}));
    EXPECT_TRUE(isAlive(awaitedPid(label)));
}

TEST_P(Launchctl, IsLoadedAlsoWhenTheProcessHasEnded)
{
    const std::string label = "com.example.short";
    ASSERT_EQ(load(label, shellAgent(label, "exit 7").flag("RunAtLoad", true)).code, 0);
    ASSERT_TRUE(eventually([&] { return !pidOf(label); }));
    EXPECT_TRUE(isLoaded(label));
    EXPECT_EQ(unload(label).code, 0);
    EXPECT_FALSE(isLoaded(label));
}

TEST_P(Launchctl, LoadsABinaryPropertyList)
{
    const std::string label = "com.example.binary";
    write(listPath(label), shellAgent(label, "exec sleep 1000").flag("RunAtLoad", true).binary());
    EXPECT_EQ(launchctl({"bootstrap", domain(), listPath(label).string()}).code, 0);
    EXPECT_TRUE(isAlive(awaitedPid(label)));
}

TEST_P(Launchctl, FindsThePropertyListByARelativePathAndThroughALink)
{
    write(home() / "lists/real.plist", shellAgent("com.example.linked", "exec sleep 1000").xml());
    makeLink(home() / "lists/link.plist", "real.plist");
    const Out out = ManagerCore::Proc::run(
        builtProgram("launchctl").string(), {"bootstrap", domain(), "./link.plist"}, (home() / "lists").string());
    EXPECT_EQ(out.code, 0) << out.stderr;
    const std::string text = launchctl({"print", target("com.example.linked")}).stdout;
    EXPECT_TRUE(text.contains("path = " + (home() / "lists/link.plist").string() + "\n")) << text;
}

TEST_P(Launchctl, HandsArgumentsOverUnchanged)
{
    const std::vector<std::string> arguments {"dump",
                                              dumpFile().string(),
                                              "",
                                              " ",
                                              "two words",
                                              "\ttab and\nnew line",
                                              "100% %n %%h",
                                              "$HOME ${HOME} $$ $",
                                              "back\\slash \\n \\",
                                              "\"quoted\" 'single' `true`",
                                              ";",
                                              "\\;",
                                              "#no comment",
                                              "-",
                                              "@:!+",
                                              "größe — 漢字 😀",
                                              "trailing ",
                                              "a;b|c>d&e*f?g[h]{i}~j",
                                              "carriage\rreturn",
                                              std::string(20000, 'x'),
                                              ""};
    std::vector<std::string> all {testChild().string()};
    all.insert(all.end(), arguments.begin(), arguments.end());
    PropertyListText list("com.example.arguments");
    EXPECT_EQ(dumpOf("com.example.arguments", list.texts("ProgramArguments", all)).arguments, all);
}

TEST_P(Launchctl, LetsTheFirstArgumentDifferFromTheProgram)
{
    const std::vector<std::string> arguments {"some $other %name", "dump", dumpFile().string()};
    PropertyListText list("com.example.first");
    list.text("Program", testChild().string()).texts("ProgramArguments", arguments);
    EXPECT_EQ(dumpOf("com.example.first", list).arguments, arguments);
}

TEST_P(Launchctl, RunsAProgramWithoutArguments)
{
    makeExecutable(home() / "program.sh",
                   "#!/bin/sh\nexec '" + testChild().string() + "' dump '" + dumpFile().string() + "' \"$0\" \"$#\"\n");
    PropertyListText list("com.example.program");
    const Dump dump = dumpOf("com.example.program", list.text("Program", (home() / "program.sh").string()));
    ASSERT_EQ(dump.arguments.size(), 5U);
    EXPECT_EQ(dump.arguments[3], (home() / "program.sh").string());
    EXPECT_EQ(dump.arguments[4], "0");
}

TEST_P(Launchctl, FindsAProgramThatIsNamedWithoutAFolder)
{
    PropertyListText list("com.example.searched");
    list.texts("ProgramArguments", {"sh", "-c", "exec \"$0\" dump \"$1\"", testChild().string(), dumpFile().string()});
    EXPECT_EQ(dumpOf("com.example.searched", list).arguments.size(), 3U);
}

// systemd itself takes no program with a quote or a backslash in its path, and no log or folder with a line feed.
TEST_P(Launchctl, RunsAnAgentWhosePathsAreOutOfTheOrdinary)
{
    const auto folder = scratch() / "Bob's \"tools\" 100% $HOME \\ \n new\tline ";
    std::filesystem::create_directories(folder);
    std::filesystem::create_symlink(testChild(), folder / "it's a \\ program");
    std::vector<std::string> arguments {(folder / "it's a \\ program").string(), "dump", dumpFile().string(), "$x %n"};
    PropertyListText list("com.example.odd");
    list.texts("ProgramArguments", arguments)
        .text("WorkingDirectory", folder.string())
        .text("StandardOutPath", (folder / "out\nput ").string())
        .text("StandardErrorPath", (folder / "error\\").string());
    const Dump dump = dumpOf("com.example.odd", list);
    EXPECT_EQ(dump.arguments, arguments);
    EXPECT_EQ(dump.folder, folder.string());
    EXPECT_TRUE(std::filesystem::exists(folder / "out\nput "));
    EXPECT_TRUE(std::filesystem::exists(folder / "error\\"));
}

TEST_P(Launchctl, HandsTheEnvironmentOver)
{
    const std::map<std::string, std::string> variables {
        {"PLAIN", "value"},
        {"EMPTY", ""},
        {"SPACED", "  two  words  "},
        {"SIGNS", "100% %h $HOME ${X} $$ \\ \\n \" ' ` ; #"},
        {"LINES", "one\ntwo\tthree\n"},
        {"WORDS", "größe — 漢字 😀"},
        {"EQUALS", "a=b=c"},
        {"PATH", "/opt/own:/bin"},
    };
    PropertyListText list("com.example.environment");
    list.texts("ProgramArguments", {testChild().string(), "dump", dumpFile().string()})
        .dictionary("EnvironmentVariables", variables);
    const Dump dump = dumpOf("com.example.environment", list);
    for (const auto& [name, value] : variables) {
        EXPECT_EQ(dump.environment.contains(name) ? dump.environment.at(name) : "(absent)", value) << name;
    }
    EXPECT_EQ(dump.environment.at("HOME"), home().string());
}

TEST_P(Launchctl, LeavesOutWhatIsNoVariable)
{
    PropertyListText list("com.example.names");
    list.texts("ProgramArguments", {testChild().string(), "dump", dumpFile().string()})
        .raw("EnvironmentVariables",
             "<dict><key>GOOD</key><string>1</string><key>A=B</key><string>2</string><key></key><string>3</string>"
             "<key>NUMBER</key><integer>4</integer></dict>")
        .flag("RunAtLoad", true);
    const Out out = load("com.example.names", list);
    EXPECT_EQ(out.code, 0);
    EXPECT_TRUE(out.stderr.contains("EnvironmentVariables.A=B")) << out.stderr;
    EXPECT_TRUE(out.stderr.contains("EnvironmentVariables.NUMBER")) << out.stderr;
    EXPECT_EQ(awaitedDump(dumpFile()).environment.at("GOOD"), "1");
}

TEST_P(Launchctl, StartsInTheWorkingDirectory)
{
    const auto folder = home() / "work ing %n $x";
    std::filesystem::create_directories(folder);
    PropertyListText list("com.example.folder");
    list.texts("ProgramArguments", {testChild().string(), "dump", dumpFile().string()})
        .text("WorkingDirectory", folder.string());
    EXPECT_EQ(dumpOf("com.example.folder", list).folder, folder.string());
}

TEST_P(Launchctl, StartsInTheRootWithoutAWorkingDirectory)
{
    PropertyListText list("com.example.folder");
    list.texts("ProgramArguments", {testChild().string(), "dump", dumpFile().string()});
    EXPECT_EQ(dumpOf("com.example.folder", list).folder, "/");
}

TEST_P(Launchctl, LeadsASessionOfItsOwnWithoutInput)
{
    const auto file = scratch() / "about";
    const std::string label = "com.example.session";
    ASSERT_EQ(load(label,
                   shellAgent(label,
                              "cat >'" + (scratch() / "input").string() + "'; cut -d' ' -f1,5,6 /proc/$$/stat >'"
                                  + file.string() + "'; exec sleep 1000")
                       .flag("RunAtLoad", true))
                  .code,
              0);
    const std::string pid = std::to_string(awaitedPid(label));
    ASSERT_TRUE(eventually([&] { return read(file).ends_with("\n"); }));
    EXPECT_EQ(read(file), pid + " " + pid + " " + pid + "\n");
    EXPECT_EQ(read(scratch() / "input"), "");
}

TEST_P(Launchctl, ReturnsWhileTheAgentRuns)
{
    // Proc::run waits until both streams are at their end: that it returns shows that the agent holds neither.
    const auto start = std::chrono::steady_clock::now();
    const std::string label = "com.example.long";
    ASSERT_EQ(load(label, shellAgent(label, "exec sleep 1000").flag("RunAtLoad", true)).code, 0);
    ASSERT_EQ(launchctl({"kickstart", "-k", target(label)}).code, 0);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 60s);
    EXPECT_TRUE(isAlive(awaitedPid(label)));
}

TEST_P(Launchctl, AppendsToItsLogs)
{
    const std::string label = "com.example.logs";
    const auto output = home() / "Library/Logs/a new folder/out %n $x.log";
    const auto error = home() / "error.log";
    write(error, "before\n");
    ASSERT_EQ(load(label,
                   shellAgent(label, "echo output; echo error >&2; exec sleep 1000")
                       .flag("RunAtLoad", true)
                       .text("StandardOutPath", output.string())
                       .text("StandardErrorPath", error.string()))
                  .code,
              0);
    ASSERT_TRUE(eventually([&] { return read(output) == "output\n" && read(error) == "before\nerror\n"; }));
    ASSERT_EQ(launchctl({"kickstart", "-k", target(label)}).code, 0);
    EXPECT_TRUE(eventually([&] { return read(output) == "output\noutput\n"; }));
    EXPECT_TRUE(eventually([&] { return read(error) == "before\nerror\nerror\n"; }));
}

TEST_P(Launchctl, MakesTheLogFolderAnewForAKickstart)
{
    const std::string label = "com.example.logs";
    const auto log = home() / "logs/agent.log";
    ASSERT_EQ(load(label, shellAgent(label, "echo here").text("StandardOutPath", log.string())).code, 0);
    std::filesystem::remove_all(home() / "logs");
    ASSERT_EQ(launchctl({"kickstart", target(label)}).code, 0);
    EXPECT_TRUE(eventually([&] { return read(log) == "here\n"; }));
}

TEST_P(Launchctl, WritesBothStreamsIntoOneLog)
{
    const std::string label = "com.example.logs";
    const auto log = home() / "both.log";
    ASSERT_EQ(load(label,
                   shellAgent(label, "echo one; echo two >&2; echo three")
                       .flag("RunAtLoad", true)
                       .text("StandardOutPath", log.string())
                       .text("StandardErrorPath", log.string()))
                  .code,
              0);
    EXPECT_TRUE(eventually([&] { return read(log) == "one\ntwo\nthree\n"; }));
}

TEST_P(Launchctl, RunsWithoutALogThatCannotBeWritten)
{
    const std::string label = "com.example.logs";
    write(home() / "file", "");
    std::filesystem::create_directories(home() / "folder");
    const Out out = load(label,
                         shellAgent(label, "echo lost; exec sleep 1000")
                             .flag("RunAtLoad", true)
                             .text("StandardOutPath", (home() / "file/below.log").string())
                             .text("StandardErrorPath", (home() / "folder").string()));
    EXPECT_EQ(out.code, 0);
    EXPECT_TRUE(out.stderr.contains("launchctl: the log file “" + (home() / "file/below.log").string() + "” of “"
                                    + label + "” "))
        << out.stderr;
    EXPECT_TRUE(out.stderr.contains("” is a folder and is left out.\n")) << out.stderr;
    EXPECT_TRUE(isAlive(awaitedPid(label)));
}

TEST_P(Launchctl, KickstartLeavesARunningAgentAlone)
{
    const std::string label = "com.example.agent";
    ASSERT_EQ(load(label, shellAgent(label, "exec sleep 1000").flag("RunAtLoad", true)).code, 0);
    const pid_t pid = awaitedPid(label);
    EXPECT_EQ(launchctl({"kickstart", target(label)}), (Out {0, "", ""}));
    EXPECT_EQ(pidOf(label), pid);
}

TEST_P(Launchctl, KickstartWithForceStartsAnew)
{
    const std::string label = "com.example.agent";
    ASSERT_EQ(load(label, shellAgent(label, "exec sleep 1000").flag("RunAtLoad", true)).code, 0);
    const pid_t pid = awaitedPid(label);
    EXPECT_EQ(launchctl({"kickstart", "-k", target(label)}), (Out {0, "", ""}));
    EXPECT_FALSE(isAlive(pid));
    EXPECT_NE(awaitedPid(label), pid);
}

TEST_P(Launchctl, KickstartStartsAFailedAgentAgain)
{
    const std::string label = "com.example.failing";
    const auto log = home() / "starts";
    ASSERT_EQ(
        load(label, shellAgent(label, "echo x; exit 3").flag("RunAtLoad", true).text("StandardOutPath", log.string()))
            .code,
        0);
    for (int times = 1; times <= 4; times++) {
        ASSERT_TRUE(eventually([&] { return read(log).size() == 2U * times && !pidOf(label); })) << times;
        ASSERT_EQ(launchctl({"kickstart", "-k", target(label)}).code, 0);
    }
}

TEST_P(Launchctl, KickstartStartsAnAgentWhosePropertyListHasGone)
{
    const std::string label = "com.example.agent";
    ASSERT_EQ(load(label, shellAgent(label, "exec sleep 1000").flag("RunAtLoad", true)).code, 0);
    const pid_t pid = awaitedPid(label);
    std::filesystem::remove(listPath(label));
    EXPECT_TRUE(isLoaded(label));
    EXPECT_EQ(launchctl({"kickstart", "-k", target(label)}).code, 0);
    EXPECT_NE(awaitedPid(label), pid);
    EXPECT_EQ(unload(label).code, 0);
}

TEST_P(Launchctl, EndsByForceWhatWithstandsItsTimeOut)
{
    const std::string label = "com.example.stubborn";
    const auto ready = scratch() / "ready";
    ASSERT_EQ(
        load(label,
             shellAgent(label, "trap '' TERM; sleep 1000 & echo x >'" + ready.string() + "'; while :; do sleep 1; done")
                 .flag("RunAtLoad", true)
                 .number("ExitTimeOut", 1))
            .code,
        0);
    const pid_t pid = awaitedPid(label);
    ASSERT_TRUE(eventually([&] { return read(ready) == "x\n"; }));
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(unload(label).code, 0);
    EXPECT_GE(std::chrono::steady_clock::now() - start, 900ms);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 15s);
    EXPECT_FALSE(isAlive(pid));
    EXPECT_FALSE(isLoaded(label));
}

TEST_P(Launchctl, WaitsForAnAgentThatEndsInOrder)
{
    const std::string label = "com.example.orderly";
    const auto log = home() / "log";
    ASSERT_EQ(load(label,
                   shellAgent(label, "trap 'sleep 1; echo bye; exit 0' TERM; echo hello; while :; do sleep 0.1; done")
                       .flag("RunAtLoad", true)
                       .text("StandardOutPath", log.string()))
                  .code,
              0);
    ASSERT_TRUE(eventually([&] { return read(log) == "hello\n"; }));
    EXPECT_EQ(unload(label).code, 0);
    EXPECT_TRUE(read(log).ends_with("bye\n")) << read(log);
}

TEST_P(Launchctl, TakesTheChildrenAlong)
{
    const std::string label = "com.example.family";
    const auto child = scratch() / "child";
    ASSERT_EQ(
        load(label, shellAgent(label, "sleep 1000 & echo $! >'" + child.string() + "'; wait").flag("RunAtLoad", true))
            .code,
        0);
    ASSERT_TRUE(eventually([&] { return read(child).ends_with("\n"); }));
    const pid_t pid = std::stoi(read(child));
    ASSERT_TRUE(isAlive(pid));
    EXPECT_EQ(unload(label).code, 0);
    EXPECT_FALSE(isAlive(pid));
}

TEST_P(Launchctl, ReportsKeysWithoutACounterpartAndLoadsAllTheSame)
{
    const std::string label = "com.example.keys";
    PropertyListText list = shellAgent(label, "exec sleep 1000");
    list.flag("RunAtLoad", true)
        .text("LimitLoadToSessionType", "Aqua")
        .raw("WatchPaths", "<array/>")
        .text("Nice", "no number")
        .number("ExitTimeOut", -5)
        .flag("Disabled", false);
    const Out out = load(label, list);
    EXPECT_EQ(out.code, 0);
    EXPECT_EQ(out.stdout, "");
    const auto leftOut = [&](const std::string& key, const std::string& why) {
        return "launchctl: the key “" + key + "” of “" + label + "” " + why + " and is left out.\n";
    };
    EXPECT_EQ(out.stderr,
              leftOut("LimitLoadToSessionType", "has no counterpart here")
                  + leftOut("WatchPaths", "has no counterpart here") + leftOut("Nice", "has an unsuitable value")
                  + leftOut("ExitTimeOut", "has an unsuitable value"));
    EXPECT_TRUE(isAlive(awaitedPid(label)));
}

TEST_P(Launchctl, AppliesNiceUmaskAndLimits)
{
    const std::string label = "com.example.limits";
    const auto about = scratch() / "about";
    PropertyListText list = shellAgent(label,
                                       "{ nice; umask; ulimit -Sn; ulimit -Hn; ulimit -Sc; } >'" + about.string()
                                           + ".new'; mv '" + about.string() + ".new' '" + about.string() + "'");
    list.flag("RunAtLoad", true)
        .number("Nice", 5)
        .text("Umask", "027")
        .raw("SoftResourceLimits", "<dict><key>NumberOfFiles</key><integer>123</integer></dict>")
        .raw("HardResourceLimits",
             "<dict><key>NumberOfFiles</key><integer>456</integer><key>Core</key><integer>0</integer></dict>");
    const Out out = load(label, list);
    ASSERT_EQ(out, (Out {0, "", ""}));
    ASSERT_TRUE(eventually([&] { return std::filesystem::exists(about); }));
    EXPECT_EQ(read(about), "5\n0027\n123\n456\n0\n");
}

TEST_P(Launchctl, TellsAPersonEverything)
{
    const std::string label = "com.example.print";
    PropertyListText list = shellAgent(label, "exec sleep 1000");
    list.flag("RunAtLoad", true).text("StandardOutPath", (home() / "out.log").string());
    ASSERT_EQ(load(label, list).code, 0);
    const std::string pid = std::to_string(awaitedPid(label));
    const Out out = launchctl({"print", target(label)});
    EXPECT_EQ(out.code, 0);
    for (const std::string& line : {target(label) + " = {\n",
                                    std::string("\tstate = running\n"),
                                    "\tpid = " + pid + "\n",
                                    std::string("\tprogram = /bin/sh\n"),
                                    std::string("\t\t/bin/sh\n\t\t-c\n\t\texec sleep 1000\n"),
                                    "\tstdout path = " + (home() / "out.log").string() + "\n",
                                    "\tpath = " + listPath(label).string() + "\n",
                                    std::string("\tlast exit code = (never exited)\n"),
                                    std::string("\tunit file = /")}) {
        EXPECT_TRUE(out.stdout.contains(line)) << line << "\nin\n" << out.stdout;
    }
}

TEST_P(Launchctl, TakesAnyLabel)
{
    int number = 0;
    for (const std::string& label : {std::string("/.. %n größe 漢字 back\\slash @ \"b'c$d line\nfeed \x7f .service"),
                                     std::string(".hidden"),
                                     std::string("-k")}) {
        write(listPath(std::to_string(++number)), shellAgent(label, "exec sleep 1000").flag("RunAtLoad", true).xml());
        const Out out = launchctl({"bootstrap", domain(), listPath(std::to_string(number)).string()});
        EXPECT_EQ(out, (Out {0, "", ""})) << label;
        EXPECT_TRUE(isLoaded(label)) << label;
        const pid_t pid = awaitedPid(label);
        EXPECT_EQ(launchctl({"kickstart", "-k", target(label)}).code, 0) << label;
        EXPECT_NE(awaitedPid(label), pid);
        EXPECT_EQ(unload(label), (Out {0, "", ""})) << label;
        EXPECT_FALSE(isLoaded(label)) << label;
    }
}

TEST_P(Launchctl, KeepsSeveralAgentsApart)
{
    for (const std::string& label : {std::string("com.example.a"), std::string("com.example.a.b")}) {
        ASSERT_EQ(load(label, shellAgent(label, "exec sleep 1000").flag("RunAtLoad", true)).code, 0);
    }
    const pid_t other = awaitedPid("com.example.a.b");
    EXPECT_EQ(unload("com.example.a").code, 0);
    EXPECT_TRUE(isAlive(other));
    EXPECT_EQ(launchctl({"list"}).stdout, "PID\tStatus\tLabel\n" + std::to_string(other) + "\t0\tcom.example.a.b\n");
}

TEST_P(Launchctl, LoadsAnAgentWhoseProgramIsMissing)
{
    const std::string label = "com.example.missing";
    const auto program = home() / "later.sh";
    PropertyListText list(label);
    ASSERT_EQ(load(label, list.text("Program", program.string()).flag("RunAtLoad", true)).code, 0);
    EXPECT_TRUE(isLoaded(label));
    makeExecutable(program, "#!/bin/sh\nexec sleep 1000\n");
    EXPECT_EQ(launchctl({"kickstart", "-k", target(label)}).code, 0);
    EXPECT_TRUE(isAlive(awaitedPid(label)));
}

// A few bytes that name one part over and over again would take for ever to unfold.
TEST_P(Launchctl, DoesNotHangOnAPropertyListThatGrowsWithoutEnd)
{
    std::string bytes = "bplist00";
    std::string offsets;
    constexpr int count = 60;
    for (int index = 0; index < count; index++) {
        offsets += static_cast<char>(bytes.size());
        bytes += {static_cast<char>(0xA2), static_cast<char>(index + 1), static_cast<char>(index + 1)};
    }
    const std::size_t last = bytes.size();
    bytes += '\x09';
    offsets += static_cast<char>(last);
    const std::size_t table = bytes.size();
    bytes += offsets + std::string(6, '\0') + '\x01' + '\x01';
    const auto number = [&bytes](std::size_t value) {
        for (int shift = 56; shift >= 0; shift -= 8) {
            bytes += static_cast<char>(value >> static_cast<unsigned>(shift));
        }
    };
    number(count + 1);
    number(0);
    number(table);
    write(listPath("bomb"), bytes);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(launchctl({"bootstrap", domain(), listPath("bomb").string()}).code, 5);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 30s);
}

INSTANTIATE_TEST_SUITE_P(, Launchctl, Values(Mode::userManager, Mode::alone), [](const auto& mode) {
    return mode.param == Mode::userManager ? "WithUserManager" : "Alone";
});

} // namespace
