#include "LinuxTools/Launchctl/Label.h"

#include <string>
#include <unistd.h>
#include <vector>

#include "ManagerCore/Foundation/Proc.h"
#include "Tests/Support/Sandbox.h"

namespace
{

namespace Label = LinuxTools::Label;

TEST(Label, IsEscapedLikeSystemdEscape)
{
    if (::access("/usr/bin/systemd-escape", X_OK) != 0) {
        GTEST_SKIP() << "systemd-escape is not installed.";
    }
    std::string all;
    for (int byte = 1; byte < 256; byte++) {
        all += static_cast<char>(byte);
    }
    for (const std::string& label : std::vector<std::string> {
             all, "com.example.a-b", ".hidden", "..", "a/b/../c", "x@y", "größe", "a\\b", " ", "100%", "\xff\xfe"}) {
        const auto out = ManagerCore::Proc::run("/usr/bin/systemd-escape", {"--", label});
        EXPECT_EQ(Label::escape(label) + "\n", out.stdout) << label;
    }
}

TEST(Label, HasAUniqueName)
{
    EXPECT_NE(Label::escape("a/b"), Label::escape("a-b"));
    EXPECT_NE(Label::escape("a\\x2db"), Label::escape("a-b"));
}

TEST(Label, FitsIntoAFileName)
{
    EXPECT_FALSE(Label::isValid(""));
    EXPECT_TRUE(Label::isValid(std::string(240, 'a')));
    EXPECT_FALSE(Label::isValid(std::string(241, 'a')));
    EXPECT_TRUE(Label::isValid(std::string(60, '-')));
    EXPECT_FALSE(Label::isValid(std::string(61, '-')));
}

} // namespace
