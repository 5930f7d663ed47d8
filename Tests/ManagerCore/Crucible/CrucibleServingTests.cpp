#include "ManagerCore/Crucible/CrucibleServing.h"

#include <gmock/gmock.h>

#include "ManagerCore/Crucible/CrucibleProbe.h"
#include "Tests/ManagerCore/Crucible/CrucibleTest.h"

namespace CrucibleServing = ManagerCore::CrucibleServing;
using ManagerCore::CrucibleTopology;
using Outcome = ManagerCore::CrucibleAdmin::Outcome;

namespace
{

class CrucibleServingTest : public CrucibleTest
{
protected:
    CrucibleServingTest()
    {
        write(home() / "one/models/m/weights", "one");
        write(home() / "two/models/m/weights", "two");
        makeLink(home() / "served", home() / "one/models/m");
    }

    [[nodiscard]] static CrucibleTopology topology(const std::vector<std::string>& locations)
    {
        return ManagerCore::CrucibleProbe::layout(ManagerCore::Identity {.modelLocations = locations},
                                                  ManagerCore::ManagerActions {.modelServed = "~/served"});
    }
};

TEST_F(CrucibleServingTest, aSiteServesWhenTheServedLinkLeadsStrictlyInside)
{
    const CrucibleTopology found = topology({"~/two", "~/one", "~/one/models/m", "~/one/models", "~/gone"});
    std::vector<bool> serving;
    std::vector<bool> canServe;
    for (const auto& site : found.sites) {
        serving.push_back(CrucibleServing::isServing(found, site));
        canServe.push_back(CrucibleServing::canServe(found, site));
    }
    EXPECT_THAT(serving, testing::ElementsAre(false, true, false, true, false));
    EXPECT_THAT(canServe, testing::ElementsAre(true, false, true, false, false));
    EXPECT_EQ(CrucibleServing::current(found), &found.sites[1]);
}

TEST_F(CrucibleServingTest, theRealFolderOfALinkedSiteCounts)
{
    makeLink(home() / "store", "one");
    const CrucibleTopology found = topology({"~/store"});
    EXPECT_TRUE(CrucibleServing::isServing(found, found.sites[0]));
}

TEST_F(CrucibleServingTest, aDanglingTargetInsideASiteStillTellsTheDrive)
{
    fs::remove(home() / "served");
    makeLink(home() / "served", home() / "one/models/gone");
    const CrucibleTopology found = topology({"~/one", "~/two"});
    EXPECT_EQ(CrucibleServing::current(found), &found.sites[0]);
    EXPECT_EQ(CrucibleServing::serve(found, found.sites[1]),
              (Outcome {false, "No copy of these weights on that drive:\n" + (home() / "two/models/gone").string()}));
}

TEST_F(CrucibleServingTest, withoutAServingSiteNothingIsChanged)
{
    fs::remove(home() / "served");
    for (const bool dangling : {false, true}) {
        if (dangling) {
            makeLink(home() / "served", "nowhere");
        }
        const CrucibleTopology found = topology({"~/one", "~/two"});
        EXPECT_EQ(CrucibleServing::current(found), nullptr);
        EXPECT_TRUE(CrucibleServing::canServe(found, found.sites[0]));
        EXPECT_EQ(CrucibleServing::serve(found, found.sites[1]),
                  (Outcome {false, "Cannot tell which drive currently serves the model."}));
        EXPECT_EQ(CrucibleServing::foretell(found, found.sites[1]).message,
                  "Cannot tell which drive currently serves the model.");
        EXPECT_THAT(trashed(), testing::IsEmpty());
    }
    EXPECT_FALSE(CrucibleServing::serve({}, {}).ok);
}

TEST_F(CrucibleServingTest, servesFromAnotherSite)
{
    const CrucibleTopology found = topology({"~/one", "~/two"});
    EXPECT_TRUE(CrucibleServing::foretell(found, found.sites[1]).ok);
    EXPECT_EQ(read(home() / "served/weights"), "one");
    EXPECT_EQ(CrucibleServing::serve(found, found.sites[1]),
              (Outcome {true, "Now serving from:\n" + (home() / "two/models/m").string()}));
    EXPECT_EQ(read(home() / "served/weights"), "two");
    const CrucibleTopology now = topology({"~/one", "~/two"});
    EXPECT_EQ(CrucibleServing::current(now), &now.sites[1]);
}

} // namespace
