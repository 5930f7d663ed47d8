#include <cstdlib>
#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "ManagerCore/Platform/Platform.h"
#include "ManagerCore/Platform/linux/MountTable.h"
#include "Tests/Support/Sandbox.h"

namespace Platform = ManagerCore::Platform;
namespace MountTable = ManagerCore::Platform::MountTable;
namespace fs = std::filesystem;

namespace
{

using LinuxPlatform = TestSupport::SandboxTest;

TEST_F(LinuxPlatform, temporaryFoldersFollowTheEnvironment)
{
    {
        const TestSupport::EnvironmentVariable caches("XDG_CACHE_HOME", std::nullopt);
        const TestSupport::EnvironmentVariable temporary("TMPDIR", std::nullopt);
        EXPECT_EQ(Platform::temporaryFolders().caches, home() / ".cache");
        EXPECT_EQ(Platform::temporaryFolders().temporary, "/tmp");
        EXPECT_TRUE(Platform::temporaryFolders().shared);
    }
    const TestSupport::EnvironmentVariable caches("XDG_CACHE_HOME", "/c/");
    const TestSupport::EnvironmentVariable temporary("TMPDIR", "/t/");
    EXPECT_EQ(Platform::temporaryFolders().caches.string(), "/c");
    EXPECT_EQ(Platform::temporaryFolders().temporary.string(), "/t");
}

TEST_F(LinuxPlatform, aMountedVolumeIsNamedByTheLastPartOfItsMountPoint)
{
    const TestSupport::MountedVolume volume(scratch() / "My Drive (2)", "ext4", 8);
    if (!volume.mounted()) {
        GTEST_SKIP() << "mounting a volume takes root";
    }
    fs::create_directory(volume.path() / "folder");
    TestSupport::makeLink(scratch() / "link", volume.path() / "folder");
    const auto found = Platform::volumeOf(scratch() / "link");
    ASSERT_TRUE(found.has_value());
    EXPECT_EQ(found->name, "My Drive (2)");
    EXPECT_EQ(found->mountPoint, volume.path());
    EXPECT_FALSE(found->isRoot);
}

TEST_F(LinuxPlatform, withoutASystemToolOursIsRun)
{
    if (fs::exists("/bin/launchctl")) {
        GTEST_SKIP() << "this system has a launchctl of its own";
    }
    EXPECT_EQ(Platform::launchctl(), TestSupport::builtProgram("launchctl"));
    EXPECT_EQ(Platform::ditto().filename(), "ditto");
}

TEST(LinuxMountTable, readsEscapesAndOptionalFields)
{
    const auto mounts = MountTable::parse("22 1 8:1 / / rw,relatime shared:1 - ext4 /dev/sda1 rw\n"
                                          "40 22 8:17 / /media/My\\040Disk\\134x rw - ext4 /dev/sdb1 rw\n"
                                          "41 22 0:30 / /media/none rw master:2 propagate_from:3 - tmpfs tmpfs rw\n"
                                          "malformed line\n"
                                          "42 22 0:31 / /short rw\n");
    ASSERT_EQ(mounts.size(), 3U);
    EXPECT_EQ(mounts[1].mountPoint, "/media/My Disk\\x");
    EXPECT_EQ(mounts[1].source, "/dev/sdb1");
    EXPECT_EQ(mounts[2].source, "tmpfs");
}

TEST(LinuxMountTable, theLongestMountPointHoldsAPath)
{
    const auto mounts = MountTable::parse("1 0 8:1 / / rw - ext4 root rw\n"
                                          "2 1 8:2 / /a rw - ext4 first rw\n"
                                          "3 1 8:3 / /a/b rw - ext4 deep rw\n"
                                          "4 1 8:4 / /a rw - ext4 second rw\n");
    EXPECT_EQ(MountTable::holding(mounts, "/a/b/c")->source, "deep");
    EXPECT_EQ(MountTable::holding(mounts, "/a/bc")->source, "second") << "mounted over the first";
    EXPECT_EQ(MountTable::holding(mounts, "/ab")->source, "root");
    EXPECT_FALSE(MountTable::holding({}, "/a").has_value());
}

TEST_F(LinuxPlatform, labelsAreFoundByTheirDevice)
{
    EXPECT_EQ(MountTable::decodedLabel("My\\x20Disk\\x2f1"), "My Disk/1");
    EXPECT_EQ(MountTable::decodedLabel("tail\\x2"), "tail\\x2");
    EXPECT_EQ(MountTable::decodedLabel("no\\xgg"), "no\\xgg");
    fs::create_directory(scratch() / "by-label");
    TestSupport::makeLink(scratch() / "by-label/Other", "/dev/zero");
    TestSupport::makeLink(scratch() / "by-label/My\\x20Disk", "/dev/null");
    TestSupport::makeLink(scratch() / "by-label/Gone", "/dev/none");
    EXPECT_EQ(MountTable::labelOf("/dev/null", scratch() / "by-label"), "My Disk");
    EXPECT_EQ(MountTable::labelOf("/dev/full", scratch() / "by-label"), "");
    EXPECT_EQ(MountTable::labelOf("tmpfs", scratch() / "by-label"), "");
    EXPECT_EQ(MountTable::labelOf("/dev/null", scratch() / "none"), "");
}

} // namespace
