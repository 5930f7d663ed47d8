#include "ManagerCore/Crucible/CrucibleMove.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "ManagerCore/Crucible/CrucibleMoveGuard.h"
#include "ManagerCore/Foundation/Size.h"
#include "Tests/ManagerCore/Crucible/CrucibleTest.h"
#include "Tests/ManagerCore/Crucible/SampleTree.h"

namespace CrucibleMove = ManagerCore::CrucibleMove;
namespace CrucibleMoveGuard = ManagerCore::CrucibleMoveGuard;
namespace Size = ManagerCore::Size;
using CrucibleMoveGuard::Verdict;
using ManagerCore::TreeCopier;
using Outcome = ManagerCore::CrucibleAdmin::Outcome;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

namespace
{

class CrucibleMoveTest : public CrucibleTest
{
protected:
    [[nodiscard]] fs::path from() const { return home() / "from"; }
    [[nodiscard]] fs::path to() const { return home() / "to"; }
    [[nodiscard]] fs::path node() const { return from() / "models/a"; }
    [[nodiscard]] fs::path copy() const { return to() / "models/a"; }

    [[nodiscard]] Outcome move(TreeCopier::Watcher* watcher = nullptr) const
    {
        return CrucibleMove::relocate(node(), from(), to(), watcher);
    }

