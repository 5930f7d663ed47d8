// Copies of full size between drives.

#include <memory>

#include <gmock/gmock.h>

#include "ManagerCore/Crucible/CrucibleMove.h"
#include "Tests/ManagerCore/Crucible/CrucibleTest.h"
#include "Tests/ManagerCore/Crucible/SampleTree.h"

namespace CrucibleMove = ManagerCore::CrucibleMove;
using TestSupport::MountedVolume;

namespace
{

class LargeTest : public CrucibleTest, public ::testing::WithParamInterface<const char*>
{
};

// More than ext4 can describe without blocks of its own, dense and with holes.
TEST_P(LargeTest, TwoGigabytesMove)
{
    const MountedVolume volume(scratch() / "Vault", GetParam(), 4000);
    if (!volume.mounted()) {
        GTEST_SKIP() << "mounting a volume takes root and mkfs." << GetParam();
    }
    const fs::path node = home() / "from/a";
    SampleTree::makeLarge(node / "dense", std::int64_t {2} << 30);
    SampleTree::makeLarge(node / "six hundred", std::int64_t {600} << 20);
    SampleTree::writeWithHoles(
        node / "sparse", std::int64_t {2} << 30, {{0, 1 << 20}, {1 << 30, 5}, {2000000000, 70000}});
    const auto sum = SampleTree::sumOf(node);
    const auto outcome = CrucibleMove::relocate(node, home() / "from", volume.path() / "store");
    EXPECT_TRUE(outcome.ok) << outcome.message;
    EXPECT_EQ(SampleTree::sumOf(volume.path() / "store/a"), sum);
    EXPECT_EQ(fs::read_symlink(node), volume.path() / "store/a");
    EXPECT_EQ(fs::file_size(trash() / "a/dense"), std::uintmax_t {2} << 30);
}

INSTANTIATE_TEST_SUITE_P(Drives, LargeTest, ::testing::Values("ext4", "xfs", "btrfs", "tmpfs"), [](const auto& info) {
    return std::string(info.param);
});

} // namespace
