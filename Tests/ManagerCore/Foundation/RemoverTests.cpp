#include "ManagerCore/Foundation/Remover.h"

#include <barrier>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

#include <gmock/gmock.h>

#include "Tests/Support/Sandbox.h"

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
}

TEST_F(RemoverTest, aPathThatEndsInDotsIsRefused)
{
    write(scratch() / "folder/inside/file", "bytes");
    for (const char* dots : {"folder/inside/..", "folder/.", "folder/..", "folder/inside/../"}) {
        const fs::path path = scratch() / dots;
        const std::string name = dots == std::string("folder/.") ? "." : "..";
        EXPECT_EQ(Remover::trash({path}).front(),
                  kept(path,
                       "“" + name
                           + "” couldn’t be moved to the trash because the path must end in the folder’s own "
                             "name."));
        EXPECT_EQ(Remover::check(path), Remover::trash({path}).front().error);
    }
    EXPECT_EQ(read(scratch() / "folder/inside/file"), "bytes");
}

TEST_F(RemoverTest, aSlashBehindTheNameChangesNothing)
{
    write(scratch() / "target/file", "bytes");
    makeLink(scratch() / "link", scratch() / "target");
    EXPECT_TRUE(Remover::trash({scratch() / "link/"}).front().trashed);
    EXPECT_EQ(fs::read_symlink(trash() / "link"), scratch() / "target");
    EXPECT_EQ(read(scratch() / "target/file"), "bytes");
    EXPECT_EQ(Remover::trash({scratch() / "link/"}).front(),
              kept(scratch() / "link/", "The file “link” doesn’t exist."));
    EXPECT_TRUE(Remover::trash({scratch() / "target//"}).front().trashed);
    EXPECT_EQ(read(trash() / "target/file"), "bytes");
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
    const Remover::Result result = Remover::trash({scratch() / "fixed"}).front();
    ASSERT_EQ(std::system(("chattr -i '" + (scratch() / "fixed").string() + "'").c_str()), 0);
    EXPECT_EQ(result,
              kept(scratch() / "fixed",
                   "“fixed” couldn’t be moved to the trash because you don’t have permission to access it."));
    EXPECT_EQ(read(scratch() / "fixed"), "bytes");
    EXPECT_TRUE(!fs::exists(trash() / "../info/fixed.trashinfo")) << "nothing is left of the attempt";
}

class TrashTest : public RemoverTest
{
protected:
    [[nodiscard]] std::string note(const std::string& name) const
    {
        return read(trash().parent_path() / "info" / (name + ".trashinfo"));
    }
    static std::string ownTrash() { return ".Trash-" + std::to_string(::getuid()); }
};

TEST_F(TrashTest, aNoteSaysWhereTheItemCameFrom)
{
    write(scratch() / "a folder/100%", "bytes");
    makeLink(scratch() / "link", scratch() / "a folder");
    EXPECT_TRUE(Remover::trash({scratch() / "link/100%"}).front().trashed);
    EXPECT_THAT(note("100%"),
                testing::MatchesRegex("\\[Trash Info\\]\nPath=" + scratch().string()
                                      + "/a%20folder/100%25\nDeletionDate=....-..-..T..:..:..\n"));
}

TEST_F(TrashTest, anItemOfTheTrashWithoutANoteIsNeverReplaced)
{
    write(trash() / "file", "an orphan");
    write(trash() / "folder/inside", "an orphan’s");
    fs::create_directories(trash() / "empty");
    for (const char* name : {"file", "folder", "empty"}) {
        write(scratch() / name, "new");
        EXPECT_TRUE(Remover::trash({scratch() / name}).front().trashed);
        EXPECT_EQ(read(trash() / (std::string(name) + ".2")), "new");
        EXPECT_EQ(note(name), "") << "the orphan’s origin is unknown";
        EXPECT_THAT(note(std::string(name) + ".2"), testing::HasSubstr(name));
    }
    EXPECT_EQ(read(trash() / "file"), "an orphan");
    EXPECT_EQ(read(trash() / "folder/inside"), "an orphan’s");
    EXPECT_TRUE(fs::is_directory(trash() / "empty"));
}

TEST_F(TrashTest, aFolderThatHoldsTheTrashStays)
{
    write(home() / ".local/file", "bytes");
    EXPECT_EQ(Remover::trash({home() / ".local"}).front(),
              kept(home() / ".local", "“.local” couldn’t be moved to the trash because the trash lies in it."));
    EXPECT_EQ(read(home() / ".local/file"), "bytes");
    EXPECT_TRUE(fs::is_empty(trash()));
    EXPECT_TRUE(fs::is_empty(trash().parent_path() / "info"));
}

TEST_F(TrashTest, theRootOfTheFileSystemStays)
{
    EXPECT_EQ(Remover::trash({"/"}).front(),
              kept("/", "“/” couldn’t be moved to the trash because it is where a volume is mounted."));
}

