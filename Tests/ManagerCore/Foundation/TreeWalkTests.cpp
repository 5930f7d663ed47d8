#include "ManagerCore/Foundation/TreeWalk.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <fcntl.h>
#include <functional>
#include <limits>
#include <map>
#include <mutex>
#include <sys/resource.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

#include <gmock/gmock.h>

#include "Tests/Support/Permissions.h"
#include "Tests/Support/Sandbox.h"

namespace TreeWalk = ManagerCore::TreeWalk;
namespace fs = std::filesystem;
using TestSupport::write;
using TreeWalk::Kind;

namespace
{

using Found = std::map<std::string, Kind>;

Found everything(const fs::path& root)
{
    Found found;
    std::mutex mutex;
    TreeWalk::walk(root, [&](const TreeWalk::Folder& folder, unsigned) {
        const std::lock_guard lock(mutex);
        for (const TreeWalk::Entry& entry : folder.entries) {
            EXPECT_TRUE(found.emplace(TreeWalk::pathOf(folder, entry), entry.kind).second);
        }
    });
    return found;
}

using TreeWalkTest = TestSupport::SandboxTest;

TEST_F(TreeWalkTest, yieldsEveryEntryOnceWithItsKind)
{
    write(scratch() / "a/file", "x");
    write(scratch() / "a/.hidden/b.app/inside", "x");
    TestSupport::makeLink(scratch() / "a/link", ".hidden");
    TestSupport::makeLink(scratch() / "a/dangling", "nowhere");
    ::mkfifo((scratch() / "a/fifo").c_str(), 0600);
    EXPECT_EQ(everything(scratch() / "a"),
              (Found {{"file", Kind::file},
                      {".hidden", Kind::folder},
                      {".hidden/b.app", Kind::folder},
                      {".hidden/b.app/inside", Kind::file},
                      {"link", Kind::link},
                      {"dangling", Kind::link},
                      {"fifo", Kind::other}}));
}

TEST_F(TreeWalkTest, aRootThatIsALinkIsFollowedAndOthersAreNot)
{
    write(scratch() / "real/file", "x");
    TestSupport::makeLink(scratch() / "root", "real");
    EXPECT_EQ(everything(scratch() / "root"), (Found {{"file", Kind::file}}));
}

TEST_F(TreeWalkTest, onlyAFolderCanBeARoot)
{
    write(scratch() / "file", "x");
    ::mkfifo((scratch() / "fifo").c_str(), 0600);
    const auto visit = [](const TreeWalk::Folder&, unsigned) { FAIL(); };
    EXPECT_FALSE(TreeWalk::walk(scratch() / "file", visit));
    EXPECT_FALSE(TreeWalk::walk(scratch() / "fifo", visit));
    EXPECT_FALSE(TreeWalk::walk(scratch() / "none", visit));
    EXPECT_FALSE(TreeWalk::walk({}, visit));
    fs::create_directory(scratch() / "empty");
    EXPECT_TRUE(TreeWalk::walk(scratch() / "empty", visit));
}

TEST_F(TreeWalkTest, whatIsLeftOutIsNotEntered)
{
    write(scratch() / "tree/keep/file", "x");
    write(scratch() / "tree/skip/file", "x");
    std::vector<std::string> seen;
    TreeWalk::walk(scratch() / "tree", [&](const TreeWalk::Folder& folder, unsigned) {
        for (TreeWalk::Entry& entry : folder.entries) {
            seen.push_back(TreeWalk::pathOf(folder, entry));
            entry.descend = entry.name != "skip";
        }
    });
    EXPECT_THAT(seen, testing::UnorderedElementsAre("keep", "skip", "keep/file"));
}

TEST_F(TreeWalkTest, aLargeFolderComesInChunksAndNothingIsLost)
{
    for (int file = 0; file < 5000; file++) {
        write(scratch() / "many" / ("a file with a rather long name " + std::to_string(file)), "");
    }
    std::size_t chunks = 0;
    std::size_t entries = 0;
    TreeWalk::walk(scratch() / "many", [&](const TreeWalk::Folder& folder, unsigned) {
        chunks++;
        entries += folder.entries.size();
    });
    EXPECT_EQ(entries, 5000U);
    EXPECT_GT(chunks, 1U);
    EXPECT_EQ(everything(scratch() / "many").size(), 5000U);
}

TEST_F(TreeWalkTest, noWorkerIndexIsUsedByTwoThreadsAtOnce)
{
    for (int folder = 0; folder < 500; folder++) {
        write(scratch() / "wide" / std::to_string(folder) / "x/y/z", "");
    }
    std::array<std::atomic<int>, TreeWalk::workers> inside {};
    std::atomic<int> folders = 0;
    TreeWalk::walk(scratch() / "wide", [&](const TreeWalk::Folder&, unsigned worker) {
        ASSERT_LT(worker, TreeWalk::workers);
        EXPECT_EQ(inside[worker]++, 0);
        folders++;
        inside[worker]--;
    });
    EXPECT_EQ(folders, 1 + 500 * 3);
}

TEST_F(TreeWalkTest, allWorkersTakePartInALargeTree)
{
    for (int folder = 0; folder < 1000; folder++) {
        write(scratch() / "wide" / std::to_string(folder) / "file", "");
    }
    std::array<std::atomic<bool>, TreeWalk::workers> seen {};
    const auto allSeen = [&seen] { return std::ranges::all_of(seen, std::identity {}); };
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    TreeWalk::walk(scratch() / "wide", [&](const TreeWalk::Folder&, unsigned worker) {
        seen.at(worker) = true;
        // The caller's thread goes on, slowly, to hand folders over to the others.
        const int waits = worker == 0 ? 1 : std::numeric_limits<int>::max();
        for (int wait = 0; wait < waits && !allSeen() && std::chrono::steady_clock::now() < deadline; wait++) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });
    EXPECT_TRUE(allSeen());
}

TEST_F(TreeWalkTest, aSmallTreeIsWalkedByTheCallingThread)
{
    for (int folder = 0; folder < 15; folder++) {
        write(scratch() / "small" / std::to_string(folder) / "file", "");
    }
    const std::thread::id caller = std::this_thread::get_id();
    int visits = 0;
    TreeWalk::walk(scratch() / "small", [&](const TreeWalk::Folder&, unsigned worker) {
        EXPECT_EQ(worker, 0U);
        EXPECT_EQ(std::this_thread::get_id(), caller);
        visits++;
    });
    EXPECT_EQ(visits, 16);
}

TEST_F(TreeWalkTest, aFolderThatCannotBeReadMakesTheWalkIncomplete)
{
    const TestSupport::PermissionsHold hold;
    for (int folder = 0; folder < 100; folder++) {
        write(scratch() / "tree" / std::to_string(folder) / "file", "");
    }
    std::atomic<int> visits = 0;
    const auto visit = [&visits](const TreeWalk::Folder&, unsigned) { visits++; };
    EXPECT_TRUE(TreeWalk::walk(scratch() / "tree", visit));
    EXPECT_EQ(visits, 101);
    fs::permissions(scratch() / "tree/50", fs::perms::none);
    visits = 0;
    EXPECT_FALSE(TreeWalk::walk(scratch() / "tree", visit));
    EXPECT_EQ(visits, 100) << "the others are visited";
    EXPECT_FALSE(TreeWalk::walk(scratch() / "tree/50", visit));
    fs::permissions(scratch() / "tree/50", fs::perms::owner_all);
}

TEST_F(TreeWalkTest, aFewDescriptorsAreEnough)
{
    fs::path deep = scratch() / "tree";
    for (int depth = 0; depth < 300; depth++) {
        deep /= "d";
        write(deep / "file", "");
        write(deep / "side/file", "");
    }
    rlimit before {};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit few {.rlim_cur = 32, .rlim_max = before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &few), 0);
    const Found found = everything(scratch() / "tree");
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_EQ(found.size(), 300U * 4);
}

