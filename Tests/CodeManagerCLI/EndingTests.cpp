// How the program ends from outside: signals, terminals, pipes that nobody reads. Real processes all.

#include <chrono>
#include <csignal>
#include <fstream>

#include <gtest/gtest.h>
#include <unistd.h>

#include "ManagerCore/Foundation/Proc.h"
#include "Tests/CodeManagerCLI/Installation.h"
#include "Tests/CodeManagerCLI/Running.h"

namespace
{

using namespace std::chrono_literals;
namespace Proc = ManagerCore::Proc;

class EndingTest : public InstallationTest
{
protected:
    // What a failing test leaves running.
    void TearDown() override
    {
        for (const char* file : {"first", "second"}) {
            pid_t process = 0;
            if (std::ifstream(home() / file) >> process && isRunning(process)) {
                ::kill(-::getpgid(process), SIGKILL);
            }
        }
    }

    // The product's executable ignores every polite signal, has a child that does so too, and never ends.
    void makeProductHang() const
    {
        setProductScript("trap '' TERM INT HUP\n"
                         "sleep 600 &\n"
                         "echo $! >\"$HOME/second\"\n"
                         "echo $$ >\"$HOME/first\"\n"
                         "while :; do sleep 600; done\n");
    }

    [[nodiscard]] Running::Setting setting(bool terminal) const
    {
        return {.environment = environment(), .folder = home(), .terminal = terminal};
    }

    // The number that the product wrote into the file, as soon as it has.
    [[nodiscard]] pid_t processIn(const std::string& file) const
    {
        for (int attempt = 0; attempt < 3000; ++attempt) {
            pid_t process = 0;
            if (std::ifstream(home() / file) >> process) {
                return process;
            }
            ::usleep(10000);
        }
        ADD_FAILURE() << "the product was not started";
        return -1;
    }

    struct Observed {
        std::string ending;
        std::chrono::milliseconds taken {};
        bool anyLeft = true;
        std::string output;
    };

    // Lets the product hang, does `end` to the program and looks at what comes of it.
    template <class End> Observed endWhileTheProductHangs(bool terminal, End end)
    {
        makeProductHang();
        Running run({program(), "status"}, setting(terminal));
        const pid_t second = processIn("second");
        const pid_t first = processIn("first");
        EXPECT_TRUE(isRunning(first) && isRunning(second));

        const auto before = std::chrono::steady_clock::now();
        end(run);
        Observed observed;
        observed.ending = run.ending();
        observed.taken
            = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - before);
        observed.anyLeft = isRunning(first) || isRunning(second);
        observed.output = run.output();
        return observed;
    }

    static void expectEndBySignal(const Observed& observed, int signal)
    {
        EXPECT_EQ(observed.ending, "signal " + std::to_string(signal));
        EXPECT_LT(observed.taken, 2s);
        EXPECT_FALSE(observed.anyLeft);
        EXPECT_EQ(observed.output.find("Status"), std::string::npos) << observed.output;
    }
};

TEST_F(EndingTest, ControlCEndsTheProgramAndAllItStarted)
{
    expectEndBySignal(endWhileTheProductHangs(true, [](const Running& run) { run.type("\x03"); }), SIGINT);
}

TEST_F(EndingTest, SigtermEndsTheProgramAndAllItStarted)
{
    expectEndBySignal(endWhileTheProductHangs(false, [](const Running& run) { ::kill(run.pid(), SIGTERM); }), SIGTERM);
}

TEST_F(EndingTest, SighupEndsTheProgramAndAllItStarted)
{
    expectEndBySignal(endWhileTheProductHangs(false, [](const Running& run) { ::kill(run.pid(), SIGHUP); }), SIGHUP);
}

TEST_F(EndingTest, AnImpatientUserChangesNothing)
{
    expectEndBySignal(endWhileTheProductHangs(false,
                                              [](const Running& run) {
                                                  ::kill(run.pid(), SIGINT);
                                                  ::kill(run.pid(), SIGINT);
                                                  ::usleep(50000);
                                                  ::kill(run.pid(), SIGTERM);
                                              }),
                      SIGINT);
}

TEST_F(EndingTest, AChildThatEndsPolitelyIsNotReportedOn)
{
    // Nothing but the executable to look at: the status would be told at once.
    TestSupport::write(home() / "only.toml", "binaries = [\"~/.sample/bin/sample\"]\n");
    setProductScript("echo $$ >\"$HOME/first\"\nexec sleep 600\n");
    for (int attempt = 0; attempt < 10; ++attempt) {
        std::filesystem::remove(home() / "first");
        Running run({program(), "status", "--identity", "only.toml"}, setting(false));
        const pid_t first = processIn("first");
        ::kill(run.pid(), SIGINT);
        EXPECT_EQ(run.ending(), "signal " + std::to_string(SIGINT));
        EXPECT_EQ(run.output(), "");
        EXPECT_FALSE(isRunning(first));
    }
}

