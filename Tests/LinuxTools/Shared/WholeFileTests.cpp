#include "LinuxTools/Shared/WholeFile.h"

#include <array>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "LinuxTools/Shared/FileLock.h"
#include "Tests/Support/Sandbox.h"

namespace
{

using namespace LinuxTools;
using namespace TestSupport;

using WholeFile = SandboxTest;

std::size_t entriesIn(const std::filesystem::path& folder)
{
    return static_cast<std::size_t>(
        std::distance(std::filesystem::directory_iterator(folder), std::filesystem::directory_iterator()));
}

TEST_F(WholeFile, IsWrittenAndReplaced)
{
    const auto file = home() / "file";
    EXPECT_EQ(writeWhole(file, "first", 0640), std::nullopt);
    EXPECT_EQ(read(file), "first");
    struct stat made {};
    ASSERT_EQ(::stat(file.c_str(), &made), 0);
    EXPECT_EQ(made.st_mode & 0777U, 0640U);
    EXPECT_EQ(writeWhole(file, std::string(3 << 20, 'x'), 0600), std::nullopt);
    EXPECT_EQ(read(file).size(), 3U << 20);
    EXPECT_EQ(entriesIn(home()), 1U);
}

TEST_F(WholeFile, ReplacesALinkAndNotWhatItLeadsTo)
{
    write(scratch() / "outside", "kept");
    makeLink(home() / "file", scratch() / "outside");
    EXPECT_EQ(writeWhole(home() / "file", "new", 0600), std::nullopt);
    EXPECT_EQ(read(scratch() / "outside"), "kept");
    EXPECT_EQ(read(home() / "file"), "new");
}

TEST_F(WholeFile, TakesOverWhatAKilledWriterLeft)
{
    write(besideName(home() / "file"), "half");
    EXPECT_EQ(writeWhole(home() / "file", "whole", 0600), std::nullopt);
    EXPECT_EQ(read(home() / "file"), "whole");
    EXPECT_EQ(entriesIn(home()), 1U);
}

TEST_F(WholeFile, LeavesNothingBehindWhenItCannotBeWritten)
{
    std::filesystem::create_directories(home() / "folder/full");
    write(home() / "folder/full/x", "");
    EXPECT_EQ(writeWhole(home() / "none/file", "x", 0600), "The file “file” doesn’t exist.");
    const auto refused = writeWhole(home() / "folder/full", "x", 0600);
    ASSERT_TRUE(refused);
    EXPECT_TRUE(refused->ends_with(".")) << *refused;
    EXPECT_EQ(entriesIn(home() / "folder"), 1U);
}

TEST_F(WholeFile, IsOldOrNewOnAFullVolume)
{
    const MountedVolume volume(scratch() / "volume", "tmpfs", 1);
    if (!volume.mounted()) {
        GTEST_SKIP() << "A volume can only be mounted as root.";
    }
    ASSERT_EQ(writeWhole(volume.path() / "file", "old", 0600), std::nullopt);
    EXPECT_EQ(writeWhole(volume.path() / "file", std::string(2 << 20, 'x'), 0600),
              "The file “file” couldn’t be saved because the volume is full.");
    EXPECT_EQ(read(volume.path() / "file"), "old");
    EXPECT_EQ(entriesIn(volume.path()), 1U);
}

TEST_F(WholeFile, MakesFolders)
{
    EXPECT_EQ(makeFolders(home() / "a/b/c", 0700), std::nullopt);
    EXPECT_TRUE(std::filesystem::is_directory(home() / "a/b/c"));
    EXPECT_EQ(makeFolders(home() / "a/b/c", 0700), std::nullopt);
    write(home() / "file", "");
    EXPECT_TRUE(makeFolders(home() / "file/below", 0700));
    EXPECT_TRUE(makeFolders(home() / "file", 0700));
}

TEST_F(WholeFile, IsLockedByOneAtATime)
{
    const auto file = home() / "lock";
    std::array<int, 2> ends {-1, -1};
    ASSERT_EQ(::pipe(ends.data()), 0);
    const pid_t child = ::fork();
    if (child == 0) {
        const FileLock lock(file);
        [[maybe_unused]] ssize_t told = ::write(ends[1], "1", 1);
        ::usleep(200000);
        told = ::write(ends[1], "2", 1);
        ::_exit(0); // gives it back
    }
    std::array<char, 3> bytes {};
    ASSERT_EQ(::read(ends[0], bytes.data(), 1), 1);
    const FileLock lock(file);
    EXPECT_TRUE(lock.isHeld());
    ASSERT_EQ(::write(ends[1], "3", 1), 1);
    ASSERT_EQ(::read(ends[0], &bytes[1], 1), 1);
    ASSERT_EQ(::read(ends[0], &bytes[2], 1), 1);
    EXPECT_EQ(std::string(bytes.data(), 3), "123");
    ::waitpid(child, nullptr, 0);
    ::close(ends[0]);
    ::close(ends[1]);
}

TEST_F(WholeFile, IsNotLockedWhereTheLockCannotBeMade) { EXPECT_FALSE(FileLock(home() / "none/lock").isHeld()); }

} // namespace
