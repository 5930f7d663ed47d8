#include "LinuxTools/Launchctl/Target.h"

#include <string>
#include <unistd.h>

#include "Tests/Support/Sandbox.h"

namespace
{

namespace Target = LinuxTools::Target;

const std::string own = std::to_string(::getuid());

TEST(Target, KnowsTheOwnDomain)
{
    EXPECT_TRUE(Target::isOwnDomain("gui/" + own));
    EXPECT_TRUE(Target::isOwnDomain("user/" + own));
    for (const std::string& other : {"gui/" + own + "1",
                                     "gui/0" + own,
                                     "gui/" + own + "/",
                                     "gui/+" + own,
                                     std::string("gui"),
                                     std::string("gui/"),
                                     std::string("system"),
                                     std::string()}) {
        EXPECT_FALSE(Target::isOwnDomain(other)) << other;
    }
}

TEST(Target, TakesAllThatFollowsForTheLabel)
{
    EXPECT_EQ(Target::labelIn("gui/" + own + "/com.example.agent"), "com.example.agent");
    EXPECT_EQ(Target::labelIn("user/" + own + "/a/b//c"), "a/b//c");
    EXPECT_EQ(Target::labelIn("gui/" + own + "/"), "");
    EXPECT_EQ(Target::labelIn("gui/" + own), std::nullopt);
    EXPECT_EQ(Target::labelIn("system/a"), std::nullopt);
    EXPECT_EQ(Target::labelIn(""), std::nullopt);
}

} // namespace