TEST_F(EndingTest, AStubbornProcessOfAPoliteChildIsEndedToo)
{
    setProductScript("sh -c 'trap \"\" TERM INT; echo $$ >\"$HOME/second\"; while :; do sleep 600; done' &\n"
                     "echo $$ >\"$HOME/first\"\n"
                     "wait\n");
    Running run({program(), "status"}, setting(false));
    const pid_t second = processIn("second");
    ::kill(run.pid(), SIGTERM);
    EXPECT_EQ(run.ending(), "signal " + std::to_string(SIGTERM));
    EXPECT_FALSE(isRunning(second));
}

TEST_F(EndingTest, AStubbornProcessThatHoldsNoStreamIsEndedToo)
{
    setProductScript("sh -c 'trap \"\" TERM INT; echo $$ >\"$HOME/second\"; while :; do sleep 600; done' "
                     ">/dev/null 2>&1 &\n"
                     "wait\n");
    Running run({program(), "status"}, setting(false));
    const pid_t second = processIn("second");
    ::kill(run.pid(), SIGTERM);
    EXPECT_EQ(run.ending(), "signal " + std::to_string(SIGTERM));
    EXPECT_FALSE(isRunning(second));
}

TEST_F(EndingTest, AScriptsLinesComeAsTheyAreAndControlCEndsItWithAllItStarted)
{
    TestSupport::write(home() / "project/build.command",
                       "sh -c 'trap \"\" TERM INT; echo $$ >\"$HOME/second\"; while :; do sleep 600; done' &\n"
                       "echo building; read -r line; echo \"read [$line]\"\n"
                       "echo $$ >\"$HOME/first\"\n"
                       "wait\necho never\n");
    Running run({program(), "install", "cli", "--project", "project"}, setting(true));
    EXPECT_TRUE(run.shows("building")) << run.output();
    run.type("typed\n");
    EXPECT_TRUE(run.shows("read [typed]")) << run.output();
    const pid_t first = processIn("first");
    const pid_t second = processIn("second");
    run.type("\x03");
    EXPECT_EQ(run.ending(), "signal " + std::to_string(SIGINT));
    EXPECT_FALSE(isRunning(first) || isRunning(second));
    EXPECT_EQ(run.output().find("failed"), std::string::npos) << run.output();
}

TEST_F(EndingTest, AnIgnoredHangUpStaysIgnored)
{
    setProductScript("echo $$ >\"$HOME/first\"\nwhile [ ! -e \"$HOME/go\" ]; do sleep 0.05; done\necho 'sample 9'\n");
    Running run({"/bin/bash", "-c", "trap '' HUP; exec zyn-code-manager status"}, setting(false));
    ASSERT_GT(processIn("first"), 0);
    ::kill(run.pid(), SIGHUP);
    EXPECT_EQ(run.ending(300ms), "running");
    TestSupport::write(home() / "go", "");
    EXPECT_EQ(run.ending(), "exit 0");
    EXPECT_TRUE(run.shows("9 (—)")) << run.output();
}

TEST_F(EndingTest, AChildThatReadsStandardInputGetsWhatIsTyped)
{
    setProductScript("read -r line; echo \"sample $line\"\n");
    Running run({program(), "status"}, setting(true));
    run.type("typed-ahead\n");
    EXPECT_EQ(run.ending(), "exit 0") << run.output();
    EXPECT_NE(run.output().find("typed-ahead (—)"), std::string::npos) << run.output();
}

TEST_F(EndingTest, InTheBackgroundNothingTypedIsTakenFromTheShell)
{
    setProductScript("read -r line || line=nothing; echo \"sample $line\"\n");
    Running run({"/bin/bash", "-c", "set -m; zyn-code-manager status & wait; read -r line; echo \"shell $line\""},
                setting(true));
    run.type("typed\n");
    EXPECT_EQ(run.ending(), "exit 0") << run.output();
    EXPECT_NE(run.output().find("nothing (—)"), std::string::npos) << run.output();
    EXPECT_TRUE(run.output().ends_with("shell typed\r\n")) << run.output();
}

TEST_F(EndingTest, AScriptThatOpensTheTerminalIsToldSoAtOnce)
{
    TestSupport::write(home() / "project/build.command",
                       "read -r line </dev/tty || echo 'no terminal'\necho \"went on\"\n");
    Running run({program(), "install", "cli", "--project", "project"}, setting(true));
    EXPECT_EQ(run.ending(), "exit 0") << "the script is stopped: " << run.output();
    EXPECT_TRUE(run.shows("/dev/tty: ")) << run.output();
    EXPECT_TRUE(run.shows("no terminal\r\nwent on\r\n")) << run.output();
}

TEST_F(EndingTest, AQuestionIsShownAndAnsweredOnTheTerminal)
{
    TestSupport::write(home() / "project/build.command",
                       "read -r -p 'Proceed? ' line\necho \"answered [$line]\"\n"
                       "printf 'Sure? '; read -r line; echo \"[$line]\"\n");
    Running run({program(), "install", "cli", "--project", "project"}, setting(true));
    ASSERT_TRUE(run.shows("Proceed? ")) << run.output();
    run.type("yes\n");
    EXPECT_TRUE(run.shows("answered [yes]")) << run.output();
    ASSERT_TRUE(run.shows("Sure? ")) << run.output();
    run.type("no\n");
    EXPECT_EQ(run.ending(), "exit 0") << run.output();
    EXPECT_TRUE(run.output().ends_with("\r\nSure? no\r\n[no]\r\n")) << run.output();
}

