// Moves between real drives: other file systems, full, read-only, pulled out.

#include <array>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "ManagerCore/Crucible/CrucibleMove.h"
#include "ManagerCore/Crucible/TreeMeasure.h"
#include "ManagerCore/Foundation/Size.h"
#include "Tests/ManagerCore/Crucible/CrucibleTest.h"
#include "Tests/ManagerCore/Crucible/SampleTree.h"

namespace CrucibleMove = ManagerCore::CrucibleMove;
namespace Size = ManagerCore::Size;
namespace TreeMeasure = ManagerCore::TreeMeasure;
using ManagerCore::TreeCopier;
using Outcome = ManagerCore::CrucibleAdmin::Outcome;
using testing::HasSubstr;
using testing::StartsWith;
using TestSupport::MountedVolume;

namespace
{

class DriveTest : public CrucibleTest
{
protected:
    [[nodiscard]] fs::path node() const { return home() / "from/models/a"; }

    // A drive of its own, at least as large as its file system wants to be.
    static std::unique_ptr<MountedVolume> drive(const fs::path& place, const std::string& type, std::size_t megabytes)
    {
        return std::make_unique<MountedVolume>(place, type, megabytes);
    }

    [[nodiscard]] Outcome moveTo(const fs::path& root, TreeCopier::Watcher* watcher = nullptr) const
    {
        return CrucibleMove::relocate(node(), home() / "from", root, watcher);
    }

    static int shell(const std::string& command)
    {
        return std::system(("{ " + command + "; } >/dev/null 2>&1").c_str());
    }

