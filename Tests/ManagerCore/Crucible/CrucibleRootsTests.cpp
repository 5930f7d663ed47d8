#include "ManagerCore/Crucible/CrucibleRoots.h"

#include <gmock/gmock.h>

#include "Tests/Support/Sandbox.h"

namespace CrucibleRoots = ManagerCore::CrucibleRoots;
namespace fs = std::filesystem;
using testing::ElementsAre;
using TestSupport::EnvironmentVariable;
using TestSupport::makeLink;
using TestSupport::write;

namespace
{

using CrucibleRootsTest = TestSupport::SandboxTest;

TEST_F(CrucibleRootsTest, standInTheHomeWithoutAnEnvironment)
{
    EXPECT_EQ(CrucibleRoots::local(), home() / ".zyn-crucible");
    EXPECT_EQ(CrucibleRoots::canonical(), home() / ".zyn/crucible");
    EXPECT_THAT(CrucibleRoots::all(), ElementsAre());
    EXPECT_EQ(CrucibleRoots::configPath(), std::nullopt);
}

TEST_F(CrucibleRootsTest, theEnvironmentIsReadAtEachCallAndExpanded)
{
    {
        const EnvironmentVariable local("ZYN_CRUCIBLE_LOCAL", "~/here");
        const EnvironmentVariable canonical("ZYN_CRUCIBLE_ROOT", (scratch() / "there//").string());
        EXPECT_EQ(CrucibleRoots::local(), home() / "here");
        EXPECT_EQ(CrucibleRoots::canonical(), scratch() / "there");
    }
    EXPECT_EQ(CrucibleRoots::local(), home() / ".zyn-crucible");
    const EnvironmentVariable alone("ZYN_CRUCIBLE_LOCAL", "~");
    EXPECT_EQ(CrucibleRoots::local(), home());
}

TEST_F(CrucibleRootsTest, anEmptyVariableCountsAsUnset)
{
    const EnvironmentVariable local("ZYN_CRUCIBLE_LOCAL", "");
    const EnvironmentVariable canonical("ZYN_CRUCIBLE_ROOT", "");
    EXPECT_EQ(CrucibleRoots::local(), home() / ".zyn-crucible");
    EXPECT_EQ(CrucibleRoots::canonical(), home() / ".zyn/crucible");
}

TEST_F(CrucibleRootsTest, aRelativePathIsTakenAgainstTheWorkingFolder)
{
    const EnvironmentVariable local("ZYN_CRUCIBLE_LOCAL", "weights");
    EXPECT_EQ(CrucibleRoots::local(), fs::current_path() / "weights");
}

TEST_F(CrucibleRootsTest, allKeepsThoseThatExistLocalFirst)
{
    fs::create_directories(home() / ".zyn/crucible");
    EXPECT_THAT(CrucibleRoots::all(), ElementsAre(home() / ".zyn/crucible"));
    fs::create_directories(home() / ".zyn-crucible");
    EXPECT_THAT(CrucibleRoots::all(), ElementsAre(home() / ".zyn-crucible", home() / ".zyn/crucible"));
}

TEST_F(CrucibleRootsTest, linksAreFollowedForExistenceAndNotForBeingTheSame)
{
    makeLink(home() / ".zyn/crucible", home() / ".zyn-crucible");
    EXPECT_THAT(CrucibleRoots::all(), ElementsAre()) << "a dangling link is nothing";
    fs::create_directories(home() / ".zyn-crucible");
    EXPECT_THAT(CrucibleRoots::all(), ElementsAre(home() / ".zyn-crucible", home() / ".zyn/crucible"));
}

TEST_F(CrucibleRootsTest, onePlaceUnderTwoSpellingsCountsOnce)
{
    fs::create_directories(home() / ".zyn-crucible");
    fs::create_directories(home() / ".zyn");
    for (const char* spelling : {"~/.zyn-crucible", "~/./.zyn-crucible/", "~/.zyn/../.zyn-crucible"}) {
        const EnvironmentVariable canonical("ZYN_CRUCIBLE_ROOT", spelling);
        EXPECT_THAT(CrucibleRoots::all(), ElementsAre(home() / ".zyn-crucible")) << spelling;
    }
}

TEST_F(CrucibleRootsTest, theConfigurationIsTheFirstThatExists)
{
    write(home() / ".zyn/crucible/crucible.toml", "second");
    EXPECT_EQ(CrucibleRoots::configPath(), home() / ".zyn/crucible/crucible.toml");
    fs::create_directories(home() / ".zyn-crucible");
    EXPECT_EQ(CrucibleRoots::configPath(), home() / ".zyn/crucible/crucible.toml");
    makeLink(home() / ".zyn-crucible/crucible.toml", "nowhere");
    EXPECT_EQ(CrucibleRoots::configPath(), home() / ".zyn/crucible/crucible.toml");
    write(home() / ".zyn-crucible/nowhere", "first");
    EXPECT_EQ(CrucibleRoots::configPath(), home() / ".zyn-crucible/crucible.toml");
}

} // namespace
