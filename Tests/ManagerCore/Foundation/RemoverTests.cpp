#include "ManagerCore/Foundation/Remover.h"

#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "Tests/Support/Sandbox.h"

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
#endif

namespace Remover = ManagerCore::Remover;
namespace fs = std::filesystem;
using TestSupport::makeLink;
using TestSupport::read;
using TestSupport::write;

namespace
{

class RemoverTest : public TestSupport::SandboxTest
{
};

Remover::Result trashed(const fs::path& path)
{
    return {.path = path.string(), .trashed = true, .error = std::nullopt};
}

Remover::Result kept(const fs::path& path, const std::string& error)
{
    return {.path = path.string(), .trashed = false, .error = error};
}

ino_t inodeOf(const fs::path& path)
{
    struct stat facts {};
    EXPECT_EQ(::lstat(path.c_str(), &facts), 0) << path;
    return facts.st_ino;
}

TEST_F(RemoverTest, movesFilesAndFoldersWhole)
{
    write(scratch() / "file", "bytes");
    write(scratch() / "folder/deep/inside", "more");
    const ino_t inode = inodeOf(scratch() / "folder");
    EXPECT_THAT(Remover::trash({scratch() / "file", scratch() / "folder"}),
                testing::ElementsAre(trashed(scratch() / "file"), trashed(scratch() / "folder")));
    EXPECT_FALSE(fs::exists(scratch() / "file"));
    EXPECT_EQ(read(trash() / "file"), "bytes");
    EXPECT_EQ(read(trash() / "folder/deep/inside"), "more");
    EXPECT_EQ(inodeOf(trash() / "folder"), inode);
}

TEST_F(RemoverTest, movesALinkAndNeverItsTarget)
{
    write(scratch() / "target/file", "bytes");
    makeLink(scratch() / "link", scratch() / "target");
    makeLink(scratch() / "dangling", "nowhere");
    const ino_t inode = inodeOf(scratch() / "target/file");
    EXPECT_THAT(Remover::trash({scratch() / "link", scratch() / "dangling"}),
                testing::ElementsAre(trashed(scratch() / "link"), trashed(scratch() / "dangling")));
    EXPECT_FALSE(fs::is_symlink(scratch() / "link"));
    EXPECT_EQ(fs::read_symlink(trash() / "link"), scratch() / "target");
    EXPECT_EQ(fs::read_symlink(trash() / "dangling"), "nowhere");
    EXPECT_EQ(inodeOf(scratch() / "target/file"), inode);
    EXPECT_EQ(read(scratch() / "target/file"), "bytes");
}

TEST_F(RemoverTest, aMissingItemFailsAndTheOthersAreMoved)
{
    write(scratch() / "there", "x");
    EXPECT_THAT(
        Remover::trash({scratch() / "gone", scratch() / "there"}),
        testing::ElementsAre(kept(scratch() / "gone", "The file “gone” doesn’t exist."), trashed(scratch() / "there")));
    EXPECT_THAT(Remover::trash({}), testing::IsEmpty());
    EXPECT_THAT(Remover::trash({fs::path()}), testing::ElementsAre(kept("", "The file “” doesn’t exist.")));
}

TEST_F(RemoverTest, oddNamesAreMovedAsTheyAre)
{
    for (const char* name : {"line\nbreak", "quote\"'", "percent%41", "caf\xE9", " ", "-rf"}) {
        write(scratch() / name, name);
        EXPECT_THAT(Remover::trash({scratch() / name}), testing::ElementsAre(trashed(scratch() / name)));
        EXPECT_EQ(read(trash() / name), name);
    }
}

TEST_F(RemoverTest, twoItemsOfOneNameAreBothKeptInTheTrash)
{
    write(scratch() / "a/same", "first");
    write(scratch() / "b/same", "second");
    EXPECT_TRUE(Remover::trash({scratch() / "a/same"}).front().trashed);
    EXPECT_TRUE(Remover::trash({scratch() / "b/same"}).front().trashed);
    std::multiset<std::string> contents;
    for (const auto& entry : fs::directory_iterator(trash())) {
        contents.insert(read(entry.path()));
    }
    EXPECT_THAT(contents, testing::UnorderedElementsAre("first", "second"));
}

TEST_F(RemoverTest, dotsBehindALinkNameTheItemThatTheSystemSees)
{
    write(scratch() / "far/item", "the one");
    write(scratch() / "item", "another");
    fs::create_directories(scratch() / "far/folder");
    makeLink(scratch() / "link", scratch() / "far/folder");
    const fs::path through = scratch() / "link/../item"; // far/item
    EXPECT_TRUE(Remover::trash({through}).front().trashed);
    EXPECT_FALSE(fs::exists(scratch() / "far/item"));
    EXPECT_EQ(read(scratch() / "item"), "another");
    EXPECT_THAT(Remover::trash({scratch() / "missing/../item"}).front().error,
                testing::Optional(std::string("The file “item” doesn’t exist.")));
    EXPECT_EQ(read(scratch() / "item"), "another");
    EXPECT_TRUE(Remover::trash({scratch() / "far/folder/.."}).front().trashed);
    EXPECT_FALSE(fs::exists(scratch() / "far"));
    EXPECT_EQ(read(scratch() / "item"), "another");
}

TEST_F(RemoverTest, aReadOnlyFolderIsMovedAndWhatLiesInOneIsNot)
{
    write(scratch() / "closed/inside", "x");
    fs::permissions(scratch() / "closed", fs::perms::owner_read | fs::perms::owner_exec);
    const Remover::Result inside = Remover::trash({scratch() / "closed/inside"}).front();
    if (!TestSupport::isRoot()) {
        EXPECT_EQ(inside,
                  kept(scratch() / "closed/inside",
                       "“inside” couldn’t be moved to the trash because you don’t have permission to access it."));
    }
    EXPECT_TRUE(Remover::trash({scratch() / "closed"}).front().trashed);
    EXPECT_FALSE(fs::exists(scratch() / "closed"));
    fs::permissions(trash() / "closed", fs::perms::owner_all);
}

#ifndef __APPLE__
TEST_F(RemoverTest, whatMayNotBeMovedStays)
{
    write(scratch() / "fixed", "bytes");
    if (!TestSupport::isRoot()
        || std::system(("chattr +i '" + (scratch() / "fixed").string() + "' 2>&1").c_str()) != 0) {
        GTEST_SKIP() << "making a file immutable takes root and a file system that knows it";
    }
#ifdef __SANITIZE_ADDRESS__
    const __lsan::ScopedDisabler leaks; // GIO's own, two texts of the attempt
#endif
    const Remover::Result result = Remover::trash({scratch() / "fixed"}).front();
    ASSERT_EQ(std::system(("chattr -i '" + (scratch() / "fixed").string() + "'").c_str()), 0);
    EXPECT_EQ(result,
              kept(scratch() / "fixed",
                   "“fixed” couldn’t be moved to the trash because you don’t have permission to access it."));
    EXPECT_EQ(read(scratch() / "fixed"), "bytes");
    EXPECT_TRUE(!fs::exists(trash() / "../info/fixed.trashinfo")) << "nothing is left of the attempt";
}

TEST_F(RemoverTest, anotherVolumesItemsGoToItsOwnTrash)
{
    const TestSupport::MountedVolume volume(scratch() / "drive", "ext4", 16);
    if (!volume.mounted()) {
        GTEST_SKIP() << "mounting a volume takes root";
    }
    write(volume.path() / "weights/file", "bytes");
    EXPECT_THAT(Remover::trash({volume.path() / "weights"}), testing::ElementsAre(trashed(volume.path() / "weights")));
    EXPECT_EQ(read(volume.path() / (".Trash-" + std::to_string(::getuid())) / "files/weights/file"), "bytes");
}

TEST_F(RemoverTest, aVolumeWithoutATrashKeepsItsItems)
{
    const TestSupport::MountedVolume volume(scratch() / "memory", "tmpfs", 4);
    if (!volume.mounted()) {
        GTEST_SKIP() << "mounting a volume takes root";
    }
    write(volume.path() / "file", "bytes");
    EXPECT_THAT(Remover::trash({volume.path() / "file"}),
                testing::ElementsAre(
                    kept(volume.path() / "file",
                         "“file” couldn’t be moved to the trash because the volume “memory” doesn’t have one.")));
    EXPECT_EQ(read(volume.path() / "file"), "bytes");
}

TEST_F(RemoverTest, aReadOnlyVolumeKeepsItsItems)
{
    const TestSupport::MountedVolume volume(scratch() / "drive", "ext4", 16);
    if (!volume.mounted()) {
        GTEST_SKIP() << "mounting a volume takes root";
    }
    write(volume.path() / "file", "bytes");
    ASSERT_EQ(std::system(("mount -o remount,ro '" + volume.path().string() + "'").c_str()), 0);
    const Remover::Result result = Remover::trash({volume.path() / "file"}).front();
    EXPECT_FALSE(result.trashed);
    EXPECT_THAT(result.error.value_or(""), testing::StartsWith("“file” couldn’t be moved to the trash because"));
    EXPECT_EQ(read(volume.path() / "file"), "bytes");
}
#endif

} // namespace
