#include "ManagerCore/Crucible/CrucibleAdmin.h"

#include <gmock/gmock.h>

#include "Tests/ManagerCore/Crucible/CrucibleTest.h"

namespace CrucibleAdmin = ManagerCore::CrucibleAdmin;
using CrucibleAdmin::Outcome;

namespace
{

class CrucibleAdminTest : public CrucibleTest
{
protected:
    [[nodiscard]] fs::path link() const { return home() / "root"; }
};

// ---- paths ----

TEST_F(CrucibleAdminTest, relativePathIsTakenBelowTheBase)
{
    EXPECT_EQ(CrucibleAdmin::relativePath("/a/b/c", "/a/b/"), "c");
    EXPECT_EQ(CrucibleAdmin::relativePath("/a/b/c", "/a/b"), "c");
    EXPECT_EQ(CrucibleAdmin::relativePath("/a/b/c/d", "/a"), "b/c/d");
    EXPECT_EQ(CrucibleAdmin::relativePath("/a/b/c", "/a/bc"), std::nullopt);
    EXPECT_EQ(CrucibleAdmin::relativePath("/a/bc", "/a/b"), std::nullopt);
    EXPECT_EQ(CrucibleAdmin::relativePath("/a/b", "/a/b"), std::nullopt);
    EXPECT_EQ(CrucibleAdmin::relativePath("/a", "/"), "a");
    EXPECT_EQ(CrucibleAdmin::relativePath("/", "/"), std::nullopt);
}

TEST_F(CrucibleAdminTest, relativePathResolvesTheFoldersAboveAndKeepsTheOwnName)
{
    write(scratch() / "drive/models/a/file", "x");
    makeLink(scratch() / "way", "drive");
    makeLink(scratch() / "drive/models/link", "a");
    EXPECT_EQ(CrucibleAdmin::relativePath(scratch() / "way/models/a", scratch() / "drive"), "models/a");
    EXPECT_EQ(CrucibleAdmin::relativePath(scratch() / "drive/models/link", scratch() / "drive"), "models/link");
    EXPECT_EQ(CrucibleAdmin::relativePath(scratch() / "drive/models/a", scratch() / "way"), std::nullopt)
        << "a base that is a link keeps its own name";
    EXPECT_EQ(CrucibleAdmin::relativePath(scratch() / "drive/models/../models/a", scratch() / "drive"), "models/a");
}

TEST_F(CrucibleAdminTest, relativePathNeverStepsOutOfTheBase)
{
    fs::create_directories(scratch() / "drive/models");
    EXPECT_EQ(CrucibleAdmin::relativePath(scratch() / "drive/models/..", scratch() / "drive"), std::nullopt);
    EXPECT_EQ(CrucibleAdmin::relativePath(scratch() / "drive/models/../..", scratch() / "drive"), std::nullopt);
    EXPECT_EQ(CrucibleAdmin::relativePath(scratch() / "drive/..", scratch() / "drive"), std::nullopt);
    EXPECT_EQ(CrucibleAdmin::relativePath("/a", {}), std::nullopt);
    EXPECT_EQ(CrucibleAdmin::relativePath({}, "/a"), std::nullopt);
}

// ---- repoint ----

TEST_F(CrucibleAdminTest, repointMakesALinkWhereNothingStands)
{
    fs::create_directories(scratch() / "drive");
    EXPECT_EQ(CrucibleAdmin::repoint(link(), scratch() / "drive", "Label"),
              (Outcome {true, "Label:\n" + (scratch() / "drive").string()}));
    EXPECT_EQ(fs::read_symlink(link()), scratch() / "drive");
    EXPECT_THAT(trashed(), testing::IsEmpty());
}

TEST_F(CrucibleAdminTest, repointMovesTheOldLinkToTheTrashFirst)
{
    write(scratch() / "old/file", "old weights");
    fs::create_directories(scratch() / "new");
    makeLink(link(), scratch() / "old");
    EXPECT_TRUE(CrucibleAdmin::repoint(link(), scratch() / "new", "x").ok);
    EXPECT_EQ(fs::read_symlink(link()), scratch() / "new");
    EXPECT_EQ(fs::read_symlink(trash() / "root"), scratch() / "old");
    EXPECT_EQ(read(scratch() / "old/file"), "old weights");
}

TEST_F(CrucibleAdminTest, repointReplacesDanglingLinksAndRealItemsByWayOfTheTrash)
{
    fs::create_directories(scratch() / "new");
    makeLink(link(), "nowhere");
    EXPECT_TRUE(CrucibleAdmin::repoint(link(), scratch() / "new", "x").ok);
    EXPECT_EQ(fs::read_symlink(trash() / "root"), "nowhere");
    write(home() / "real/file", "weights");
    EXPECT_TRUE(CrucibleAdmin::repoint(home() / "real", scratch() / "new", "x").ok);
    EXPECT_EQ(read(trash() / "real/file"), "weights");
    EXPECT_EQ(fs::read_symlink(home() / "real"), scratch() / "new");
}

TEST_F(CrucibleAdminTest, repointDoesNotAskWhetherTheDestinationExists)
{
    EXPECT_TRUE(CrucibleAdmin::repoint(link(), scratch() / "missing", "x").ok);
    EXPECT_EQ(fs::read_symlink(link()), scratch() / "missing");
}

TEST_F(CrucibleAdminTest, repointTellsWhyALinkCannotBeMade)
{
    EXPECT_EQ(CrucibleAdmin::repoint(home() / "no/folder/link", scratch(), "x"),
              (Outcome {false, "Could not update the link: The file “link” doesn’t exist."}));
    EXPECT_FALSE(CrucibleAdmin::repoint({}, scratch(), "x").ok);
}

TEST_F(CrucibleAdminTest, aPathThatDoesNotEndWithANameIsRefused)
{
    write(home() / "models/one/weights", "one");
    write(home() / "models/two/weights", "two");
    fs::create_directories(scratch() / "drive");
    for (const fs::path& path :
         {home() / "models/one/..", home() / "models/one/.", home() / "models/missing/..", fs::path("/"), fs::path()}) {
        const Outcome refusal {false,
                               "Could not update the link: The path “" + path.string() + "” doesn’t end with a name."};
        EXPECT_EQ(CrucibleAdmin::repoint(path, scratch() / "drive", "x"), refusal);
        EXPECT_EQ(CrucibleAdmin::foretellRepoint(path, scratch() / "drive", "restored"), refusal);
        EXPECT_FALSE(CrucibleAdmin::setRoot(path, scratch() / "drive").ok) << path;
        EXPECT_FALSE(CrucibleAdmin::foretellSetRoot(path, scratch() / "drive").ok) << path;
    }
    EXPECT_EQ(read(home() / "models/one/weights"), "one");
    EXPECT_EQ(read(home() / "models/two/weights"), "two");
    EXPECT_THAT(trashed(), testing::IsEmpty());
}

#ifndef __APPLE__
TEST_F(CrucibleAdminTest, repointKeepsWhatCannotGoToTheTrash)
{
    const TestSupport::MountedVolume memory(scratch() / "memory", "tmpfs", 4); // has no Trash
    if (!memory.mounted()) {
        GTEST_SKIP() << "mounting a volume takes root";
    }
    makeLink(memory.path() / "link", "old");
    write(memory.path() / "real/file", "weights");
    EXPECT_EQ(CrucibleAdmin::repoint(memory.path() / "link", scratch(), "x"),
              (Outcome {false,
                        "Could not update the link: The file “link” couldn’t be saved in the folder “memory” because a "
                        "file with the same name already exists."}));
    EXPECT_FALSE(CrucibleAdmin::repoint(memory.path() / "real", scratch(), "x").ok);
    EXPECT_EQ(fs::read_symlink(memory.path() / "link"), "old");
    EXPECT_EQ(read(memory.path() / "real/file"), "weights");
    EXPECT_EQ(CrucibleAdmin::setRoot(memory.path() / "link", scratch()).message.substr(0, 5), "Could")
        << "a dangling root link goes straight to the link";
    fs::create_directories(memory.path() / "old");
    EXPECT_EQ(CrucibleAdmin::setRoot(memory.path() / "link", scratch()),
              (Outcome {false,
                        "Could not replace the existing link: “link” couldn’t be moved to the trash because the volume "
                        "“memory” doesn’t have one."}));
    EXPECT_EQ(fs::read_symlink(memory.path() / "link"), "old");
}
#endif

TEST_F(CrucibleAdminTest, aDestinationThatIsReachedThroughTheLinkItselfIsRefused)
{
    write(scratch() / "drive/inside/file", "weights");
    makeLink(link(), scratch() / "drive");
    makeLink(home() / "second", "root/inside");
    for (const fs::path& through :
         {link(), link() / "inside", home() / "second", home() / "../home/root", scratch() / "../home/root/inside"}) {
        const Outcome outcome = CrucibleAdmin::repoint(link(), through, "x");
        EXPECT_FALSE(outcome.ok) << through;
        EXPECT_EQ(outcome.message,
                  "Could not update the link: “" + through.filename().string()
                      + "” is reached through the place of the link itself.");
        EXPECT_FALSE(CrucibleAdmin::setRoot(link(), through).ok) << through;
    }
    EXPECT_EQ(fs::read_symlink(link()), scratch() / "drive");
    EXPECT_THAT(trashed(), testing::IsEmpty());
    const Outcome real = CrucibleAdmin::repoint(scratch() / "drive", scratch() / "drive/inside", "x");
    EXPECT_FALSE(real.ok);
    EXPECT_EQ(read(scratch() / "drive/inside/file"), "weights");
    EXPECT_TRUE(CrucibleAdmin::repoint(link(), scratch() / "drive/inside", "x").ok) << "not through the link";
}

// ---- setRoot ----

TEST_F(CrucibleAdminTest, setRootRefusesAMissingFolderBeforeItLooksAtTheLink)
{
    write(link() / "file", "weights");
    EXPECT_EQ(CrucibleAdmin::setRoot(link(), scratch() / "missing"),
              (Outcome {false, "That folder does not exist:\n" + (scratch() / "missing").string()}));
    EXPECT_EQ(CrucibleAdmin::setRoot(link(), {}), (Outcome {false, "That folder does not exist:\n"}));
    EXPECT_EQ(read(link() / "file"), "weights");
}

TEST_F(CrucibleAdminTest, setRootRefusesToOrphanARealFolderOrFile)
{
    fs::create_directories(scratch() / "drive");
    write(link() / "file", "weights");
    const std::string refusal
        = link().string() + " is a real folder, not a link.\nMove its contents first — refusing to orphan it.";
    EXPECT_EQ(CrucibleAdmin::setRoot(link(), scratch() / "drive"), (Outcome {false, refusal}));
    EXPECT_EQ(read(link() / "file"), "weights");
    fs::remove_all(link());
    write(link(), "a file");
    EXPECT_EQ(CrucibleAdmin::setRoot(link(), scratch() / "drive"), (Outcome {false, refusal}));
    EXPECT_EQ(read(link()), "a file");
    EXPECT_THAT(trashed(), testing::IsEmpty());
}

TEST_F(CrucibleAdminTest, setRootMakesAndReplacesTheLink)
{
    fs::create_directories(scratch() / "one");
    fs::create_directories(scratch() / "two");
    EXPECT_EQ(CrucibleAdmin::setRoot(link(), scratch() / "one"),
              (Outcome {true, "Crucible root now points at:\n" + (scratch() / "one").string()}));
    EXPECT_EQ(CrucibleAdmin::setRoot(link(), scratch() / "two"),
              (Outcome {true, "Crucible root now points at:\n" + (scratch() / "two").string()}));
    EXPECT_EQ(fs::read_symlink(link()), scratch() / "two");
    EXPECT_EQ(fs::read_symlink(trash() / "root"), scratch() / "one");
}

TEST_F(CrucibleAdminTest, setRootReplacesADanglingLink)
{
    fs::create_directories(scratch() / "drive");
    makeLink(link(), "nowhere");
    EXPECT_TRUE(CrucibleAdmin::setRoot(link(), scratch() / "drive").ok);
    EXPECT_EQ(fs::read_symlink(link()), scratch() / "drive");
    EXPECT_EQ(fs::read_symlink(trash() / "root"), "nowhere");
}

// ---- switchServed ----

class SwitchServedTest : public CrucibleAdminTest
{
protected:
    SwitchServedTest()
    {
        write(one() / "models/x/y/weights", "one");
        write(two() / "models/x/y/weights", "two");
        makeLink(served(), one() / "models/x/y");
    }