TEST_F(EndingTest, ControlCEndsAScriptThatWaitsForAnAnswer)
{
    TestSupport::write(home() / "project/build.command", "echo $$ >\"$HOME/first\"\nread -r -p 'Proceed? ' line\n");
    Running run({program(), "install", "cli", "--project", "project"}, setting(true));
    ASSERT_TRUE(run.shows("Proceed? ")) << run.output();
    const pid_t first = processIn("first");
    run.type("\x03");
    EXPECT_EQ(run.ending(), "signal " + std::to_string(SIGINT));
    EXPECT_FALSE(isRunning(first));
}

TEST_F(EndingTest, AQuestionThatNobodyAnswersIsShownOnceOnALineOfItsOwn)
{
    const auto output = [this](const std::string& script) {
        TestSupport::write(home() / "project/build.command", script);
        return Proc::run(program(), {"install", "cli", "--project", "project"}, home(), environment());
    };
    const auto asked = output("printf 'Proceed? ' >&2; sleep 1; exit 3\n");
    EXPECT_EQ(asked.stderr, "Proceed? \n\n✗ failed (exit 3).\n");
    EXPECT_EQ(asked.stdout, "");
    EXPECT_EQ(output("printf 'Proceed? '; sleep 1; exit 0\n").stdout, "Proceed? \n");
    EXPECT_EQ(output("printf 'Proceed? '; sleep 1; echo no\n").stdout, "Proceed? no\n");
}

TEST_F(EndingTest, AChildThatReadsAPipeGetsWhatIsInIt)
{
    setProductScript("read -r line; echo \"sample $line\"\n");
    const auto out = Proc::run("/bin/bash", {"-c", "echo piped | zyn-code-manager status"}, home(), environment());
    EXPECT_NE(out.stdout.find("piped (—)"), std::string::npos) << out.stdout << out.stderr;
}

TEST_F(EndingTest, AChildHasAllStandardDescriptorsEvenWhereTheProgramHasNone)
{
    setProductScript("exec '" + TestSupport::testChild().string() + "' descriptors\n"); // the first is the version
    const auto out
        = Proc::run("/bin/bash", {"-c", "zyn-code-manager status <&- | grep Version"}, home(), environment());
    EXPECT_EQ(out.stdout, "Version   0 (—)\n") << out.stderr;
}

// Runs a pipeline whose reader is gone before the program writes, and gives the program's exit status.
std::string pipelineStatus(const std::string& before)
{
    return "{ while [ ! -e gone ]; do sleep 0.01; done; " + before
        + " zyn-code-manager identity; } | { exec <&-; : >gone; }; echo \"${PIPESTATUS[0]}\"";
}

TEST_F(EndingTest, ABrokenPipeEndsItQuietly)
{
    const auto out = Proc::run("/bin/bash", {"-c", pipelineStatus("exec")}, home(), environment());
    EXPECT_EQ(out.stdout, std::to_string(128 + SIGPIPE) + "\n");
    EXPECT_EQ(out.stderr, "");
}

TEST_F(EndingTest, ABrokenPipeThatKillsNobodyEndsItQuietly)
{
    const auto out = Proc::run("/bin/bash", {"-c", pipelineStatus("trap '' PIPE; exec")}, home(), environment());
    EXPECT_EQ(out.stdout, "1\n");
    EXPECT_EQ(out.stderr, "");
}

TEST_F(EndingTest, NothingIsLeftBehind)
{
    const auto out = Proc::run(program(), {"status"}, home(), environment());
    ASSERT_TRUE(out.ok()) << out.stderr;
    EXPECT_TRUE(std::filesystem::is_empty(scratch() / "tmp"));
}

struct ColourCase {
    const char* name;
    const char* variable;
    const char* value;
    bool coloured;
};

class ColourTest : public EndingTest, public ::testing::WithParamInterface<ColourCase>
{
};

TEST_P(ColourTest, ATerminalHasColoursUnlessTheyAreRefused)
{
    auto described = setting(true);
    described.environment[GetParam().variable] = GetParam().value;
    Running run({program(), "status"}, described);
    EXPECT_EQ(run.ending(), "exit 0");
    EXPECT_NE(run.output().find("Installed"), std::string::npos) << run.output();
    EXPECT_EQ(run.output().find("\033[32mInstalled\033[0m") != std::string::npos, GetParam().coloured) << run.output();
    EXPECT_EQ(run.output().find('\033') != std::string::npos, GetParam().coloured) << run.output();
}

INSTANTIATE_TEST_SUITE_P(Colours,
                         ColourTest,
                         ::testing::Values(ColourCase {"Terminal", "TERM", "xterm-256color", true},
                                           ColourCase {"DumbTerminal", "TERM", "dumb", false},
                                           ColourCase {"NoColour", "NO_COLOR", "1", false},
                                           ColourCase {"EmptyNoColour", "NO_COLOR", "", true}),
                         [](const auto& info) { return info.param.name; });

} // namespace
