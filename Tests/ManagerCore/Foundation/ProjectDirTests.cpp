#include "ManagerCore/Foundation/ProjectDir.h"

#include <unistd.h>

#include "ManagerCore/Foundation/FilePath.h"
#include "ManagerCore/Platform/Platform.h"
#include "Tests/Support/Sandbox.h"

namespace ProjectDir = ManagerCore::ProjectDir;
using TestSupport::EnvironmentVariable;
namespace fs = std::filesystem;

namespace
{

const std::string name = "zyn" + std::to_string(::getpid());

class ProjectDirTest : public TestSupport::SandboxTest
{
protected:
    ~ProjectDirTest() override { fs::remove_all(sibling()); }

    [[nodiscard]] fs::path file() const
    {
        return home() / ("Library/Application Support/" + name + "-code-manager/project-dir");
    }

    // Beside the folder that holds the program.
    [[nodiscard]] static fs::path sibling()
    {
        return ManagerCore::Platform::application().parent_path().parent_path() / (name + "-v8");
    }
};

TEST_F(ProjectDirTest, theFileLiesInTheHomeAndItsFolderIsMade)
{
    EXPECT_EQ(ProjectDir::projectDirFile(name), file());
    EXPECT_TRUE(fs::is_directory(file().parent_path()));
    EXPECT_FALSE(fs::exists(file()));
}

TEST_F(ProjectDirTest, theEnvironmentComesFirstAsItIs)
{
    TestSupport::write(file(), "/remembered");
    const EnvironmentVariable given("CM_PROJECT_DIR", " /no such place ");
    EXPECT_EQ(ProjectDir::loadProjectDir(name), " /no such place ");
}

TEST_F(ProjectDirTest, anEmptyVariableFallsThroughToTheRememberedFolder)
{
    TestSupport::write(file(), "\n  /remem bered \t\r\n\n");
    const EnvironmentVariable given("CM_PROJECT_DIR", "");
    EXPECT_EQ(ProjectDir::loadProjectDir(name), "/remem bered");
}

TEST_F(ProjectDirTest, withoutAnythingThereIsNoFolderAndNothingIsWritten)
{
    EXPECT_EQ(ProjectDir::siblingProjectDir(name), "");
    EXPECT_EQ(ProjectDir::loadProjectDir(name), "");
    EXPECT_FALSE(fs::exists(file()));
}

TEST_F(ProjectDirTest, theFolderBesideTheProgramIsGuessedAndRemembered)
{
    fs::create_directories(sibling());
    EXPECT_EQ(ProjectDir::loadProjectDir(name), sibling().string());
    EXPECT_EQ(TestSupport::read(file()), sibling().string());
}

TEST_F(ProjectDirTest, aPlainFileIsNoProject)
{
    TestSupport::write(sibling(), "");
    EXPECT_EQ(ProjectDir::siblingProjectDir(name), "");
}

TEST_F(ProjectDirTest, whatIsBlankOrUnreadableCountsAsNothing)
{
    fs::create_directories(sibling());
    TestSupport::write(file(), " \n\n");
    EXPECT_EQ(ProjectDir::loadProjectDir(name), sibling().string());
    EXPECT_EQ(TestSupport::read(file()), sibling().string());

    TestSupport::write(file(), "/caf\xE9");
    EXPECT_EQ(ProjectDir::loadProjectDir(name), sibling().string());

    fs::remove(file());
    fs::create_directories(file());
    EXPECT_EQ(ProjectDir::loadProjectDir(name), sibling().string()) << "a folder in its place is no reason to fail";
}

TEST_F(ProjectDirTest, aHomeThatCannotBeWrittenStillGivesTheGuess)
{
    fs::create_directories(sibling());
    TestSupport::write(home() / "Library", "in the way");
    EXPECT_EQ(ProjectDir::loadProjectDir(name), sibling().string());
    EXPECT_EQ(TestSupport::read(home() / "Library"), "in the way");
}

TEST_F(ProjectDirTest, rememberingReplacesTheWholeFile)
{
    TestSupport::write(file(), "/a much longer folder than the next one");
    ProjectDir::remember(name, "/short");
    EXPECT_EQ(TestSupport::read(file()), "/short");
    EXPECT_EQ(std::distance(fs::directory_iterator(file().parent_path()), fs::directory_iterator()), 1);
}

TEST_F(ProjectDirTest, peekingGivesTheSameAndWritesNothing)
{
    EXPECT_EQ(ProjectDir::peekProjectDir(name), "");
    fs::create_directories(sibling());
    EXPECT_EQ(ProjectDir::peekProjectDir(name), sibling().string());
    EXPECT_TRUE(fs::is_empty(home()));
    TestSupport::write(file(), "/remembered\n");
    EXPECT_EQ(ProjectDir::peekProjectDir(name), "/remembered");
    const EnvironmentVariable given("CM_PROJECT_DIR", "/given");
    EXPECT_EQ(ProjectDir::peekProjectDir(name), "/given");
}

} // namespace