    // No file system of ours may be left when a test is done.
    static void unmount(const fs::path& place) { shell("umount -l '" + place.string() + "'"); }
};

#define MOUNT_OR_SKIP(NAME, PLACE, TYPE, MEGABYTES)                                                                    \
    const auto NAME = drive(PLACE, TYPE, MEGABYTES);                                                                   \
    if (!NAME->mounted()) {                                                                                            \
        GTEST_SKIP() << "mounting a volume takes root and mkfs." << (TYPE);                                            \
    }

class EachFileSystem : public DriveTest, public ::testing::WithParamInterface<const char*>
{
};

TEST_P(EachFileSystem, ADriveTakesAFolderAndGivesItBack)
{
    MOUNT_OR_SKIP(volume, scratch() / "Vault", GetParam(), 400);
    SampleTree::make(node());
    const auto before = SampleTree::contents(node());
    const fs::path root = volume->path() / "store";
    const Outcome there = moveTo(root);
    EXPECT_TRUE(there.ok) << there.message;
    EXPECT_EQ(SampleTree::contents(root / "models/a"), before);
    EXPECT_EQ(fs::read_symlink(node()), root / "models/a");
    const Outcome back = CrucibleMove::relocate(root / "models/a", root, home() / "from");
    if (std::string(GetParam()) == "tmpfs") {
        EXPECT_EQ(back.message,
                  "Copy is good but the original could not be trashed: “a” couldn’t be moved to the trash because the "
                  "volume “Vault” doesn’t have one.");
        EXPECT_EQ(SampleTree::contents(root / "models/a"), before);
    } else {
        EXPECT_TRUE(back.ok) << back.message;
        EXPECT_EQ(fs::read_symlink(root / "models/a"), node());
    }
    EXPECT_EQ(SampleTree::contents(node()), before);
}

TEST_P(EachFileSystem, AFullDriveRefusesBeforeTheFirstByte)
{
    MOUNT_OR_SKIP(volume, scratch() / "Vault", GetParam(), 320);
    fs::create_directories(volume->path() / "store");
    ASSERT_EQ(shell("head -c 250M /dev/zero >'" + (volume->path() / "filler").string() + "'; sync"), 0);
    SampleTree::make(node(), 100 << 20);
    const auto before = SampleTree::contents(node());
    EXPECT_EQ(
        moveTo(volume->path() / "store"),
        (Outcome {false,
                  "Copy failed (original untouched): The file “a” couldn’t be saved because the volume is full."}));
    EXPECT_EQ(SampleTree::contents(node()), before);
    EXPECT_TRUE(fs::is_empty(volume->path() / "store"));
}

TEST_P(EachFileSystem, ADriveThatFillsMeanwhileLeavesTheOriginal)
{
    MOUNT_OR_SKIP(volume, scratch() / "Vault", GetParam(), 320);
    SampleTree::make(node(), 60 << 20);
    const auto before = SampleTree::contents(node());
    bool filled = false;
    TreeCopier::Watcher watcher([&](const TreeCopier::Progress& progress) {
        if (!filled && progress.bytesDone > 0) {
            filled = true;
            shell("dd if=/dev/zero of='" + (volume->path() / "filler").string() + "' bs=1M; sync");
        }
    });
    const Outcome outcome = moveTo(volume->path() / "store", &watcher);
    EXPECT_TRUE(filled);
    EXPECT_FALSE(outcome.ok);
    EXPECT_THAT(outcome.message, StartsWith("Copy failed (original untouched): The file “"));
    EXPECT_THAT(outcome.message, HasSubstr("because the volume is full."));
    EXPECT_EQ(SampleTree::contents(node()), before);
}

TEST_P(EachFileSystem, AReadOnlyDriveRefuses)
{
    MOUNT_OR_SKIP(volume, scratch() / "Vault", GetParam(), 320);
    write(node() / "file", "weights");
    ASSERT_EQ(shell("mount -o remount,ro '" + volume->path().string() + "'"), 0);
    EXPECT_EQ(moveTo(volume->path() / "store"),
              (Outcome {false,
                        "Copy failed (original untouched): You can’t save the file “store” because the volume is read "
                        "only."}));
    EXPECT_EQ(read(node() / "file"), "weights");
}

TEST_P(EachFileSystem, ADriveUnmountedMeanwhileLeavesTheOriginal)
{
    MOUNT_OR_SKIP(volume, scratch() / "Vault", GetParam(), 320);
    SampleTree::make(node(), 20 << 20);
    const auto before = SampleTree::contents(node());
    bool gone = false;
    TreeCopier::Watcher watcher([&](const TreeCopier::Progress& progress) {
        if (!gone && progress.bytesDone > 0) {
            gone = true;
            unmount(volume->path());
        }
    });
    const Outcome outcome = moveTo(volume->path() / "store", &watcher);
    EXPECT_TRUE(gone);
    EXPECT_FALSE(outcome.ok) << outcome.message;
    EXPECT_EQ(SampleTree::contents(node()), before);
    EXPECT_THAT(trashed(), testing::IsEmpty());
    EXPECT_TRUE(fs::is_empty(volume->path())) << "nothing was written below the mount point";
}

// ---- access lists ----

// Read and write for one user beside the owner, in the form that the system stores.
std::string accessList(std::uint32_t user)
{
    struct Item {
        std::uint16_t tag;
        std::uint16_t permissions;
        std::uint32_t id;
    };
    constexpr std::uint32_t nobody = ~0U;
    const std::uint32_t version = 2;
    const std::array items {Item {0x01, 6, nobody},
                            Item {0x02, 6, user},
                            Item {0x04, 4, nobody},
                            Item {0x10, 6, nobody},
                            Item {0x20, 4, nobody}};
    std::string bytes(sizeof version + sizeof items, '\0');
    std::memcpy(bytes.data(), &version, sizeof version);
    std::memcpy(bytes.data() + sizeof version, items.data(), sizeof items);
    return bytes;
}

int setAttribute(const fs::path& path, const char* name, const std::string& value)
{
    return ::lsetxattr(path.c_str(), name, value.data(), value.size(), 0);
}

std::string attribute(const fs::path& path, const char* name)
{
    std::string value(1000, '\0');
    const ssize_t size = ::lgetxattr(path.c_str(), name, value.data(), value.size());
    return size < 0 ? "none" : value.substr(0, static_cast<std::size_t>(size));
}

constexpr const char* ownList = "system.posix_acl_access";
constexpr const char* defaultList = "system.posix_acl_default";

TEST_P(EachFileSystem, ACopyHasTheAccessListsOfItsSourceAndNoOthers)
{
    MOUNT_OR_SKIP(volume, scratch() / "Vault", GetParam(), 320);
    const fs::path source = volume->path() / "source";
    write(source / "listed/file", "x");
    write(source / "plain/file", "x");
    ASSERT_EQ(::mkfifo((source / "plain/pipe").c_str(), 0600), 0);
    makeLink(source / "plain/link", "file");
    ASSERT_EQ(setAttribute(source / "listed", ownList, accessList(1234)), 0);
    ASSERT_EQ(setAttribute(source / "listed", defaultList, accessList(1234)), 0);
    ASSERT_EQ(setAttribute(source / "listed/file", ownList, accessList(1234)), 0);
    const fs::path place = volume->path() / "place";
    fs::create_directories(place);
    ASSERT_EQ(setAttribute(place, defaultList, accessList(4321)), 0);
    auto copier = TreeCopier::prepare(source, place / "copy");
    ASSERT_TRUE(copier);
    EXPECT_EQ(copier->copy(), std::nullopt);
    EXPECT_EQ(SampleTree::contents(place / "copy"), SampleTree::contents(source));
    for (const char* item : {"", "listed", "listed/file", "plain", "plain/file", "plain/pipe", "plain/link"}) {
        for (const char* list : {ownList, defaultList}) {
            EXPECT_EQ(attribute(place / "copy" / item, list), attribute(source / item, list)) << item << " " << list;
        }
    }
    EXPECT_EQ(attribute(place / "copy/listed/file", ownList), accessList(1234));
}

// ---- attributes ----

TEST_F(DriveTest, AnAttributeThatIsTooLargeForTheDriveIsNamed)
{
    MOUNT_OR_SKIP(large, scratch() / "Large", "xfs", 320);
    MOUNT_OR_SKIP(small, scratch() / "Small", "ext4", 64);
    const fs::path root = large->path();
    write(root / "file", "x");
    fs::create_directories(root / "folder");
    for (const char* name : {"file", "folder"}) {
        ASSERT_EQ(setAttribute(root / name, "user.large", std::string(60000, 'v')), 0);
        EXPECT_EQ(CrucibleMove::relocate(root / name, root, small->path()),
                  (Outcome {false,
                            "Copy failed (original untouched): The attribute “user.large” of the file “"
                                + std::string(name) + "” couldn’t be copied because it is too large for the volume."}));
        EXPECT_TRUE(fs::exists(root / name));
    }
}

TEST_F(DriveTest, ADriveThatFillsBeforeTheAttributesIsReportedAsFull)
{
    MOUNT_OR_SKIP(volume, scratch() / "Vault", "ext4", 64);
    write(node(), "x");
    ASSERT_EQ(setAttribute(node(), "user.origin", std::string(900, 'v')), 0);
    TreeCopier::Watcher watcher([&](const TreeCopier::Progress& progress) {
        if (progress.bytesDone > 0) {
            shell("dd if=/dev/zero of='" + (volume->path() / "filler").string() + "' bs=1k; sync");
        }
    });
    EXPECT_EQ(
        moveTo(volume->path(), &watcher),
        (Outcome {false,
                  "Copy failed (original untouched): The file “a” couldn’t be saved because the volume is full."}));
    EXPECT_EQ(read(node()), "x");
}

// What a drive does whose cable is pulled: from now on every write fails.
bool pullOut(const fs::path& mountPoint)
{
    const int folder = ::open(mountPoint.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    std::uint32_t withoutLog = 2;
    const bool done = ::ioctl(folder, _IOR('X', 125, std::uint32_t), &withoutLog) == 0;
    ::close(folder);
    return done;
}

// Those that can be shut down under their users.
class EachPulledFileSystem : public EachFileSystem
{
};

TEST_P(EachPulledFileSystem, APulledDriveLeavesTheOriginal)
{
    MOUNT_OR_SKIP(volume, scratch() / "Vault", GetParam(), 320);
    SampleTree::make(node(), 20 << 20);
    const auto before = SampleTree::contents(node());
    bool pulled = false;
    TreeCopier::Watcher watcher([&](const TreeCopier::Progress& progress) {
        if (!pulled && progress.bytesDone > 1 << 20) {
            pulled = pullOut(volume->path());
        }
    });
    const Outcome outcome = moveTo(volume->path() / "store", &watcher);
    EXPECT_TRUE(pulled);
    EXPECT_FALSE(outcome.ok);
    EXPECT_THAT(outcome.message, StartsWith("Copy failed (original untouched): "));
    EXPECT_EQ(SampleTree::contents(node()), before);
    EXPECT_THAT(trashed(), testing::IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Drives,
                         EachFileSystem,
                         ::testing::Values("ext4", "xfs", "btrfs", "tmpfs"),
                         [](const auto& info) { return std::string(info.param); });

INSTANTIATE_TEST_SUITE_P(Drives, EachPulledFileSystem, ::testing::Values("ext4", "xfs"), [](const auto& info) {
    return std::string(info.param);
});

TEST_F(DriveTest, AMissingDriveIsNotMadeUpWhereNothingMayBeMade)
{
    write(node() / "file", "weights");
    const Outcome outcome = moveTo("/proc/Volumes/Gone/store");
    EXPECT_FALSE(outcome.ok);
    EXPECT_THAT(outcome.message, StartsWith("Copy failed (original untouched): "));
    EXPECT_EQ(read(node() / "file"), "weights");
}

TEST_F(DriveTest, ADriveThatClonesNeedsNoRoom)
{
    MOUNT_OR_SKIP(volume, scratch() / "Vault", "btrfs", 400);
    const fs::path from = volume->path() / "from";
    SampleTree::make(from / "a", 200 << 20);
    ASSERT_EQ(shell("sync -f '" + volume->path().string() + "'"), 0);
    const auto before = SampleTree::contents(from / "a");
    const auto free = fs::space(volume->path()).available;
    ASSERT_LT(free, 200U << 20) << "a full copy would not fit";
    const Outcome outcome = CrucibleMove::relocate(from / "a", from, volume->path() / "to");
    EXPECT_TRUE(outcome.ok) << outcome.message;
    EXPECT_EQ(SampleTree::contents(volume->path() / "to/a"), before);
    EXPECT_GT(fs::space(volume->path()).available, free - (10U << 20));
}

TEST_F(DriveTest, DrivesWithBlocksOfOtherSizesAgreeOnAGoodCopy)
{
    MOUNT_OR_SKIP(volume, scratch() / "Vault", "ext4", 64); // small ones have blocks of 1 KB
    SampleTree::make(node(), 100'001);
    write(node() / "one", "1");
    SampleTree::writeWithHoles(node() / "sparse", 300000, {{5000, 10}, {9000, 10}, {100000, 3000}});
    const Outcome there = moveTo(volume->path() / "store");
    EXPECT_TRUE(there.ok) << there.message;
    const Outcome back
        = CrucibleMove::relocate(volume->path() / "store/models/a", volume->path() / "store", home() / "from");
    EXPECT_TRUE(back.ok) << back.message;
}

// ---- the verification ----

class VerificationTest : public DriveTest
{
protected:
    // Copies the tree and tells what is wrong with that.
    static std::string trouble(const fs::path& source, const fs::path& destination)
    {
        auto copier = TreeCopier::prepare(source, destination);
        if (!copier) {
            return copier.error();
        }
        if (const auto error = copier->copy()) {
            return *error;
        }
        if (!TreeMeasure::isComplete(destination, source)) {
            return "verification";
        }
        if (const auto difference = copier->difference()) {
            return *difference;
        }
        return SampleTree::contents(source) == SampleTree::contents(destination) ? "" : "contents";
    }
};

TEST_F(VerificationTest, EveryGoodCopyOfTwoHundredTreesIsAccepted)
{
    std::vector<std::unique_ptr<MountedVolume>> volumes;
    for (const char* type : {"ext4", "xfs", "btrfs", "tmpfs"}) {
        volumes.push_back(drive(scratch() / type, type, 512));
        if (!volumes.back()->mounted()) {
            GTEST_SKIP() << "mounting a volume takes root and mkfs." << type;
        }
    }
    std::mt19937 random(20261120);
    for (int index = 0; index < 200; index++) {
        const fs::path source = volumes[static_cast<std::size_t>(index) % 4]->path() / "source";
        const fs::path copy = volumes[static_cast<std::size_t>(index / 4) % 4]->path() / "copy";
        SampleTree::makeRandom(source, random);
        EXPECT_EQ(trouble(source, copy), "") << index << " " << source << " " << copy;
        fs::remove_all(source);
        fs::remove_all(copy);
        ASSERT_FALSE(HasFailure());
    }
}

TEST_F(VerificationTest, ACopyThatLacksABlockIsRefusedOnEveryFileSystem)
{
    for (const char* type : {"ext4", "xfs", "btrfs", "tmpfs"}) {
        MOUNT_OR_SKIP(volume, scratch() / type, type, 400);
        SampleTree::make(node(), 40960);
        const fs::path copy = volume->path() / "copy";
        ASSERT_EQ(trouble(node(), copy), "");
        for (const off_t offset : {0, 4096, 36864}) {
            const int file = ::open((copy / "weights.safetensors").c_str(), O_RDWR | O_CLOEXEC);
            std::array<char, 4096> block {};
            ASSERT_EQ(::pread(file, block.data(), block.size(), offset), 4096);
            ASSERT_EQ(::fallocate(file, FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, offset, 4096), 0);
            EXPECT_FALSE(TreeMeasure::isComplete(copy, node())) << type << " " << offset;
            ASSERT_EQ(::pwrite(file, block.data(), block.size(), offset), 4096);
            ::fsync(file);
            ::close(file);
            EXPECT_TRUE(TreeMeasure::isComplete(copy, node())) << type << " " << offset;
        }
        fs::resize_file(copy / "config.json", 2);
        EXPECT_FALSE(TreeMeasure::isComplete(copy, node())) << "one byte less";
        fs::resize_file(copy / "config.json", 3);
        fs::remove(copy / "empty");
        EXPECT_FALSE(TreeMeasure::isComplete(copy, node())) << "one file less";
        fs::remove_all(node());
    }
}

TEST_F(VerificationTest, BlocksSetAsideAreCopiedAsWhatTheyAre)
{
    MOUNT_OR_SKIP(volume, scratch() / "Vault", "xfs", 400);
    fs::create_directories(node());
    for (const char* name : {"whole", "beyond"}) {
        const int file = ::open((node() / name).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
        const int mode = std::string(name) == "beyond" ? FALLOC_FL_KEEP_SIZE : 0;
        ASSERT_EQ(::fallocate(file, mode, 0, 8 << 20), 0);
        ASSERT_EQ(::pwrite(file, "data", 4, 100000), 4);
        ::close(file);
    }
    EXPECT_EQ(trouble(node(), volume->path() / "copy"), "");
    EXPECT_GE(Size::of(volume->path() / "copy/whole"), 8 << 20);
}

} // namespace