    [[nodiscard]] fs::path one() const { return scratch() / "one"; }
    [[nodiscard]] fs::path two() const { return scratch() / "two"; }
    [[nodiscard]] fs::path served() const { return home() / "served"; }
};

TEST_F(SwitchServedTest, keepsThePlaceInsideTheCrucible)
{
    EXPECT_EQ(CrucibleAdmin::switchServed(served(), one() / "models/x/y", one(), two()),
              (Outcome {true, "Now serving from:\n" + (two() / "models/x/y").string()}));
    EXPECT_EQ(read(served() / "weights"), "two");
    EXPECT_EQ(fs::read_symlink(trash() / "served"), one() / "models/x/y");
}

TEST_F(SwitchServedTest, refusesATargetThatIsNotInside)
{
    const std::string refusal = "The served model is not inside " + two().string() + " — cannot map it across drives.";
    EXPECT_EQ(CrucibleAdmin::switchServed(served(), one() / "models", two(), one()), (Outcome {false, refusal}));
    EXPECT_EQ(CrucibleAdmin::switchServed(served(), two(), two(), one()), (Outcome {false, refusal}));
    EXPECT_EQ(read(served() / "weights"), "one");
}

TEST_F(SwitchServedTest, refusesWhereThereIsNoCopy)
{
    fs::remove_all(two() / "models/x/y");
    EXPECT_EQ(CrucibleAdmin::switchServed(served(), one() / "models/x/y", one(), two()),
              (Outcome {false, "No copy of these weights on that drive:\n" + (two() / "models/x/y").string()}));
    EXPECT_EQ(read(served() / "weights"), "one");
    EXPECT_THAT(trashed(), testing::IsEmpty());
}

TEST_F(SwitchServedTest, refusesToReplaceRealWeightsByALink)
{
    const Outcome outcome = CrucibleAdmin::switchServed(one() / "models/x/y", one() / "models/x/y", one(), two());
    EXPECT_FALSE(outcome.ok);
    EXPECT_THAT(outcome.message, testing::HasSubstr("refusing to orphan it."));
    EXPECT_EQ(read(one() / "models/x/y/weights"), "one");
    EXPECT_THAT(trashed(), testing::IsEmpty());
}

TEST_F(SwitchServedTest, foretellingTouchesNothing)
{
    EXPECT_EQ(CrucibleAdmin::foretellSwitchServed(served(), one() / "models/x/y", one(), two()),
              (Outcome {true, "Would serve from:\n" + (two() / "models/x/y").string()}));
    EXPECT_FALSE(CrucibleAdmin::foretellSwitchServed(served(), two(), two(), one()).ok);
    EXPECT_TRUE(CrucibleAdmin::foretellSetRoot(served(), two()).ok);
    EXPECT_FALSE(CrucibleAdmin::foretellSetRoot(one(), two()).ok);
    EXPECT_EQ(CrucibleAdmin::foretellRepoint(served(), two(), "restored"),
              (Outcome {true, "Would be restored:\n" + two().string()}));
    EXPECT_FALSE(CrucibleAdmin::foretellRepoint(served(), served(), "restored").ok);
    EXPECT_EQ(read(served() / "weights"), "one");
    EXPECT_THAT(trashed(), testing::IsEmpty());
}

} // namespace
