#include "ManagerCore/Crucible/CrucibleHealth.h"

#include <sys/stat.h>

#include <gmock/gmock.h>

#include "ManagerCore/Crucible/CrucibleRepair.h"
#include "Tests/ManagerCore/Crucible/CrucibleTest.h"

namespace CrucibleHealth = ManagerCore::CrucibleHealth;
namespace CrucibleRepair = ManagerCore::CrucibleRepair;
using CrucibleHealth::Finding;
using CrucibleRepair::Result;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

using CrucibleHealthTest = CrucibleTest;

TEST_F(CrucibleHealthTest, aRootThatDoesNotExistHasNoFindings)
{
    EXPECT_THAT(CrucibleHealth::scan(scratch() / "gone"), IsEmpty());
    EXPECT_THAT(CrucibleHealth::scan({}), IsEmpty());
    makeLink(scratch() / "dangling", "gone");
    EXPECT_THAT(CrucibleHealth::scan(scratch() / "dangling"), IsEmpty());
    write(scratch() / "file", "x");
    EXPECT_THAT(CrucibleHealth::scan(scratch() / "file"), IsEmpty());
    EXPECT_THAT(CrucibleHealth::scanAll({}), IsEmpty());
}

TEST_F(CrucibleHealthTest, everyLinkIsFoundInTheOrderOfThePathsAndNoneIsFollowed)
{
    const fs::path root = scratch() / "root";
    write(root / "models/a/weights", "x");
    write(scratch() / "far/inside/file", "x");
    makeLink(scratch() / "far/inside/hidden-behind", "gone");
    makeLink(root / "z", (scratch() / "far").string());
    makeLink(root / "models/b", "a");
    makeLink(root / "models/.hidden/deep/c", "../../../gone");
    makeLink(root / "models/loop", "loop");
    makeLink(root / "models/file", "a/weights");
    ::mkfifo((root / "fifo").c_str(), 0600);
    makeLink(root / "to-fifo", "fifo");
    EXPECT_THAT(CrucibleHealth::scan(root),
                ElementsAre(Finding {root / "models/.hidden/deep/c", root / "models/.hidden/deep/../../../gone", false},
                            Finding {root / "models/b", root / "models/a", true},
                            Finding {root / "models/file", root / "models/a/weights", true},
                            Finding {root / "models/loop", root / "models/loop", false},
                            Finding {root / "to-fifo", root / "fifo", true},
                            Finding {root / "z", scratch() / "far", true}));
}

TEST_F(CrucibleHealthTest, aRelativeTargetIsJudgedAgainstTheLinksOwnFolder)
{
    const fs::path root = scratch() / "root";
    write(root / "x", "x");
    makeLink(root / "deep/right", "../x");
    makeLink(root / "deep/wrong", "x");
    EXPECT_THAT(CrucibleHealth::scan(root),
                ElementsAre(Finding {root / "deep/right", root / "deep/../x", true},
                            Finding {root / "deep/wrong", root / "deep/x", false}));
}

TEST_F(CrucibleHealthTest, aRootThatIsALinkIsFollowedAndItsFindingsBearItsPath)
{
    makeLink(scratch() / "drive/a", "gone");
    makeLink(scratch() / "root", "drive");
    EXPECT_THAT(CrucibleHealth::scan(scratch() / "root"),
                ElementsAre(Finding {scratch() / "root/a", scratch() / "root/gone", false}));
}

TEST_F(CrucibleHealthTest, rootsComeOneAfterTheOther)
{
    makeLink(scratch() / "b/link", "x");
    makeLink(scratch() / "a/link", "x");
    EXPECT_THAT(CrucibleHealth::scanAll({scratch() / "b", scratch() / "none", scratch() / "a", scratch() / "b"}),
                ElementsAre(Finding {scratch() / "b/link", scratch() / "b/x", false},
                            Finding {scratch() / "a/link", scratch() / "a/x", false},
                            Finding {scratch() / "b/link", scratch() / "b/x", false}));
}

TEST_F(CrucibleHealthTest, oddNamesComeAsTheyAre)
{
    for (const char* name : {"line\nbreak", "quote\"'", "caf\xE9", " ", "-rf", "ü=#"}) {
        fs::remove_all(scratch() / "root");
        makeLink(scratch() / "root" / name, name);
        EXPECT_THAT(CrucibleHealth::scan(scratch() / "root"),
                    ElementsAre(Finding {scratch() / "root" / name, scratch() / "root" / name, false}));
    }
}

TEST_F(CrucibleHealthTest, slashesThatMeanNothingAreLeftOut)
{
    const fs::path root = scratch() / "root";
    makeLink(root / "a", "//gone//x/");
    makeLink(root / "b", "x//y/");
    makeLink(root / "c", "/");
    const std::vector<Finding> expected {
        {root / "a", "/gone/x", false}, {root / "b", root / "x/y", false}, {root / "c", "/", true}};
    EXPECT_EQ(CrucibleHealth::scan(root), expected);
    EXPECT_EQ(CrucibleHealth::scan(root / ""), expected);
}