    // The node stands as it was and nothing went to the Trash.
    void expectUntouched(const SampleTree::Contents& before) const
    {
        EXPECT_EQ(SampleTree::contents(node()), before);
        EXPECT_THAT(trashed(), IsEmpty());
    }
};

// ---- the guard ----

TEST_F(CrucibleMoveTest, theGuardTellsWhatStandsAtTheDestination)
{
    write(node() / "file", "x");
    EXPECT_EQ(CrucibleMoveGuard::verdict(copy(), node()), Verdict {});
    write(copy(), "x");
    EXPECT_EQ(CrucibleMoveGuard::verdict(copy(), node()),
              (Verdict {.kind = Verdict::Kind::occupied,
                        .message
                        = "Destination already exists as a real item — refusing to overwrite:\n" + copy().string()}));
    fs::remove(copy());
    for (const fs::path& target : {node(), fs::path("../../from/models/a"), from() / "models/../models/a"}) {
        makeLink(copy(), target);
        EXPECT_EQ(CrucibleMoveGuard::verdict(copy(), node()),
                  (Verdict {.kind = Verdict::Kind::shimToTrash, .shim = copy()}))
            << target;
        fs::remove(copy());
    }
    makeLink(copy(), "gone");
    EXPECT_EQ(CrucibleMoveGuard::verdict(copy(), node()),
              (Verdict {.kind = Verdict::Kind::occupied,
                        .message = "Destination is a link to something else — refusing to replace it:\n"
                            + copy().string() + " -> " + (to() / "models/gone").string()}));
    fs::remove(copy());
    makeLink(copy(), from() / "models");
    EXPECT_EQ(CrucibleMoveGuard::verdict(copy(), node()).kind, Verdict::Kind::occupied);
}

// ---- refusals, each leaving the disk as it was ----

TEST_F(CrucibleMoveTest, aNodeThatIsALinkIsRefusedEvenWhenItResolves)
{
    write(scratch() / "weights", "x");
    makeLink(node(), scratch() / "weights");
    EXPECT_EQ(move(), (Outcome {false, node().string() + " is already a link — nothing to move."}));
    fs::remove(node());
    makeLink(node(), "gone");
    EXPECT_EQ(move(), (Outcome {false, node().string() + " is already a link — nothing to move."}));
    EXPECT_FALSE(fs::exists(to()));
}

TEST_F(CrucibleMoveTest, aMissingNodeIsRefused)
{
    EXPECT_EQ(move(), (Outcome {false, "No such node: " + node().string()}));
    EXPECT_EQ(CrucibleMove::relocate({}, from(), to()), (Outcome {false, "No such node: "}));
}

TEST_F(CrucibleMoveTest, aNodeOutsideOfTheRootOrTheRootItselfIsRefused)
{
    write(node() / "file", "x");
    EXPECT_EQ(CrucibleMove::relocate(node(), to(), from()),
              (Outcome {false, node().string() + " is not under " + to().string() + "."}));
    EXPECT_EQ(CrucibleMove::relocate(from(), from(), to()),
              (Outcome {false, from().string() + " is not under " + from().string() + "."}));
    EXPECT_FALSE(CrucibleMove::relocate(node() / "..", node(), to()).ok);
    EXPECT_FALSE(CrucibleMove::relocate(node(), {}, to()).ok);
    EXPECT_FALSE(fs::exists(to()));
}

TEST_F(CrucibleMoveTest, aNodeWhosePathDoesNotEndWithANameIsRefused)
{
    write(node() / "file", "x");
    for (const char* dots : {"a/..", "a/."}) {
        const fs::path path = from() / "models" / dots;
        const Outcome refusal {false, "The path “" + path.string() + "” doesn’t end with a name."};
        EXPECT_EQ(CrucibleMove::relocate(path, from(), to()), refusal);
        EXPECT_EQ(CrucibleMove::foretell(path, from(), to()), refusal);
    }
    EXPECT_EQ(read(node() / "file"), "x");
    EXPECT_FALSE(fs::exists(to()));
    EXPECT_THAT(trashed(), IsEmpty());
}

TEST_F(CrucibleMoveTest, anOccupiedDestinationIsRefused)
{
    write(node() / "file", "mine");
    write(copy() / "file", "theirs");
    EXPECT_EQ(
        move(),
        (Outcome {false, "Destination already exists as a real item — refusing to overwrite:\n" + copy().string()}));
    EXPECT_EQ(read(copy() / "file"), "theirs");
    EXPECT_EQ(read(node() / "file"), "mine");
}

TEST_F(CrucibleMoveTest, theSameRootUnderAnotherNameIsNoDestination)
{
    write(node() / "file", "mine");
    makeLink(to(), "from");
    EXPECT_THAT(move().message, StartsWith("Destination already exists as a real item"));
    EXPECT_EQ(read(node() / "file"), "mine");
    EXPECT_THAT(trashed(), IsEmpty());
}

TEST_F(CrucibleMoveTest, aFolderIsNotMovedIntoItself)
{
    write(node() / "file", "mine");
    for (const fs::path& inside : {node(), node() / "deep/er"}) {
        EXPECT_EQ(
            CrucibleMove::relocate(node(), from(), inside),
            (Outcome {false, "Copy failed (original untouched): The folder “a” couldn’t be copied into itself."}));
    }
    makeLink(home() / "way", node());
    EXPECT_FALSE(CrucibleMove::relocate(node(), from(), home() / "way").ok);
    EXPECT_EQ(SampleTree::contents(node()).size(), 2) << "nothing was made in it";
}

TEST_F(CrucibleMoveTest, whatCannotBeCopiedIsRefusedBeforeAnythingIsMade)
{
    write(node() / "file", "mine");
    ::mknod((node() / "socket").c_str(), S_IFSOCK | 0600, 0);
    makeLink(copy(), node());
    const Outcome outcome = move();
    EXPECT_EQ(outcome.message,
              "Copy failed (original untouched): The file “socket” couldn’t be opened because it is a device or a "
              "socket, which cannot be copied.");
    EXPECT_TRUE(fs::is_symlink(copy())) << "the old back-link stays";
    EXPECT_THAT(trashed(), IsEmpty());
}

TEST_F(CrucibleMoveTest, foldersThatCannotBeMadeFailTheCopy)
{
    write(node() / "file", "mine");
    write(to(), "a file, not a folder");
    EXPECT_THAT(move().message, StartsWith("Copy failed (original untouched): The file “"));
    fs::remove(to());
    makeLink(to(), "gone");
    EXPECT_EQ(move().message,
              "Copy failed (original untouched): The file “to” couldn’t be saved in the folder “home” because a file "
              "with the same name already exists.");
    EXPECT_EQ(read(node() / "file"), "mine");
}

// ---- moves ----

TEST_F(CrucibleMoveTest, aFolderMovesTheOriginalGoesToTheTrashAndALinkStaysBehind)
{
    SampleTree::make(node());
    const auto before = SampleTree::contents(node());
    const std::int64_t size = Size::of(node());
    EXPECT_EQ(move(), (Outcome {true, "Moved (" + Size::human(size) + ") and linked:\n" + copy().string()}));
    EXPECT_EQ(fs::read_symlink(node()), copy());
    EXPECT_EQ(SampleTree::contents(copy()), before);
    EXPECT_EQ(SampleTree::contents(trash() / "a"), before);
    EXPECT_THAT(trashed(), ElementsAre("a"));
}

TEST_F(CrucibleMoveTest, aSingleFileMoves)
{
    write(from() / "models/one.gguf", std::string(3000000, 'w'));
    fs::permissions(from() / "models/one.gguf", fs::perms::owner_read);
    const auto before = SampleTree::contents(from() / "models/one.gguf");
    EXPECT_TRUE(CrucibleMove::relocate(from() / "models/one.gguf", from(), to()).ok);
    EXPECT_EQ(SampleTree::contents(to() / "models/one.gguf"), before);
    EXPECT_EQ(fs::read_symlink(from() / "models/one.gguf"), to() / "models/one.gguf");
}

TEST_F(CrucibleMoveTest, anEmptyFolderMoves)
{
    fs::create_directories(node());
    EXPECT_EQ(move(), (Outcome {true, "Moved (Zero KB) and linked:\n" + copy().string()}));
    EXPECT_TRUE(fs::is_directory(fs::symlink_status(copy())));
}

TEST_F(CrucibleMoveTest, thereAndBackAgainClearsTheBackLink)
{
    SampleTree::make(node());
    const auto before = SampleTree::contents(node());
    ASSERT_TRUE(move().ok);
    const Outcome back = CrucibleMove::relocate(copy(), to(), from());
    EXPECT_TRUE(back.ok) << back.message;
    EXPECT_EQ(SampleTree::contents(node()), before);
    EXPECT_EQ(fs::read_symlink(copy()), node());
    EXPECT_EQ(trashed().size(), 3) << "the original, the old back-link and the copy";
}

TEST_F(CrucibleMoveTest, hardLinksStayNamesOfOneFile)
{
    write(node() / "first", std::string(100000, 'x'));
    fs::create_directories(node() / "deep");
    fs::create_hard_link(node() / "first", node() / "deep/second");
    fs::create_hard_link(node() / "first", node() / "third");
    fs::create_hard_link(node() / "first", scratch() / "outside");
    ASSERT_TRUE(move().ok);
    EXPECT_EQ(fs::hard_link_count(copy() / "first"), 3);
    EXPECT_TRUE(fs::equivalent(copy() / "first", copy() / "deep/second"));
    EXPECT_TRUE(fs::equivalent(copy() / "first", copy() / "third"));
    EXPECT_EQ(read(scratch() / "outside"), std::string(100000, 'x'));
}

TEST_F(CrucibleMoveTest, holesStayHolesAndDataNeverBecomesOne)
{
    SampleTree::writeWithHoles(node() / "sparse", 64 << 20, {{0, 5000}, {20 << 20, 100}, {(64 << 20) - 10, 10}});
    write(node() / "zeros", std::string(5 << 20, '\0'));
    ASSERT_TRUE(move().ok);
    EXPECT_LT(Size::of(copy() / "sparse"), 1 << 20);
    EXPECT_EQ(Size::of(copy() / "sparse"), Size::of(trash() / "a/sparse"));
    EXPECT_GE(Size::of(copy() / "zeros"), 5 << 20);
    EXPECT_EQ(fs::file_size(copy() / "sparse"), 64U << 20);
}

TEST_F(CrucibleMoveTest, oddNamesMove)
{
    for (const char* name : {"line\nbreak", "quote\"'", "caf\xE9", " ", "-rf", "ü=#", "trail ", "..."}) {
        write(from() / name / name, name);
        const Outcome outcome = CrucibleMove::relocate(from() / name, from(), to());
        EXPECT_TRUE(outcome.ok) << outcome.message;
        EXPECT_EQ(read(to() / name / name), name);
        EXPECT_EQ(fs::read_symlink(from() / name), to() / name);
    }
}

TEST_F(CrucibleMoveTest, namedPipesMoveAndNobodyWaitsForThem)
{
    fs::create_directories(node());
    ASSERT_EQ(::mkfifo((node() / "pipe").c_str(), 0640), 0);
    makeLink(node() / "link", "pipe");
    const auto before = SampleTree::contents(node());
    EXPECT_TRUE(move().ok);
    EXPECT_EQ(SampleTree::contents(copy()), before);
    EXPECT_TRUE(fs::is_fifo(copy() / "pipe"));
}

TEST_F(CrucibleMoveTest, linksInTheNodeAreMovedAsLinksWhereverTheyLead)
{
    write(scratch() / "outside/file", "not part of it");
    makeLink(node() / "out", scratch() / "outside");
    makeLink(node() / "up", "..");
    makeLink(node() / "self", ".");
    makeLink(node() / "loop", "loop");
    EXPECT_TRUE(move().ok);
    EXPECT_EQ(fs::read_symlink(copy() / "out"), scratch() / "outside");
    EXPECT_EQ(fs::read_symlink(copy() / "up"), "..");
    EXPECT_EQ(fs::read_symlink(copy() / "loop"), "loop");
    EXPECT_EQ(read(scratch() / "outside/file"), "not part of it");
}

TEST_F(CrucibleMoveTest, readOnlyFoldersAndFilesMove)
{
    write(node() / "closed/file", "x");
    fs::permissions(node() / "closed/file", fs::perms::none);
    fs::permissions(node() / "closed", fs::perms::owner_read | fs::perms::owner_exec);
    if (!TestSupport::isRoot()) {
        fs::permissions(node() / "closed/file", fs::perms::owner_read);
    }
    const auto before = SampleTree::contents(node());
    EXPECT_TRUE(move().ok);
    EXPECT_EQ(SampleTree::contents(copy()), before);
    for (const fs::path& root : {copy(), trash() / "a"}) {
        fs::permissions(root / "closed", fs::perms::owner_all);
    }
}

TEST_F(CrucibleMoveTest, pathsLongerThanTheSystemTakesAtOnceMove)
{
    std::string script = "cd '" + node().string() + "' 2>/dev/null || { mkdir -p '" + node().string() + "' && cd '"
        + node().string() + "'; }; ";
    script += "name=$(printf 'x%.0s' $(seq 200)); for i in $(seq 30); do mkdir $name && cd -P ./$name; done; echo deep "
              ">file";
    write(scratch() / "deep.sh", script);
    ASSERT_EQ(std::system(("bash '" + (scratch() / "deep.sh").string() + "'").c_str()), 0);
    const Outcome outcome = move();
    EXPECT_TRUE(outcome.ok) << outcome.message;
    EXPECT_EQ(Size::of(copy()), Size::of(trash() / "a"));
    EXPECT_GT(Size::of(copy()), 0);
}

TEST_F(CrucibleMoveTest, foretellingTouchesNothing)
{
    write(node() / "file", std::string(5000, 'x'));
    EXPECT_EQ(CrucibleMove::foretell(node(), from(), to()),
              (Outcome {true, "Would move (8 KB) and link:\n" + copy().string()}));
    EXPECT_FALSE(fs::exists(to()));
    EXPECT_FALSE(CrucibleMove::foretell(node(), to(), from()).ok);
    EXPECT_FALSE(CrucibleMove::foretell(node(), from(), node()).ok);
    EXPECT_TRUE(fs::is_directory(fs::symlink_status(node())));
}

// ---- watched and stopped ----

TEST_F(CrucibleMoveTest, progressGrowsToTheWhole)
{
    SampleTree::make(node());
    std::vector<TreeCopier::Progress> seen;
    TreeCopier::Watcher watcher([&seen](const TreeCopier::Progress& progress) { seen.push_back(progress); });
    ASSERT_TRUE(move(&watcher).ok);
    ASSERT_FALSE(seen.empty());
    for (std::size_t index = 1; index < seen.size(); index++) {
        EXPECT_GE(seen[index].bytesDone, seen[index - 1].bytesDone);
        EXPECT_EQ(seen[index].bytesTotal, seen[0].bytesTotal);
        EXPECT_THAT(seen[index].file.string(), StartsWith(node().string() + "/"));
    }
    EXPECT_GT(seen.back().bytesDone, 0);
    EXPECT_NEAR(static_cast<double>(seen.back().bytesDone), static_cast<double>(seen.back().bytesTotal), 65536);
}

TEST_F(CrucibleMoveTest, aStopBetweenPiecesLeavesTheOriginalUntouched)
{
    write(node() / "big", std::string(20 << 20, 'x'));
    const auto before = SampleTree::contents(node());
    TreeCopier::Watcher* reached = nullptr;
    TreeCopier::Watcher watcher([&reached](const TreeCopier::Progress& progress) {
        if (progress.bytesDone >= 3 << 20) {
            reached->stop();
        }
    });
    reached = &watcher;
    EXPECT_EQ(move(&watcher), (Outcome {false, "Copy failed (original untouched): The copy was stopped."}));
    expectUntouched(before);
    EXPECT_TRUE(fs::exists(copy())) << "what was copied so far stays";
    EXPECT_EQ(
        move(),
        (Outcome {false, "Destination already exists as a real item — refusing to overwrite:\n" + copy().string()}));
    fs::remove_all(copy());
    EXPECT_TRUE(move().ok);
}

TEST_F(CrucibleMoveTest, aStopBeforeTheFirstPieceMakesNoFile)
{
    write(node() / "file", "x");
    TreeCopier::Watcher watcher;
    watcher.stop();
    EXPECT_EQ(move(&watcher).message, "Copy failed (original untouched): The copy was stopped.");
    EXPECT_FALSE(fs::exists(copy()));
    EXPECT_EQ(read(node() / "file"), "x");
}

// ---- what happens to source and destination meanwhile ----

class MeanwhileTest : public CrucibleMoveTest
{
protected:
    MeanwhileTest()
    {
        write(node() / "a-first", std::string(6 << 20, 'a'));
        write(node() / "b-second", std::string(6 << 20, 'b'));
        write(node() / "deep/c-third", "c");
    }