TEST_F(TrashTest, aTrashWhoseFolderCannotBeMadeIsNamed)
{
    write(scratch() / "file", "bytes");
    write(home() / ".local", "a file in the way");
    EXPECT_EQ(Remover::trash({scratch() / "file"}).front(),
              kept(scratch() / "file",
                   "“file” couldn’t be moved to the trash because the folder “" + trash().parent_path().string()
                       + "” couldn’t be made or opened (Not a directory)."));
    EXPECT_EQ(read(scratch() / "file"), "bytes");
    fs::remove_all(home());
    EXPECT_THAT(Remover::trash({scratch() / "file"}).front().error.value_or(""),
                testing::EndsWith("couldn’t be made or opened (No such file or directory)."));
    EXPECT_FALSE(fs::exists(home())) << "may only be away for now";
    EXPECT_EQ(read(scratch() / "file"), "bytes");
}

// Each thread moves its own item to the Trash, all at once.
std::vector<Remover::Result> trashTogether(const std::vector<fs::path>& items)
{
    std::vector<Remover::Result> results(items.size());
    std::barrier start(static_cast<std::ptrdiff_t>(items.size()));
    std::vector<std::jthread> threads;
    for (std::size_t index = 0; index < items.size(); index++) {
        threads.emplace_back([&, index] {
            start.arrive_and_wait();
            results[index] = Remover::trash({items[index]}).front();
        });
    }
    threads.clear();
    return results;
}

TEST_F(TrashTest, manyAtOnceOnADriveWithoutATrashAreAllMoved)
{
    const TestSupport::MountedVolume volume(scratch() / "drive", "ext4", 16);
    if (!volume.mounted()) {
        GTEST_SKIP() << "mounting a volume takes root";
    }
    for (int round = 0; round < 20; round++) {
        std::vector<fs::path> items;
        for (int number = 0; number < 8; number++) {
            items.push_back(volume.path() / std::to_string(number) / "same");
            write(items.back(), std::to_string(number));
        }
        for (const Remover::Result& result : trashTogether(items)) {
            ASSERT_EQ(result.error, std::nullopt) << "round " << round;
        }
        std::multiset<std::string> contents;
        for (const auto& entry : fs::directory_iterator(volume.path() / ownTrash() / "files")) {
            contents.insert(read(entry.path()));
        }
        ASSERT_THAT(contents, testing::ElementsAre("0", "1", "2", "3", "4", "5", "6", "7"));
        fs::remove_all(volume.path() / ownTrash());
    }
}

TEST_F(TrashTest, aVolumesSharedTrashIsUsedWhenItIsSafe)
{
    const TestSupport::MountedVolume volume(scratch() / "drive", "ext4", 16);
    if (!volume.mounted()) {
        GTEST_SKIP() << "mounting a volume takes root";
    }
    const fs::path shared = volume.path() / ".Trash";
    fs::create_directories(shared);
    write(volume.path() / "first", "1");
    EXPECT_TRUE(Remover::trash({volume.path() / "first"}).front().trashed);
    EXPECT_TRUE(fs::is_empty(shared)) << "not sticky: others could exchange the folders in it";
    EXPECT_EQ(read(volume.path() / ownTrash() / "files/first"), "1");

    fs::permissions(shared, fs::perms::all | fs::perms::sticky_bit);
    write(volume.path() / "second", "2");
    EXPECT_TRUE(Remover::trash({volume.path() / "second"}).front().trashed);
    EXPECT_EQ(read(shared / std::to_string(::getuid()) / "files/second"), "2");
    EXPECT_THAT(read(shared / std::to_string(::getuid()) / "info/second.trashinfo"),
                testing::HasSubstr("\nPath=second\n"))
        << "relative to the volume, which may be mounted elsewhere next time";
}

TEST_F(TrashTest, aVolumesTrashThatIsALinkOrAnothersIsNotUsed)
{
    const TestSupport::MountedVolume volume(scratch() / "drive", "ext4", 16);
    if (!volume.mounted()) {
        GTEST_SKIP() << "mounting a volume takes root";
    }
    const fs::path file = volume.path() / "file";
    const Remover::Result refused
        = kept(file, "“file” couldn’t be moved to the trash because the volume “drive” doesn’t have one.");
    write(file, "bytes");
    fs::create_directories(volume.path() / "elsewhere");
    makeLink(volume.path() / ownTrash(), volume.path() / "elsewhere");
    EXPECT_EQ(Remover::trash({file}).front(), refused);
    fs::remove(volume.path() / ownTrash());
    fs::create_directories(volume.path() / ownTrash());
    ASSERT_EQ(::chown((volume.path() / ownTrash()).c_str(), ::getuid() + 1, ::getgid()), 0);
    EXPECT_EQ(Remover::trash({file}).front(), refused);
    EXPECT_EQ(read(file), "bytes");
    EXPECT_TRUE(fs::is_empty(volume.path() / "elsewhere"));
}

TEST_F(TrashTest, aMountPointStays)
{
    const TestSupport::MountedVolume volume(scratch() / "drive", "ext4", 16);
    if (!volume.mounted()) {
        GTEST_SKIP() << "mounting a volume takes root";
    }
    write(volume.path() / "file", "bytes");
    EXPECT_EQ(Remover::trash({volume.path()}).front(),
              kept(volume.path(), "“drive” couldn’t be moved to the trash because it is where a volume is mounted."));
    EXPECT_EQ(read(volume.path() / "file"), "bytes");
    EXPECT_TRUE(fs::is_empty(trash().parent_path() / "info"));
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