TEST_F(CrucibleHealthTest, manyLinksInWideAndDeepFoldersAreAllFound)
{
    std::vector<fs::path> links;
    fs::path deep = scratch() / "root";
    for (int level = 0; level < 60; level++) {
        deep /= "level" + std::to_string(level);
        for (int index = 0; index < 40; index++) {
            links.push_back(deep / ("link" + std::to_string(index)));
            makeLink(links.back(), index % 2 == 0 ? "." : "gone");
        }
    }
    std::ranges::sort(links);
    const auto found = CrucibleHealth::scan(scratch() / "root");
    ASSERT_EQ(found.size(), links.size());
    for (std::size_t index = 0; index < links.size(); index++) {
        EXPECT_EQ(found[index].link, links[index]);
        EXPECT_EQ(found[index].resolves, found[index].target.ends_with("/.")) << found[index].target;
    }
}

// ---- repair ----

class CrucibleRepairTest : public CrucibleTest
{
protected:
    [[nodiscard]] fs::path root() const { return scratch() / "root"; }
    [[nodiscard]] fs::path one() const { return scratch() / "one"; }
    [[nodiscard]] fs::path two() const { return scratch() / "two"; }

    [[nodiscard]] std::vector<Result> repair(const std::vector<fs::path>& candidates) const
    {
        return CrucibleRepair::repair(CrucibleHealth::scan(root()), root(), candidates);
    }
};

TEST_F(CrucibleRepairTest, theFirstCandidateThatHasTheSamePlaceWins)
{
    makeLink(root() / "models/a", "/Volumes/Gone/models/a");
    write(one() / "models/a/weights", "one");
    write(two() / "models/a/weights", "two");
    EXPECT_THAT(repair({root(), one(), two()}),
                ElementsAre(Result {root() / "models/a", true, "repaired:\n" + (one() / "models/a").string()}));
    EXPECT_EQ(fs::read_symlink(root() / "models/a"), one() / "models/a");
    EXPECT_EQ(fs::read_symlink(trash() / "a"), "/Volumes/Gone/models/a");
    EXPECT_THAT(repair({one(), two()}), IsEmpty()) << "links that resolve are left alone";
}

TEST_F(CrucibleRepairTest, whatNoDriveHasIsLeftAsItIs)
{
    makeLink(root() / "models/a", "/Volumes/Gone/models/a");
    EXPECT_THAT(repair({root(), one()}),
                ElementsAre(Result {
                    root() / "models/a", false, "no drive has models/a — cannot repair without inventing a path"}));
    EXPECT_EQ(fs::read_symlink(root() / "models/a"), "/Volumes/Gone/models/a");
    EXPECT_THAT(trashed(), IsEmpty());
}

TEST_F(CrucibleRepairTest, linksElsewhereAreSkipped)
{
    makeLink(scratch() / "elsewhere/a", "gone");
    write(one() / "a", "x");
    EXPECT_THAT(CrucibleRepair::repair(CrucibleHealth::scan(scratch() / "elsewhere"), root(), {one()}),
                ElementsAre(Result {scratch() / "elsewhere/a", false, "not under " + root().string() + " — skipped"}));
    EXPECT_EQ(fs::read_symlink(scratch() / "elsewhere/a"), "gone");
}

TEST_F(CrucibleRepairTest, resultsKeepTheOrderOfTheFindings)
{
    makeLink(root() / "a", "gone");
    makeLink(root() / "b", "gone");
    makeLink(root() / "c", "a");
    write(one() / "b", "x");
    std::vector<Finding> findings = CrucibleHealth::scan(root());
    std::ranges::reverse(findings);
    const auto results = CrucibleRepair::repair(findings, root(), {one()});
    ASSERT_EQ(results.size(), 3);
    EXPECT_EQ(results[0].link, root() / "c");
    EXPECT_EQ(results[1], (Result {root() / "b", true, "repaired:\n" + (one() / "b").string()}));
    EXPECT_EQ(results[2].link, root() / "a");
}

TEST_F(CrucibleRepairTest, whatTookTheLinksPlaceInTheMeantimeIsLeftAlone)
{
    makeLink(root() / "a", "gone");
    write(one() / "a/weights", "one");
    const auto findings = CrucibleHealth::scan(root());
    fs::remove(root() / "a");
    write(root() / "a/weights", "just moved here");
    const auto results = CrucibleRepair::repair(findings, root(), {one()});
    ASSERT_EQ(results.size(), 1);
    EXPECT_FALSE(results[0].repaired);
    EXPECT_EQ(read(root() / "a/weights"), "just moved here");
    EXPECT_THAT(trashed(), IsEmpty());
}

TEST_F(CrucibleRepairTest, aCandidateThatIsALinkItselfWillDo)
{
    makeLink(root() / "a", "gone");
    write(two() / "a", "weights");
    makeLink(one(), "two");
    EXPECT_THAT(repair({one()}), ElementsAre(Result {root() / "a", true, "repaired:\n" + (one() / "a").string()}));
    EXPECT_EQ(read(root() / "a"), "weights");
}

TEST_F(CrucibleRepairTest, aLinkThatCannotBeReplacedTellsWhy)
{
    write(one() / "no/folder/a", "x");
    EXPECT_THAT(
        CrucibleRepair::repair({Finding {root() / "no/folder/a", "/gone", false}}, root(), {one()}),
        ElementsAre(Result {root() / "no/folder/a", false, "Could not update the link: The file “a” doesn’t exist."}));
}

} // namespace