    // Moves and does `what` once, after the first piece.
    Outcome moveAnd(const std::function<void()>& what) const
    {
        bool done = false;
        TreeCopier::Watcher watcher([&](const TreeCopier::Progress& progress) {
            if (!done && progress.bytesDone > 0) {
                done = true;
                what();
            }
        });
        const Outcome outcome = move(&watcher);
        EXPECT_TRUE(done);
        return outcome;
    }

    static void overwrite(const fs::path& file, off_t offset, const std::string& bytes)
    {
        const int descriptor = ::open(file.c_str(), O_WRONLY | O_CLOEXEC);
        ASSERT_EQ(::pwrite(descriptor, bytes.data(), bytes.size(), offset), static_cast<ssize_t>(bytes.size()));
        ::close(descriptor);
    }
};

TEST_F(MeanwhileTest, aChangedSourceStaysWhole)
{
    const std::vector<std::function<void()>> changes {
        [this] { overwrite(node() / "a-first", 100, "changed in place"); },
        [this] { overwrite(node() / "b-second", 6 << 20, "grown"); },
        [this] { fs::resize_file(node() / "b-second", 1000); },
        [this] { write(node() / "deep/new", "new"); },
        [this] { write(node() / "deep/deeper/new", "new"); },
        [this] { fs::remove(node() / "deep/c-third"); },
        [this] { fs::rename(node() / "deep/c-third", node() / "deep/renamed"); },
        [this] {
            fs::rename(node() / "b-second", scratch() / "kept");
            write(node() / "b-second", std::string(6 << 20, 'B'));
        },
        [this] { overwrite(node() / "deep/c-third", 0, "C"); },
    };
    for (std::size_t index = 0; index < changes.size(); index++) {
        fs::remove_all(from());
        fs::remove_all(to());
        fs::remove_all(scratch() / "kept");
        write(node() / "a-first", std::string(6 << 20, 'a'));
        write(node() / "b-second", std::string(6 << 20, 'b'));
        write(node() / "deep/c-third", "c");
        SampleTree::Contents changed;
        const Outcome outcome = moveAnd([&] {
            changes[index]();
            changed = SampleTree::contents(node());
        });
        EXPECT_FALSE(outcome.ok) << index;
        EXPECT_THAT(
            outcome.message,
            testing::AnyOf(StartsWith("Copy failed (original untouched): "), StartsWith("Copy verification FAILED (")))
            << index;
        EXPECT_EQ(SampleTree::contents(node()), changed) << index;
        EXPECT_THAT(trashed(), IsEmpty()) << index;
    }
}

TEST_F(MeanwhileTest, aReplacedSourceIsNotTakenForTheOriginal)
{
    const Outcome outcome = moveAnd([this] {
        fs::rename(node(), scratch() / "aside");
        write(node() / "impostor", "never copied");
    });
    EXPECT_FALSE(outcome.ok);
    EXPECT_EQ(read(node() / "impostor"), "never copied");
    EXPECT_EQ(read(scratch() / "aside/a-first"), std::string(6 << 20, 'a'));
    EXPECT_THAT(trashed(), IsEmpty());
}

TEST_F(MeanwhileTest, ADestinationRootReplacedByALinkDoesNotRedirectTheCopy)
{
    const auto before = SampleTree::contents(node());
    fs::create_directories(scratch() / "elsewhere/models/a/deep");
    const Outcome outcome = moveAnd([this] {
        fs::rename(to(), scratch() / "aside");
        makeLink(to(), scratch() / "elsewhere");
    });
    EXPECT_FALSE(outcome.ok);
    expectUntouched(before);
    EXPECT_EQ(SampleTree::contents(scratch() / "elsewhere").size(), 4) << "nothing was written there";
}

TEST_F(MeanwhileTest, AFolderOfTheCopyReplacedByALinkIsNotFollowed)
{
    write(node() / "z-deep/last", std::string(2 << 20, 'z'));
    const auto before = SampleTree::contents(node());
    fs::create_directories(scratch() / "elsewhere");
    const Outcome outcome = moveAnd([this] {
        fs::rename(copy() / "z-deep", scratch() / "aside");
        makeLink(copy() / "z-deep", scratch() / "elsewhere");
    });
    EXPECT_FALSE(outcome.ok);
    expectUntouched(before);
    EXPECT_THAT(fs::directory_iterator(scratch() / "elsewhere"), testing::Eq(fs::directory_iterator()));
}

TEST_F(MeanwhileTest, aCopyThatIsTakenAwayIsNoticed)
{
    const auto before = SampleTree::contents(node());
    const Outcome outcome = moveAnd([this] { fs::rename(copy(), scratch() / "aside"); });
    EXPECT_FALSE(outcome.ok);
    expectUntouched(before);
}

} // namespace
