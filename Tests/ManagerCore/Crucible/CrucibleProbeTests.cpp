#include "ManagerCore/Crucible/CrucibleProbe.h"

#include <sys/stat.h>

#include <gmock/gmock.h>

#include "ManagerCore/Foundation/Size.h"
#include "Tests/Support/Sandbox.h"

namespace CrucibleProbe = ManagerCore::CrucibleProbe;
namespace fs = std::filesystem;
using ManagerCore::CrucibleLink;
using ManagerCore::CrucibleSite;
using ManagerCore::CrucibleTopology;
using ManagerCore::Identity;
using ManagerCore::ManagerActions;
using TestSupport::makeLink;
using TestSupport::write;

namespace
{

class CrucibleProbeTest : public TestSupport::SandboxTest
{
protected:
    [[nodiscard]] CrucibleTopology topology(const std::vector<std::string>& locations,
                                            const std::string& served = "~/served") const
    {
        return CrucibleProbe::topology(Identity {.modelLocations = locations}, ManagerActions {.modelServed = served});
    }
};

TEST_F(CrucibleProbeTest, nothingAtAPathHasNoTarget)
{
    EXPECT_EQ(CrucibleProbe::link(scratch() / "none"), (CrucibleLink {.link = scratch() / "none"}));
    EXPECT_FALSE(CrucibleProbe::link(scratch() / "none").exists());
    EXPECT_EQ(CrucibleProbe::link({}), CrucibleLink {});
}

TEST_F(CrucibleProbeTest, aRealFolderReadsAsALinkToItself)
{
    fs::create_directories(scratch() / "real");
    EXPECT_EQ(CrucibleProbe::link(scratch() / "real"),
              (CrucibleLink {.link = scratch() / "real", .target = scratch() / "real", .resolves = true}));
}

TEST_F(CrucibleProbeTest, aLinksTargetIsNotStandardised)
{
    write(scratch() / "w/file", "x");
    makeLink(scratch() / "deep/link", "../w");
    EXPECT_EQ(CrucibleProbe::link(scratch() / "deep/link"),
              (CrucibleLink {.link = scratch() / "deep/link", .target = scratch() / "deep/../w", .resolves = true}));
    makeLink(scratch() / "absolute", (scratch() / "deep/../w").string());
    EXPECT_EQ(CrucibleProbe::link(scratch() / "absolute").target, scratch() / "deep/../w");
}

TEST_F(CrucibleProbeTest, aDanglingLinkExistsAndDoesNotResolve)
{
    makeLink(scratch() / "dangling", "nowhere");
    const CrucibleLink dangling = CrucibleProbe::link(scratch() / "dangling");
    EXPECT_TRUE(dangling.exists());
    EXPECT_FALSE(dangling.resolves);
    EXPECT_EQ(dangling.target, scratch() / "nowhere");
    makeLink(scratch() / "loop", "loop");
    EXPECT_TRUE(CrucibleProbe::link(scratch() / "loop").exists());
    EXPECT_FALSE(CrucibleProbe::link(scratch() / "loop").resolves);
    makeLink(scratch() / "second", "dangling");
    EXPECT_FALSE(CrucibleProbe::link(scratch() / "second").resolves) << "links are followed to the end";
}

TEST_F(CrucibleProbeTest, aSiteFollowsOneLinkOnly)
{
    write(home() / "drive/weights", std::string(5000, 'w'));
    makeLink(home() / "middle", "drive");
    makeLink(home() / "store", "middle");
    const CrucibleSite site = CrucibleProbe::site("~/store");
    EXPECT_EQ(site.declared, "~/store");
    EXPECT_EQ(site.id(), "~/store");
    EXPECT_EQ(site.real, home() / "middle");
    EXPECT_TRUE(site.exists);
    EXPECT_EQ(site.sizeBytes, ManagerCore::Size::of(home() / "drive"));
    EXPECT_GE(site.sizeBytes, 5000);
}

TEST_F(CrucibleProbeTest, aDeclaredPathThatDoesNotExistStillIsASite)
{
    EXPECT_EQ(CrucibleProbe::site("/Volumes/Gone/store"),
              (CrucibleSite {.declared = "/Volumes/Gone/store", .real = "/Volumes/Gone/store"}));
    makeLink(home() / "dangling", "gone");
    const CrucibleSite dangling = CrucibleProbe::site("~/dangling");
    EXPECT_EQ(dangling.real, home() / "gone");
    EXPECT_FALSE(dangling.exists);
    EXPECT_EQ(dangling.volume, "—");
    EXPECT_FALSE(dangling.external);
    EXPECT_EQ(dangling.sizeBytes, 0);
    EXPECT_FALSE(CrucibleProbe::site("").exists);
}

TEST_F(CrucibleProbeTest, aSiteOnTheRootVolumeIsInternal)
{
    const CrucibleSite site = CrucibleProbe::site("/");
    EXPECT_TRUE(CrucibleProbe::site("/usr").exists);
    EXPECT_FALSE(CrucibleProbe::site("/usr").external);
    EXPECT_NE(CrucibleProbe::site("/usr").volume, "—");
    EXPECT_EQ(site.real, "/");
}

TEST_F(CrucibleProbeTest, aSiteOnAnotherDriveIsExternalAndBearsItsName)
{
    const TestSupport::MountedVolume drive(scratch() / "Vault", "ext4", 16);
    if (!drive.mounted()) {
        GTEST_SKIP() << "mounting a volume takes root";
    }
    write(drive.path() / "store/weights", std::string(100, 'w'));
    makeLink(home() / "store", drive.path() / "store");
    const CrucibleSite site = CrucibleProbe::site("~/store");
    EXPECT_EQ(site.volume, "Vault");
    EXPECT_TRUE(site.external);
    EXPECT_GT(site.sizeBytes, 0);
}

TEST_F(CrucibleProbeTest, theTopologyHasASitePerEntryInOrderDuplicatesKept)
{
    write(home() / "a/weights", std::string(5000, 'a'));
    write(home() / "b/weights", std::string(50000, 'b'));
    makeLink(home() / "also-a", "a");
    const CrucibleTopology found = topology({"~/b", "~/a", "~/missing", "~/b", "~/also-a"});
    ASSERT_EQ(found.sites.size(), 5);
    EXPECT_EQ(found.sites[0], CrucibleProbe::site("~/b"));
    EXPECT_EQ(found.sites[1], CrucibleProbe::site("~/a"));
    EXPECT_EQ(found.sites[2], CrucibleProbe::site("~/missing"));
    EXPECT_EQ(found.sites[3], found.sites[0]);
    EXPECT_EQ(found.sites[4].real, home() / "a");
    EXPECT_EQ(found.sites[4].sizeBytes, found.sites[1].sizeBytes);
    EXPECT_GT(found.sites[0].sizeBytes, found.sites[1].sizeBytes);
}

TEST_F(CrucibleProbeTest, theRootLinkIsTheFirstEntryBeforeAnyLinkIsFollowed)
{
    fs::create_directories(home() / "drive");
    makeLink(home() / "store", "drive");
    const CrucibleTopology found = topology({"~/store", "~/drive"});
    EXPECT_EQ(found.rootLink, (CrucibleLink {.link = home() / "store", .target = home() / "drive", .resolves = true}));
}

TEST_F(CrucibleProbeTest, withoutLocationsTheRootLinkIsTheFixedPlace)
{
    const TestSupport::EnvironmentVariable elsewhere("ZYN_CRUCIBLE_ROOT", "~/elsewhere");
    fs::create_directories(home() / "elsewhere");
    fs::create_directories(home() / ".zyn/crucible");
    const CrucibleTopology found = topology({});
    EXPECT_THAT(found.sites, testing::IsEmpty());
    EXPECT_EQ(found.rootLink.link, home() / ".zyn/crucible");
    EXPECT_TRUE(found.rootLink.resolves);
}

TEST_F(CrucibleProbeTest, theServedLinkIsExpandedAndAnEmptyOneIsNothing)
{
    fs::create_directories(home() / "served");
    EXPECT_EQ(topology({}).activeLink,
              (CrucibleLink {.link = home() / "served", .target = home() / "served", .resolves = true}));
    EXPECT_EQ(topology({}, "").activeLink, CrucibleLink {});
}

TEST_F(CrucibleProbeTest, theLayoutIsTheTopologyWithoutSizes)
{
    write(home() / "a/weights", std::string(5000, 'a'));
    makeLink(home() / "served", "a");
    CrucibleTopology expected = topology({"~/a", "~/gone"});
    expected.sites[0].sizeBytes = 0;
    EXPECT_EQ(CrucibleProbe::layout(Identity {.modelLocations = {"~/a", "~/gone"}},
                                    ManagerActions {.modelServed = "~/served"}),
              expected);
}

} // namespace
