#include "ManagerCore/Foundation/WholeFile.h"

#include <string>
#include <sys/stat.h>

#include "Tests/Support/Sandbox.h"

namespace
{

using namespace ManagerCore;
using namespace TestSupport;

using WholeFileTest = SandboxTest;

std::size_t entriesIn(const std::filesystem::path& folder)
{
    return static_cast<std::size_t>(
        std::distance(std::filesystem::directory_iterator(folder), std::filesystem::directory_iterator()));
}

TEST_F(WholeFileTest, IsWrittenAndReplaced)
{
    const auto file = home() / "file";
    EXPECT_EQ(WholeFile::write(file, "first", 0640), std::nullopt);
    EXPECT_EQ(read(file), "first");
    struct stat made {};
    ASSERT_EQ(::stat(file.c_str(), &made), 0);
    EXPECT_EQ(made.st_mode & 0777U, 0640U);
    EXPECT_EQ(WholeFile::write(file, std::string(3 << 20, 'x'), 0600), std::nullopt);
    EXPECT_EQ(read(file).size(), 3U << 20);
    EXPECT_EQ(entriesIn(home()), 1U);
}

TEST_F(WholeFileTest, ReplacesALinkAndNotWhatItLeadsTo)
{
    write(scratch() / "outside", "kept");
    makeLink(home() / "file", scratch() / "outside");
    EXPECT_EQ(WholeFile::write(home() / "file", "new", 0600), std::nullopt);
    EXPECT_EQ(read(scratch() / "outside"), "kept");
    EXPECT_EQ(read(home() / "file"), "new");
}

TEST_F(WholeFileTest, TakesOverWhatAKilledWriterLeft)
{
    write(WholeFile::besideName(home() / "file"), "half");
    EXPECT_EQ(WholeFile::write(home() / "file", "whole", 0600), std::nullopt);
    EXPECT_EQ(read(home() / "file"), "whole");
    EXPECT_EQ(entriesIn(home()), 1U);
}

TEST_F(WholeFileTest, LeavesNothingBehindWhenItCannotBeWritten)
{
    std::filesystem::create_directories(home() / "folder/full");
    write(home() / "folder/full/x", "");
    EXPECT_EQ(WholeFile::write(home() / "none/file", "x", 0600), "The file “file” doesn’t exist.");
    const auto refused = WholeFile::write(home() / "folder/full", "x", 0600);
    ASSERT_TRUE(refused);
    EXPECT_TRUE(refused->ends_with(".")) << *refused;
    EXPECT_EQ(entriesIn(home() / "folder"), 1U);
}

TEST_F(WholeFileTest, IsOldOrNewOnAFullVolume)
{
    const MountedVolume volume(scratch() / "volume", "tmpfs", 1);
    if (!volume.mounted()) {
        GTEST_SKIP() << "A volume can only be mounted as root.";
    }
    ASSERT_EQ(WholeFile::write(volume.path() / "file", "old", 0600), std::nullopt);
    EXPECT_EQ(WholeFile::write(volume.path() / "file", std::string(2 << 20, 'x'), 0600),
              "The file “file” couldn’t be saved because the volume is full.");
    EXPECT_EQ(read(volume.path() / "file"), "old");
    EXPECT_EQ(entriesIn(volume.path()), 1U);
}

TEST_F(WholeFileTest, ANewFileReplacesNothing)
{
    const auto taken = [](const std::filesystem::path& file) { return WholeFile::writeNew(file, "new", 0666); };
    EXPECT_EQ(WholeFile::writeNew(home() / "file", "first", 0640), std::nullopt);
    struct stat made {};
    ASSERT_EQ(::stat((home() / "file").c_str(), &made), 0);
    EXPECT_EQ(made.st_mode & 0777U, 0640U);
    EXPECT_EQ(
        taken(home() / "file"),
        "The file “file” couldn’t be saved in the folder “home” because a file with the same name already exists.");
    EXPECT_EQ(read(home() / "file"), "first");

    makeLink(home() / "dangling", scratch() / "none");
    EXPECT_TRUE(taken(home() / "dangling"));
    EXPECT_FALSE(std::filesystem::exists(scratch() / "none"));
    EXPECT_TRUE(std::filesystem::is_symlink(home() / "dangling"));
    EXPECT_EQ(taken(home() / "none/file"), "The file “file” doesn’t exist.");
}

TEST_F(WholeFileTest, ANewFileThatDoesNotFitIsNotLeftBehind)
{
    const MountedVolume volume(scratch() / "volume", "tmpfs", 1);
    if (!volume.mounted()) {
        GTEST_SKIP() << "A volume can only be mounted as root.";
    }
    EXPECT_EQ(WholeFile::writeNew(volume.path() / "file", std::string(2 << 20, 'x'), 0600),
              "The file “file” couldn’t be saved because the volume is full.");
    EXPECT_EQ(entriesIn(volume.path()), 0U);
}

TEST_F(WholeFileTest, MakesFolders)
{
    EXPECT_EQ(WholeFile::makeFolders(home() / "a/b/c", 0700), std::nullopt);
    EXPECT_TRUE(std::filesystem::is_directory(home() / "a/b/c"));
    EXPECT_EQ(WholeFile::makeFolders(home() / "a/b/c", 0700), std::nullopt);
    write(home() / "file", "");
    EXPECT_TRUE(WholeFile::makeFolders(home() / "file/below", 0700));
    EXPECT_TRUE(WholeFile::makeFolders(home() / "file", 0700));
}

} // namespace
