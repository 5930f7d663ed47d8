#include "ManagerCore/Health/Service.h"

#include <chrono>
#include <fstream>
#include <thread>
#include <unistd.h>

#include <gmock/gmock.h>

#include "ManagerCore/Health/StatusProbe.h"
#include "Tests/Support/Sandbox.h"

namespace Service = ManagerCore::Service;
using ManagerCore::Proc::Out;
using testing::HasSubstr;

namespace
{

const std::string label = "com.example.code-manager-test." + std::to_string(::getpid());

// Runs on what stands behind launchctl here, without a user manager, so that nothing outside the sandbox changes.
class ServiceTest : public TestSupport::SandboxTest
{
protected:
    ~ServiceTest() override { Service::stop(label); }

    // An agent that adds a line to its log when it starts and then lives on.
    void installAgent() const
    {
        TestSupport::makeExecutable(home() / "agent",
                                    "#!/bin/sh\necho up $$ >> '" + log().string() + "'\nexec sleep 60\n");
        TestSupport::write(home() / ("Library/LaunchAgents/" + label + ".plist"),
                           R"(<?xml version="1.0" encoding="UTF-8"?><plist version="1.0"><dict>
<key>Label</key><string>)" + label
                               + R"(</string>
<key>ProgramArguments</key><array><string>)"
                               + (home() / "agent").string() + R"(</string></array>
<key>RunAtLoad</key><true/></dict></plist>)");
    }

    [[nodiscard]] std::filesystem::path log() const { return home() / "agent.log"; }

    [[nodiscard]] bool startedTimes(long wanted) const
    {
        for (int attempt = 0; attempt < 200; attempt++) {
            const std::string text = TestSupport::read(log());
            if (std::count(text.begin(), text.end(), '\n') == wanted) {
                return true;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        return false;
    }

    TestSupport::EnvironmentVariable noManager_ {"XDG_RUNTIME_DIR", (scratch() / "runtime").string()};
    TestSupport::EnvironmentVariable noBus_ {"DBUS_SESSION_BUS_ADDRESS", std::nullopt};
};

TEST_F(ServiceTest, thePropertyListLiesInTheHome)
{
    EXPECT_EQ(Service::plistPath("com.example.agent"),
              (home() / "Library/LaunchAgents/com.example.agent.plist").string());
    EXPECT_EQ(Service::plistPath(""), (home() / "Library/LaunchAgents/.plist").string());
}

TEST_F(ServiceTest, anEmptyOrUnknownLabelIsNotRunning)
{
    EXPECT_FALSE(Service::running(""));
    EXPECT_FALSE(Service::running(label));
}

TEST_F(ServiceTest, whatLaunchctlReportsIsHandedBack)
{
    const std::string user = std::to_string(::getuid());
    EXPECT_EQ(Service::stop(label).code, 3);
    EXPECT_THAT(Service::stop(label).stderr, HasSubstr("Boot-out failed: 3: No such process"));
    EXPECT_EQ(Service::restart(label).code, 113);
    EXPECT_THAT(Service::restart(label).stderr,
                HasSubstr("Could not find service \"" + label + "\" in domain for user gui: " + user));
    EXPECT_EQ(Service::start(label).code, 5) << "its property list is missing";
    EXPECT_THAT(Service::start(label).stderr, HasSubstr("Bootstrap failed: 5: Input/output error"));
    EXPECT_NE(Service::start("").code, 0);
    EXPECT_NE(Service::stop("").code, 0);
}

TEST_F(ServiceTest, startsRestartsAndStopsAnAgent)
{
    installAgent();
    const Out started = Service::start(label);
    ASSERT_TRUE(started.ok()) << started.stderr;
    EXPECT_TRUE(Service::running(label));
    EXPECT_TRUE(startedTimes(1));
    EXPECT_TRUE(ManagerCore::StatusProbe::gather({}, {.launchAgent = label}).backendRunning);
    EXPECT_EQ(Service::start(label).code, 5) << "it is loaded already";
    EXPECT_TRUE(Service::restart(label).ok());
    EXPECT_TRUE(startedTimes(2)) << "the running instance was killed first";
    EXPECT_TRUE(Service::stop(label).ok());
    EXPECT_FALSE(Service::running(label));
    EXPECT_FALSE(ManagerCore::StatusProbe::gather({}, {.launchAgent = label}).backendRunning);
}

} // namespace