TEST_F(TreeWalkTest, severalWalksAtOnceDoNotDisturbEachOther)
{
    for (int folder = 0; folder < 100; folder++) {
        write(scratch() / "tree" / std::to_string(folder) / "x/y", "");
    }
    std::vector<std::thread> walkers;
    std::atomic<int> right = 0;
    for (int walker = 0; walker < 8; walker++) {
        walkers.emplace_back([&] { right += everything(scratch() / "tree").size() == 300 ? 1 : 0; });
    }
    for (std::thread& walker : walkers) {
        walker.join();
    }
    EXPECT_EQ(right, 8);
}

// Else a child's output would seem to go on until the walk is over.
TEST_F(TreeWalkTest, aWalkKeepsNoPipeOfOthersOpen)
{
    for (int number = 0; number < 200; number++) {
        fs::create_directories(scratch() / "tree" / std::to_string(number));
        TestSupport::write(scratch() / "tree" / std::to_string(number) / "file", "");
    }
    std::array<int, 2> ends {-1, -1};
    ASSERT_EQ(::pipe(ends.data()), 0);
    ASSERT_EQ(::fcntl(ends[0], F_SETFL, O_NONBLOCK), 0);
    std::atomic<bool> othersWork = false;
    std::atomic<bool> looked = false;
    ssize_t seen = -1;
    TreeWalk::walk(scratch() / "tree", [&](const TreeWalk::Folder&, unsigned worker) {
        if (worker != 0) {
            othersWork = true;
            for (int wait = 0; wait < 5000 && !looked; wait++) {
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
        } else if (othersWork && !looked) {
            ::close(ends[1]);
            char byte = 0;
            // A thread that begins has a copy for a moment.
            for (int wait = 0; wait < 1000 && (seen = ::read(ends[0], &byte, 1)) < 0; wait++) {
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
            looked = true;
        } else {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });
    ASSERT_TRUE(looked) << "no other thread took part";
    EXPECT_EQ(seen, 0) << "the pipe is at its end";
    ::close(ends[0]);
}

} // namespace
