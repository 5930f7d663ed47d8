#include "ManagerCore/Foundation/FilePath.h"

#include <unistd.h>

#include <gmock/gmock.h>
#include <pwd.h>

#include "Tests/Support/Sandbox.h"

namespace FilePath = ManagerCore::FilePath;
namespace fs = std::filesystem;
using testing::ElementsAre;
using TestSupport::makeLink;

namespace
{

using FilePathTest = TestSupport::SandboxTest;

TEST_F(FilePathTest, aTextBecomesAnAbsolutePathWithoutSuperfluousSlashes)
{
    EXPECT_EQ(FilePath::fromText("/a//b///c/").string(), "/a/b/c");
    EXPECT_EQ(FilePath::fromText("/").string(), "/");
    EXPECT_EQ(FilePath::fromText("///").string(), "/");
    EXPECT_EQ(FilePath::fromText("/a/./b/../c").string(), "/a/./b/../c");
    EXPECT_EQ(FilePath::fromText("a/b").string(), (fs::current_path() / "a/b").string());
    EXPECT_EQ(FilePath::fromText("~user").string(), (fs::current_path() / "~user").string());
}

TEST_F(FilePathTest, anEmptyTextAndOneWithAZeroByteAreNowhere)
{
    EXPECT_TRUE(FilePath::fromText("").empty());
    EXPECT_TRUE(FilePath::fromText(std::string_view("/etc\0x", 6)).empty());
    EXPECT_TRUE(FilePath::expandHome(std::string_view("~/\0", 3)).empty());
    EXPECT_FALSE(FilePath::exists(FilePath::fromText("")));
    EXPECT_FALSE(FilePath::isFolder({}));
    EXPECT_FALSE(FilePath::isLink({}));
}

TEST_F(FilePathTest, theHomeRuleKnowsTwoFormsAlone)
{
    EXPECT_EQ(FilePath::expandHome("~"), home());
    EXPECT_EQ(FilePath::expandHome("~/"), home());
    EXPECT_EQ(FilePath::expandHome("~/a/b"), home() / "a/b");
    EXPECT_EQ(FilePath::expandHome("~//a"), home() / "a");
    EXPECT_EQ(FilePath::expandHome("/x/~"), "/x/~");
    EXPECT_EQ(FilePath::expandHome("~root/a"), fs::current_path() / "~root/a");
    EXPECT_EQ(FilePath::expandHome("~root"), fs::current_path() / "~root");
}

TEST_F(FilePathTest, theTildeRuleKnowsUsersToo)
{
    const passwd* me = ::getpwuid(::getuid());
    ASSERT_NE(me, nullptr);
    const std::string name = me->pw_name;
    const fs::path mine = me->pw_dir;
    EXPECT_EQ(FilePath::expandTilde("~"), home());
    EXPECT_EQ(FilePath::expandTilde("~/a"), home() / "a");
    EXPECT_EQ(FilePath::expandTilde("~" + name), mine);
    EXPECT_EQ(FilePath::expandTilde("~" + name + "/a/"), mine / "a");
    EXPECT_EQ(FilePath::expandTilde("~nobody-has-this-name/a"), fs::current_path() / "~nobody-has-this-name/a");
    EXPECT_EQ(FilePath::expandTilde("/plain"), "/plain");
    EXPECT_TRUE(FilePath::expandTilde("").empty());
}

TEST_F(FilePathTest, appendingNeverStartsOver)
{
    EXPECT_EQ(FilePath::appending("/a", "/b").string(), "/a/b");
    EXPECT_EQ(FilePath::appending("/", "b").string(), "/b");
    EXPECT_EQ(FilePath::appending("/a", "").string(), "/a");
    EXPECT_EQ(FilePath::appending("/a", "../b/").string(), "/a/../b");
    EXPECT_TRUE(FilePath::appending("/a", std::string_view("b\0c", 3)).empty());
}

TEST_F(FilePathTest, existenceFollowsLinks)
{
    fs::create_directory(scratch() / "folder");
    makeLink(scratch() / "toFolder", "folder");
    makeLink(scratch() / "dangling", "nowhere");
    makeLink(scratch() / "loop", "loop");
    EXPECT_TRUE(FilePath::exists(scratch() / "toFolder"));
    EXPECT_TRUE(FilePath::isFolder(scratch() / "toFolder"));
    EXPECT_FALSE(FilePath::exists(scratch() / "dangling"));
    EXPECT_FALSE(FilePath::exists(scratch() / "loop"));
    EXPECT_TRUE(FilePath::isLink(scratch() / "dangling"));
    EXPECT_TRUE(FilePath::isLink(scratch() / "loop"));
    EXPECT_FALSE(FilePath::isLink(scratch() / "folder"));
}

TEST_F(FilePathTest, aLinkIsReadOnce)
{
    makeLink(scratch() / "absolute", "/some//where/");
    makeLink(scratch() / "relative", "../w");
    makeLink(scratch() / "chain", "relative");
    EXPECT_EQ(FilePath::linkTarget(scratch() / "absolute").string(), "/some/where");
    EXPECT_EQ(FilePath::linkTarget(scratch() / "relative").string(), (scratch() / "../w").string());
    EXPECT_EQ(FilePath::linkTarget(scratch() / "chain"), scratch() / "relative");
    EXPECT_EQ(FilePath::linkTarget(scratch()), scratch());
    EXPECT_EQ(FilePath::linkTarget(scratch() / "none"), scratch() / "none");
    EXPECT_FALSE(FilePath::linkDestination(scratch()).has_value());
}

TEST_F(FilePathTest, aRelativeTargetIsResolvedAgainstTheLinksFolder)
{
    const auto target = [this](const char* link) { return FilePath::resolvedLinkTarget(scratch() / link).string(); };
    fs::create_directories(scratch() / "a/b");
    TestSupport::write(scratch() / "w", "x");
    makeLink(scratch() / "a/up", "../w");
    makeLink(scratch() / "a/b/far", "./.././../w/");
    makeLink(scratch() / "a/chain", "../a/./up");
    makeLink(scratch() / "a/plain", "b");
    makeLink(scratch() / "a/absolute", scratch() / "a/../w");
    makeLink(scratch() / "a/ends", "b/..");
    makeLink(scratch() / "a/b/here", ".");
    EXPECT_EQ(target("a/up"), scratch() / "w");
    EXPECT_EQ(target("a/b/far"), scratch() / "w");
    EXPECT_EQ(target("a/chain"), scratch() / "a/up");
    EXPECT_EQ(target("a/plain"), scratch() / "a/b");
    EXPECT_EQ(target("a/absolute"), (scratch() / "a/../w").string()); // taken as it is
    EXPECT_EQ(target("a/ends"), scratch() / "a");
    EXPECT_EQ(target("a/b/here"), scratch() / "a/b");
    EXPECT_EQ(target("a"), scratch() / "a");
    EXPECT_EQ(target("none"), scratch() / "none");
}

TEST_F(FilePathTest, dotsBehindALinkLeadWhereTheSystemGoes)
{
    fs::create_directories(scratch() / "real/deep");
    fs::create_directories(scratch() / "w");
    makeLink(scratch() / "link", "real/deep");
    makeLink(scratch() / "real/deep/up", "../w");
    EXPECT_EQ(FilePath::resolvedLinkTarget(scratch() / "link/up"), scratch() / "real/w");
    // What is not there does not become something that is.
    makeLink(scratch() / "lost", "missing/../w");
    EXPECT_FALSE(FilePath::exists(FilePath::resolvedLinkTarget(scratch() / "lost")));
}

TEST_F(FilePathTest, standardisedResolvesLinksOnlyForAParentStep)
{
    fs::create_directories(scratch() / "deep/real");
    makeLink(scratch() / "link", "deep/real");
    EXPECT_EQ(FilePath::standardised(scratch() / "./link/."), scratch() / "link");
    EXPECT_EQ(FilePath::standardised(scratch() / "link/.."), scratch() / "deep");
    EXPECT_EQ(FilePath::standardised(scratch() / "none/../x"), scratch() / "x");
    EXPECT_EQ(FilePath::standardised("/..").string(), "/");
}

TEST_F(FilePathTest, resolvedIsAllOrNothing)
{
    fs::create_directories(scratch() / "real");
    makeLink(scratch() / "link", "real");
    EXPECT_EQ(FilePath::resolved(scratch() / "link"), scratch() / "real");
    EXPECT_EQ(FilePath::resolved(scratch() / "link/missing/."), scratch() / "link/missing");
    makeLink(scratch() / "loop", "loop");
    EXPECT_EQ(FilePath::resolved(scratch() / "loop"), scratch() / "loop");
}

TEST_F(FilePathTest, components)
{
    EXPECT_EQ(FilePath::lastComponent("/a/b"), "b");
    EXPECT_EQ(FilePath::lastComponent("/"), "/");
    EXPECT_EQ(FilePath::lastComponent(""), "");
    EXPECT_EQ(FilePath::parent("/a"), "/");
    EXPECT_EQ(FilePath::parent("/"), "/");
    EXPECT_EQ(FilePath::parent(""), "");
    EXPECT_THAT(FilePath::components("/a/b c/d"), ElementsAre("/", "a", "b c", "d"));
}

TEST_F(FilePathTest, packagesAreKnownByTheirExtension)
{
    EXPECT_TRUE(FilePath::isPackageName("Zyn.app"));
    EXPECT_TRUE(FilePath::isPackageName("Kit.FRAMEWORK"));
    EXPECT_FALSE(FilePath::isPackageName(".app"));
    EXPECT_FALSE(FilePath::isPackageName("app"));
    EXPECT_FALSE(FilePath::isPackageName("weights.d"));
}

} // namespace
