#include "ManagerCore/Inventory/MarkerSearch.h"

#include <atomic>
#include <chrono>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

#include <gmock/gmock.h>

#include "Tests/Support/Permissions.h"
#include "Tests/Support/Sandbox.h"

namespace MarkerSearch = ManagerCore::MarkerSearch;
namespace fs = std::filesystem;
using testing::Each;
using testing::ElementsAre;
using TestSupport::makeLink;
using TestSupport::write;

namespace
{

constexpr std::size_t piece = std::size_t {256} << 10; // what is read at once
const std::string marker = "identity-marker-7d41c0e9";

class MarkerSearchTest : public TestSupport::SandboxTest
{
protected:
    // Whether a file of these bytes holds the marker.
    [[nodiscard]] bool held(const std::string& bytes, const std::string& text = marker) const
    {
        write(scratch() / "file", bytes);
        return MarkerSearch::holds({scratch() / "file"}, text).front();
    }
};

std::string withMarkerAt(std::size_t place, std::size_t length, const std::string& text = marker)
{
    std::string bytes(length, 'x');
    bytes.replace(place, text.size(), text);
    return bytes;
}

TEST_F(MarkerSearchTest, noFilesGiveNoAnswers) { EXPECT_THAT(MarkerSearch::holds({}, marker), testing::IsEmpty()); }

TEST_F(MarkerSearchTest, theMarkerMayStandAnywhereInAFile)
{
    EXPECT_TRUE(held(marker));
    EXPECT_TRUE(held(withMarkerAt(0, 5 * piece)));
    EXPECT_TRUE(held(withMarkerAt(5 * piece - marker.size(), 5 * piece)));
    EXPECT_TRUE(held(withMarkerAt(3 * piece + 77, 5 * piece)));
    EXPECT_FALSE(held(std::string(5 * piece, 'x')));
    EXPECT_FALSE(held(marker.substr(1)));
    EXPECT_FALSE(held(marker.substr(0, marker.size() - 1)));
    EXPECT_FALSE(held(""));
}

TEST_F(MarkerSearchTest, acrossTheEdgeOfTwoPiecesItIsFoundToo)
{
    for (const std::size_t edge : {piece, 2 * piece}) {
        for (std::size_t place = edge - marker.size() - 1; place <= edge + 1; place++) {
            EXPECT_TRUE(held(withMarkerAt(place, edge + 2 * marker.size()))) << place;
            EXPECT_FALSE(held(withMarkerAt(place, place + marker.size() - 1, marker.substr(0, marker.size() - 1))));
        }
    }
}

TEST_F(MarkerSearchTest, twoHalvesThatAreApartAreNoMarker)
{
    std::string bytes(3 * piece, 'x');
    bytes.replace(piece - 10, 10, marker.substr(0, 10));
    bytes.replace(2 * piece, marker.size() - 10, marker.substr(10));
    EXPECT_FALSE(held(bytes));
}

TEST_F(MarkerSearchTest, aMarkerMayBeOneByteOrLongerThanAPiece)
{
    EXPECT_TRUE(held(std::string(piece, 'x') + "y", "y"));
    EXPECT_FALSE(held(std::string(piece, 'x'), "y"));
    std::string large(piece + 1000, 'm');
    large[500] = 'a';
    large[piece] = 'z';
    EXPECT_TRUE(held(withMarkerAt(piece / 2, 4 * piece, large), large));
    EXPECT_TRUE(held(withMarkerAt(3 * piece - 3, 5 * piece, large), large));
    EXPECT_FALSE(held(withMarkerAt(3 * piece - 3, 5 * piece, large.substr(1)), large));
    EXPECT_FALSE(held("short", large));
}

TEST_F(MarkerSearchTest, holesArePassedOverAndMissNothing)
{
    const fs::path file = scratch() / "sparse";
    write(file, "beginning");
    fs::resize_file(file, std::uintmax_t {1} << 40); // a terabyte of nothing
    EXPECT_THAT(MarkerSearch::holds({file}, marker), ElementsAre(false));
    const int opened = ::open(file.c_str(), O_WRONLY);
    ASSERT_EQ(::pwrite(opened, marker.data(), marker.size(), (off_t {1} << 40) - 5000),
              static_cast<ssize_t>(marker.size()));
    ::close(opened);
    EXPECT_THAT(MarkerSearch::holds({file}, marker), ElementsAre(true));
}

TEST_F(MarkerSearchTest, twoHalvesOnBothSidesOfAHoleAreNoMarker)
{
    const fs::path file = scratch() / "sparse";
    write(file, withMarkerAt(piece - 10, piece, marker.substr(0, 10)));
    const int opened = ::open(file.c_str(), O_WRONLY);
    const std::string rest = marker.substr(10);
    ASSERT_EQ(::pwrite(opened, rest.data(), rest.size(), 4 * piece), static_cast<ssize_t>(rest.size()));
    ::close(opened);
    EXPECT_THAT(MarkerSearch::holds({file}, marker), ElementsAre(false));
}

TEST_F(MarkerSearchTest, zerosOfAHoleCanBelongToTheMarker)
{
    const fs::path file = scratch() / "sparse";
    write(file, "");
    fs::resize_file(file, 3 * piece);
    const int opened = ::open(file.c_str(), O_WRONLY);
    ASSERT_EQ(::pwrite(opened, "text", 4, 2 * piece), 4);
    ::close(opened);
    EXPECT_THAT(MarkerSearch::holds({file}, std::string(3000, '\0') + "text"), ElementsAre(true));
    EXPECT_THAT(MarkerSearch::holds({file}, std::string(3000, '\0') + "test"), ElementsAre(false));
}

TEST_F(MarkerSearchTest, allPathsToAFileGetItsAnswer)
{
    write(scratch() / "marked", withMarkerAt(100, 2 * piece));
    write(scratch() / "plain", std::string(2 * piece, 'x'));
    fs::create_hard_link(scratch() / "marked", scratch() / "hard");
    makeLink(scratch() / "soft", "marked");
    makeLink(scratch() / "chain", "soft");
    const std::vector<fs::path> files {scratch() / "hard",
                                       scratch() / "plain",
                                       scratch() / "soft",
                                       scratch() / "marked",
                                       scratch() / "plain",
                                       scratch() / "chain",
                                       scratch() / "hard"};
    EXPECT_THAT(MarkerSearch::holds(files, marker), ElementsAre(true, false, true, true, false, true, true));
}

TEST_F(MarkerSearchTest, whatIsNoRegularFileIsNeitherOpenedNorWaitedFor)
{
    ASSERT_EQ(::mkfifo((scratch() / "fifo").c_str(), 0600), 0);
    fs::create_directory(scratch() / "folder");
    makeLink(scratch() / "zeros", "/dev/zero");
    makeLink(scratch() / "terminal", "/dev/tty");
    makeLink(scratch() / "dangling", "nowhere");
    makeLink(scratch() / "loop", "loop");
    const int socket = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address {};
    address.sun_family = AF_UNIX;
    const std::string place = (scratch() / "socket").string();
    ASSERT_LT(place.size(), sizeof address.sun_path);
    place.copy(address.sun_path, place.size());
    ASSERT_EQ(::bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    write(scratch() / "file", marker);
    std::vector<fs::path> files;
    for (const char* name : {"fifo", "folder", "zeros", "terminal", "dangling", "loop", "socket", "none"}) {
        files.push_back(scratch() / name);
    }
    files.emplace_back();
    files.push_back(scratch() / "file" / "below");
    EXPECT_THAT(MarkerSearch::holds(files, marker), Each(false));
    files.push_back(scratch() / "file");
    EXPECT_TRUE(MarkerSearch::holds(files, marker).back());
    ::close(socket);
}

TEST_F(MarkerSearchTest, aWriterThatWaitsAtAPipeGoesOnWaiting)
{
    const fs::path fifo = scratch() / "fifo";
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    std::atomic<bool> opened = false;
    std::thread writer([&] {
        const int end = ::open(fifo.c_str(), O_WRONLY);
        opened = true;
        ::close(end);
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(100)); // it waits by now
    for (int round = 0; round < 10; round++) {
        EXPECT_THAT(MarkerSearch::holds({fifo}, marker), ElementsAre(false));
    }
    EXPECT_FALSE(opened);
    const int end = ::open(fifo.c_str(), O_RDONLY | O_NONBLOCK); // lets the writer go
    writer.join();
    ::close(end);
}

TEST_F(MarkerSearchTest, whatMayNotBeReadHoldsNothing)
{
    const TestSupport::PermissionsHold hold;
    write(scratch() / "closed", marker);
    fs::permissions(scratch() / "closed", fs::perms::none);
    EXPECT_THAT(MarkerSearch::holds({scratch() / "closed"}, marker), ElementsAre(false));
}

#ifndef __APPLE__
TEST_F(MarkerSearchTest, aFileWhoseReadingFailsHoldsNothing)
{
    EXPECT_THAT(MarkerSearch::holds({"/proc/self/mem", "/proc/self/status"}, "Threads:"), ElementsAre(false, true));
}
#endif

TEST_F(MarkerSearchTest, aFileThatGrowsWhileItIsReadIsNoFault)
{
    const fs::path grown = scratch() / "grown";
    const fs::path marked = scratch() / "marked";
    write(grown, std::string(4 * piece, 'x'));
    write(marked, withMarkerAt(3 * piece, 4 * piece));
    std::atomic<bool> done = false;
    std::thread writer([&] {
        const int one = ::open(grown.c_str(), O_WRONLY | O_APPEND);
        const int other = ::open(marked.c_str(), O_WRONLY | O_APPEND);
        const std::string more(1000, 'y');
        for (int round = 0; round < 3000 && !done; round++) {
            EXPECT_EQ(::write(one, more.data(), more.size()), 1000);
            EXPECT_EQ(::write(other, more.data(), more.size()), 1000);
        }
        ::close(one);
        ::close(other);
    });
    for (int round = 0; round < 30; round++) {
        EXPECT_THAT(MarkerSearch::holds({grown, marked}, marker), ElementsAre(false, true));
    }
    done = true;
    writer.join();
}

TEST_F(MarkerSearchTest, aFileThatIsCutShortWhileItIsReadIsNoFault)
{
    const fs::path cut = scratch() / "cut";
    const fs::path marked = scratch() / "marked";
    const std::string bytes(8 * piece, 'x');
    write(cut, bytes);
    write(marked, withMarkerAt(10, 8 * piece));
    std::atomic<bool> done = false;
    std::thread cutter([&] {
        const int one = ::open(cut.c_str(), O_WRONLY);
        while (!done) {
            EXPECT_EQ(::ftruncate(one, 0), 0);
            EXPECT_EQ(::pwrite(one, bytes.data(), bytes.size(), 0), static_cast<ssize_t>(bytes.size()));
            fs::resize_file(marked, piece);
            fs::resize_file(marked, 8 * piece);
        }
        ::close(one);
    });
    for (int round = 0; round < 60; round++) {
        EXPECT_THAT(MarkerSearch::holds({cut, marked}, marker), ElementsAre(false, true));
    }
    done = true;
    cutter.join();
}

TEST_F(MarkerSearchTest, theAnswersDoNotDependOnTheThreads)
{
    std::vector<fs::path> files;
    std::vector<bool> expected;
    for (std::size_t file = 0; file < 300; file++) {
        files.push_back(scratch() / std::to_string(file));
        expected.push_back(file % 3 == 0);
        write(files.back(), file % 3 == 0 ? withMarkerAt(file * 100, 40000) : std::string(file * 100, 'x'));
        if (file % 5 == 0) {
            files.push_back(files.back());
            expected.push_back(expected.back());
        }
    }
    for (int round = 0; round < 20; round++) {
        ASSERT_EQ(MarkerSearch::holds(files, marker), expected);
    }
}

} // namespace
