#include "ManagerCore/Foundation/Size.h"

#include <climits>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Tests/Support/Sandbox.h"

namespace Size = ManagerCore::Size;
namespace fs = std::filesystem;
using TestSupport::write;

namespace
{

TEST(SizeHuman, followsTheTable)
{
    const std::pair<std::int64_t, const char*> rows[] = {
        {0, "Zero KB"},
        {1, "0 KB"},
        {100, "0 KB"},
        {499, "0 KB"},
        {500, "1 KB"},
        {512, "1 KB"},
        {999, "1 KB"},
        {1000, "1 KB"},
        {1499, "1 KB"},
        {1500, "2 KB"},
        {4096, "4 KB"},
        {10000, "10 KB"},
        {99999, "100 KB"},
        {999499, "999 KB"},
        {999500, "1 MB"},
        {999999, "1 MB"},
        {1000000, "1 MB"},
        {1049999, "1 MB"},
        {1050000, "1.1 MB"},
        {1234567, "1.2 MB"},
        {9999999, "10 MB"},
        {12345678, "12.3 MB"},
        {99950000, "100 MB"},
        {123456789, "123.5 MB"},
        {999949999, "999.9 MB"},
        {999950000, "1 GB"},
        {999999999, "1 GB"},
        {1000000000, "1 GB"},
        {1004999999, "1 GB"},
        {1005000000, "1.01 GB"},
        {1100000000, "1.1 GB"},
        {1234567890, "1.23 GB"},
        {999999999999, "1,000 GB"},
        {1234567890123, "1,234.57 GB"},
        {-1, "0 KB"},
        {-1234567, "-1.2 MB"},
        {LLONG_MAX, "9,223,372,036.85 GB"},
        {LLONG_MIN, "-9,223,372,036.85 GB"},
    };
    for (const auto& [bytes, text] : rows) {
        EXPECT_EQ(Size::human(bytes), text) << bytes;
    }
}

using SizeOf = TestSupport::SandboxTest;

// A file whose allocation is known: whole blocks of 4096.
void writeBlocks(const fs::path& file, std::size_t blocks) { write(file, std::string(blocks * 4096, 'x')); }

TEST_F(SizeOf, nothingThereIsZero)
{
    TestSupport::makeLink(scratch() / "dangling", "nowhere");
    EXPECT_EQ(Size::of(scratch() / "none"), 0);
    EXPECT_EQ(Size::of(scratch() / "dangling"), 0);
    EXPECT_EQ(Size::of({}), 0);
}

TEST_F(SizeOf, anEmptyFolderIsZeroAndASmallFileAWholeBlock)
{
    fs::create_directory(scratch() / "folder");
    EXPECT_EQ(Size::of(scratch() / "folder"), 0);
    write(scratch() / "small", "x");
    EXPECT_EQ(Size::of(scratch() / "small"), 4096);
    write(scratch() / "empty", "");
    EXPECT_EQ(Size::of(scratch() / "empty"), 0);
}

TEST_F(SizeOf, aTreeIsTheSumOfItsFilesHiddenOnesAndPackagesIncluded)
{
    writeBlocks(scratch() / "tree/a", 1);
    writeBlocks(scratch() / "tree/.hidden/b", 2);
    writeBlocks(scratch() / "tree/Some.app/Contents/c", 3);
    writeBlocks(scratch() / "tree/odd\nname \xFF/d", 4);
    EXPECT_EQ(Size::of(scratch() / "tree"), 10 * 4096);
}

TEST_F(SizeOf, linksInsideAddNothingButTheRootsOwnLinkIsFollowed)
{
    writeBlocks(scratch() / "big/file", 100);
    TestSupport::makeLink(scratch() / "tree/link", scratch() / "big");
    TestSupport::makeLink(scratch() / "tree/loop", ".");
    TestSupport::makeLink(scratch() / "root", "big");
    TestSupport::makeLink(scratch() / "fileLink", "big/file");
    EXPECT_EQ(Size::of(scratch() / "tree"), 0);
    EXPECT_EQ(Size::of(scratch() / "root"), 100 * 4096);
    EXPECT_EQ(Size::of(scratch() / "fileLink"), 0);
}

TEST_F(SizeOf, hardLinksCountEachTime)
{
    writeBlocks(scratch() / "tree/one", 5);
    fs::create_hard_link(scratch() / "tree/one", scratch() / "tree/two");
    EXPECT_EQ(Size::of(scratch() / "tree"), 10 * 4096);
}

TEST_F(SizeOf, holesTakeNoSpaceAndNothingCountsBeyondTheLength)
{
    write(scratch() / "sparse", "");
    fs::resize_file(scratch() / "sparse", 10 << 20);
    EXPECT_EQ(Size::of(scratch() / "sparse"), 0);
    write(scratch() / "reserved", "abc");
    const int file = ::open((scratch() / "reserved").c_str(), O_WRONLY);
    ASSERT_GE(file, 0);
#ifdef FALLOC_FL_KEEP_SIZE
    EXPECT_EQ(::fallocate(file, FALLOC_FL_KEEP_SIZE, 0, 1 << 20), 0);
#endif
    ::close(file);
    EXPECT_EQ(Size::of(scratch() / "reserved"), 4096);
}

TEST_F(SizeOf, fifosSocketsAndDevicesAddNothingAndBlockNothing)
{
    fs::create_directory(scratch() / "tree");
    ASSERT_EQ(::mkfifo((scratch() / "tree/fifo").c_str(), 0600), 0);
    EXPECT_EQ(Size::of(scratch() / "tree"), 0);
    EXPECT_EQ(Size::of(scratch() / "tree/fifo"), 0);
    EXPECT_EQ(Size::of("/dev/null"), 0);
}

TEST_F(SizeOf, agreesWithALargeTreeWhateverTheThreadsDo)
{
    for (int folder = 0; folder < 200; folder++) {
        for (int file = 0; file < 15; file++) {
            writeBlocks(
                scratch() / "tree" / std::to_string(folder % 20) / std::to_string(folder) / std::to_string(file), 1);
        }
    }
    for (int round = 0; round < 20; round++) {
        ASSERT_EQ(Size::of(scratch() / "tree"), 3000 * 4096);
    }
}

TEST_F(SizeOf, aFolderDeeperThanAnyPathMayBeIsMeasuredToItsEnd)
{
    const fs::path root = scratch() / "deep";
    fs::create_directory(root);
    int folder = ::open(root.c_str(), O_RDONLY | O_DIRECTORY);
    const std::string name(200, 'd');
    for (int depth = 0; depth < 60; depth++) { // 12,000 bytes of path
        ASSERT_EQ(::mkdirat(folder, name.c_str(), 0700), 0);
        const int next = ::openat(folder, name.c_str(), O_RDONLY | O_DIRECTORY);
        ASSERT_GE(next, 0);
        ::close(folder);
        folder = next;
    }
    const int file = ::openat(folder, "bottom", O_CREAT | O_WRONLY, 0600);
    ASSERT_EQ(::write(file, "x", 1), 1);
    ::close(file);
    ::close(folder);
    EXPECT_EQ(Size::of(root), 4096);
}

TEST_F(SizeOf, whatMayNotBeReadCountsZero)
{
    writeBlocks(scratch() / "tree/open", 1);
    writeBlocks(scratch() / "tree/closed/file", 1);
    fs::permissions(scratch() / "tree/closed", fs::perms::none);
    EXPECT_EQ(Size::of(scratch() / "tree"), TestSupport::isRoot() ? 2 * 4096 : 4096);
    fs::permissions(scratch() / "tree/closed", fs::perms::owner_all);
}

TEST_F(SizeOf, mountPointsAreCrossed)
{
    const TestSupport::MountedVolume volume(scratch() / "tree/volume", "tmpfs", 8);
    if (!volume.mounted()) {
        GTEST_SKIP() << "mounting a volume takes root";
    }
    writeBlocks(scratch() / "tree/here", 1);
    writeBlocks(volume.path() / "there", 2);
    EXPECT_EQ(Size::of(scratch() / "tree"), 3 * 4096);
}

TEST_F(SizeOf, theFileSystemsOwnBlocksDoNotCount)
{
    for (const char* type : {"ext4", "xfs", "btrfs"}) {
        const TestSupport::MountedVolume volume(scratch() / type, type, 400);
        if (!volume.mounted()) {
            GTEST_SKIP() << "mounting a " << type << " volume takes root and its tools";
        }
        // Grown in small steps with other files between, so that the file is scattered and space is set aside for it.
        const int file = ::open((volume.path() / "grown").c_str(), O_CREAT | O_WRONLY | O_APPEND, 0600);
        const std::string piece(4096, 'x');
        for (int step = 0; step < 2000; step++) {
            ASSERT_EQ(::write(file, piece.data(), piece.size()), 4096);
            if (step % 10 == 0) {
                ::fsync(file);
                write(volume.path() / "others" / std::to_string(step), piece);
            }
        }
        ::fsync(file);
        EXPECT_EQ(Size::of(volume.path() / "grown"), 2000 * 4096) << type;
        ::close(file);
    }
}

} // namespace
