// The service commands with the launchctl that ships with the program, on a real agent.

#include <csignal>
#include <fstream>
#include <set>
#include <tuple>

#include <gtest/gtest.h>
#include <unistd.h>

#include "ManagerCore/Foundation/Proc.h"
#include "Tests/CodeManagerCLI/Installation.h"
#include "Tests/CodeManagerCLI/Running.h"

namespace
{

namespace fs = std::filesystem;
namespace Proc = ManagerCore::Proc;

class ServiceTest : public InstallationTest
{
protected:
    void SetUp() override
    {
        const fs::path shipped = TestSupport::builtProgram("launchctl");
        if (!fs::exists(shipped)) {
            GTEST_SKIP() << "this system's own launchctl would drive the user's real domain";
        }
        fs::remove(programs() / "launchctl");
        fs::copy_file(shipped, programs() / "launchctl");
        TestSupport::makeExecutable(home() / "agent", "#!/bin/sh\necho $$ >\"$HOME/agent-process\"\nexec sleep 600\n");
        TestSupport::write(home() / "Library/LaunchAgents/com.example.sample-agent.plist",
                           "<plist version=\"1.0\"><dict><key>Label</key><string>com.example.sample-agent</string>"
                           "<key>RunAtLoad</key><true/><key>ProgramArguments</key><array><string>"
                               + (home() / "agent").string() + "</string></array></dict></plist>");
    }

    void TearDown() override { std::ignore = service("stop"); }

    [[nodiscard]] Proc::Out service(const std::string& verb) const
    {
        return Proc::run(program(), {"service", verb}, home(), environment());
    }

    // The process of the agent, as soon as there is one other than `before`.
    [[nodiscard]] pid_t agentProcess(pid_t before = 0) const
    {
        for (int attempt = 0; attempt < 1500; ++attempt) {
            pid_t process = 0;
            if (std::ifstream(home() / "agent-process") >> process && process != before) {
                return process;
            }
            ::usleep(10000);
        }
        return -1;
    }
};

TEST_F(ServiceTest, StartsRestartsAndStopsARealAgent)
{
    EXPECT_EQ(service("status").code, 3);

    const Proc::Out started = service("start");
    ASSERT_EQ(started.stdout, "Start: ok\n") << started.stderr;
    const pid_t first = agentProcess();
    EXPECT_TRUE(isRunning(first));
    EXPECT_EQ(service("status").stdout, "running com.example.sample-agent:8088\n");

    const Proc::Out again = service("start");
    EXPECT_EQ(again.code, 1);
    EXPECT_EQ(again.stderr, "Start failed (5)\nBootstrap failed: 5: Input/output error\n");

    EXPECT_EQ(service("restart").stdout, "Restart: ok\n");
    const pid_t second = agentProcess(first);
    EXPECT_TRUE(isRunning(second));
    EXPECT_FALSE(isRunning(first));

    EXPECT_EQ(service("stop").stdout, "Stop: ok\n");
    EXPECT_FALSE(isRunning(second));
    EXPECT_EQ(service("status").code, 3);
    EXPECT_EQ(service("stop").stderr, "Stop failed (3)\nBoot-out failed: 3: No such process\n");
}

TEST_F(ServiceTest, StartedTwiceAtOnceItRunsOnce)
{
    const Running::Setting setting {.environment = environment(), .folder = home()};
    for (int round = 0; round < 3; ++round) {
        Running first({program(), "service", "start"}, setting);
        Running second({program(), "service", "start"}, setting);
        const std::multiset<std::string> endings {first.ending(), second.ending()};
        const std::string said = first.output() + second.output();
        EXPECT_EQ(endings, (std::multiset<std::string> {"exit 0", "exit 1"})) << said;
        EXPECT_NE(said.find("Start: ok\n"), std::string::npos) << said;
        EXPECT_NE(said.find("Start failed (5)\n"), std::string::npos) << said;
        EXPECT_EQ(service("status").code, 0);
        EXPECT_EQ(service("stop").stdout, "Stop: ok\n");
    }
}

} // namespace
