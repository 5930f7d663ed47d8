#include "LinuxTools/Launchctl/AgentRecord.h"

#include <string>
#include <sys/stat.h>

#include "Tests/Support/Sandbox.h"

namespace
{

using namespace LinuxTools;
using AgentRecordFile = TestSupport::SandboxTest;

AgentRecord sample()
{
    return {
        .label = "com.example \"odd\"\n[label]",
        .propertyList = "/a b/%n\\x.plist",
        .program = "/bin/sh",
        .arguments = {"", "-c", "a=b\n[Service]\nExecStart=/bin/false", "größe \xff"},
        .outputPath = "",
        .errorPath = "/log\t",
        .home = "/home/x",
        .boot = "id+1",
        .exitTimeOut = 7,
        .startsAtLogin = true,
        .hasTimer = true,
    };
}

TEST(AgentRecord, ComesBackAsItWasWritten)
{
    EXPECT_EQ(recordIn(toText(sample())), sample());
    EXPECT_EQ(recordIn("[Unit]\nDescription=x\n\n" + toText(sample()) + "\n[Install]\nLabel=y\n"), sample());
}

TEST(AgentRecord, IsAbsentWhereNoneStands)
{
    EXPECT_EQ(recordIn(""), std::nullopt);
    EXPECT_EQ(recordIn("[Unit]\nLabel=\"a\"\n"), std::nullopt);
    EXPECT_EQ(recordIn("[X-CodeManager]\n"), std::nullopt);
    EXPECT_EQ(recordIn("[X-CodeManager]\nLabel=\"\"\n"), std::nullopt);
}

TEST(AgentRecord, SurvivesNonsense)
{
    const auto record = recordIn("[X-CodeManager]\nLabel=\"a\\\n=\n\nExitTimeOut=\"many\"\nFoo\nArgument=plain\n");
    ASSERT_TRUE(record);
    EXPECT_EQ(record->exitTimeOut, 0U);
    EXPECT_EQ(record->arguments, std::vector<std::string> {"plain"});
}

TEST_F(AgentRecordFile, IsAbsentInWhatIsNoFile)
{
    EXPECT_EQ(recordInFile(home() / "none"), std::nullopt);
    EXPECT_EQ(recordInFile(home()), std::nullopt);
    ASSERT_EQ(::mkfifo((home() / "pipe").c_str(), 0600), 0);
    EXPECT_EQ(recordInFile(home() / "pipe"), std::nullopt);
    TestSupport::write(home() / "file", toText(sample()));
    EXPECT_EQ(recordInFile(home() / "file"), sample());
}

} // namespace
