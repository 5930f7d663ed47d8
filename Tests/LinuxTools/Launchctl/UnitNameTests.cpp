#include "LinuxTools/Launchctl/UnitName.h"

#include <string>
#include <unistd.h>
#include <vector>

#include "ManagerCore/Foundation/Proc.h"
#include "Tests/Support/Sandbox.h"

namespace
{

namespace UnitName = LinuxTools::UnitName;

TEST(UnitName, KeepsAPlainLabel)
{
    EXPECT_EQ(UnitName::service("com.example.agent_2:x"), "com.example.agent_2:x.service");
    EXPECT_EQ(UnitName::timer("com.example.agent"), "com.example.agent.timer");
}

TEST(UnitName, WritesEverythingElseAsSystemdDoes)
{
    if (::access("/usr/bin/systemd-escape", X_OK) != 0) {
        GTEST_SKIP() << "There is no systemd-escape here.";
    }
    std::string all;
    for (int byte = 1; byte < 256; byte++) {
        all += static_cast<char>(byte);
    }
    for (const std::string& label : std::vector<std::string> {
             all, "com.example.a-b", ".hidden", "..", "a/b/../c", "x@y", "größe", "a\\b", " ", "100%", "\xff\xfe"}) {
        const auto out = ManagerCore::Proc::run("/usr/bin/systemd-escape", {"--", label});
        EXPECT_EQ(UnitName::escaped(label) + "\n", out.stdout) << label;
    }
}

TEST(UnitName, GivesDifferentNamesToDifferentLabels)
{
    EXPECT_NE(UnitName::escaped("a/b"), UnitName::escaped("a-b"));
    EXPECT_NE(UnitName::escaped("a\\x2db"), UnitName::escaped("a-b"));
}

TEST(UnitName, LeavesRoomInAFileName)
{
    EXPECT_FALSE(UnitName::isPossible(""));
    EXPECT_TRUE(UnitName::isPossible(std::string(240, 'a')));
    EXPECT_FALSE(UnitName::isPossible(std::string(241, 'a')));
    EXPECT_TRUE(UnitName::isPossible(std::string(60, '-')));
    EXPECT_FALSE(UnitName::isPossible(std::string(61, '-')));
}

} // namespace
