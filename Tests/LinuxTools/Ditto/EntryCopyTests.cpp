// Single files, links and named pipes.

#include "LinuxTools/Ditto/EntryCopy.h"

#include <atomic>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "Tests/LinuxTools/Support/DittoTest.h"

namespace
{

using namespace TestSupport;
using namespace std::chrono_literals;
using ManagerCore::Proc::Out;
namespace fs = std::filesystem;

using DittoFile = DittoTest;

const Out done {0, "", ""};

TEST_F(DittoFile, IsCopiedToThePath)
{
    write(source(), "contents");
    fs::permissions(source(), fs::perms(0640));
    EXPECT_EQ(ditto(source(), scratch() / "new/folders/name"), done);
    EXPECT_EQ(read(scratch() / "new/folders/name"), "contents");
    EXPECT_EQ(statusOf(scratch() / "new/folders/name").st_mode, statusOf(source()).st_mode);
    EXPECT_EQ(statusOf(scratch() / "new/folders/name").st_mtim.tv_nsec, statusOf(source()).st_mtim.tv_nsec);
}

TEST_F(DittoFile, MayBeEmptyOrLarge)
{
    for (const std::size_t size : {std::size_t {0}, std::size_t {1}, std::size_t {1} << 20, std::size_t {20000001}}) {
        const std::string bytes = noise(size);
        write(source(), bytes);
        EXPECT_EQ(ditto(source(), destination()), done);
        EXPECT_TRUE(read(destination()) == bytes) << size;
    }
}

TEST_F(DittoFile, GoesIntoAFolder)
{
    write(source(), "contents");
    fs::create_directories(destination());
    EXPECT_EQ(ditto(source(), destination()), done);
    EXPECT_EQ(read(destination() / "source"), "contents");

    fs::create_directories(scratch() / "real");
    makeLink(scratch() / "link", "real");
    EXPECT_EQ(ditto(source(), scratch() / "link"), done);
    EXPECT_EQ(read(scratch() / "real/source"), "contents");

    EXPECT_EQ(ditto(source(), scratch() / "to be made/"), done);
    EXPECT_EQ(read(scratch() / "to be made/source"), "contents");
}

TEST_F(DittoFile, IsFollowedWhenALinkNamesIt)
{
    write(scratch() / "real", "contents");
    makeLink(source(), "real");
    EXPECT_EQ(ditto(source(), destination()), done);
    EXPECT_FALSE(fs::is_symlink(destination()));
    EXPECT_EQ(read(destination()), "contents");

    fs::create_directories(scratch() / "folder");
    EXPECT_EQ(ditto(source(), scratch() / "folder"), done);
    EXPECT_EQ(namesIn(scratch() / "folder"), std::vector<std::string> {"source"});
}

TEST_F(DittoFile, ReplacesAFile)
{
    write(source(), "new");
    write(destination(), "the old contents");
    fs::create_hard_link(destination(), scratch() / "other name of the old");
    EXPECT_EQ(ditto(source(), destination()), done);
    EXPECT_EQ(read(destination()), "new");
    EXPECT_EQ(read(scratch() / "other name of the old"), "the old contents");
    EXPECT_EQ(namesIn(scratch()), (std::vector<std::string> {"destination", "other name of the old", "source"}));
}

TEST_F(DittoFile, ReplacesALinkAndNotWhatItLeadsTo)
{
    write(source(), "new");
    write(home() / "outside", "kept");
    makeLink(destination(), home() / "outside");
    EXPECT_EQ(ditto(source(), destination()), done);
    EXPECT_FALSE(fs::is_symlink(destination()));
    EXPECT_EQ(read(destination()), "new");
    EXPECT_EQ(read(home() / "outside"), "kept");

    fs::remove(destination());
    makeLink(destination(), home() / "nowhere");
    EXPECT_EQ(ditto(source(), destination()), done);
    EXPECT_EQ(read(destination()), "new");
    EXPECT_FALSE(fs::exists(home() / "nowhere"));
}

TEST_F(DittoFile, NeverReplacesAFolder)
{
    write(source(), "new");
    write(destination() / "source/file", "kept");
    const Out out = ditto(source(), destination());
    EXPECT_EQ(out.code, 1);
    EXPECT_EQ(out.stderr,
              "ditto: The file “source” couldn’t be saved in the folder “destination” because a file with the same "
              "name already exists.\n");
    EXPECT_EQ(read(destination() / "source/file"), "kept");
    EXPECT_EQ(namesIn(destination()), std::vector<std::string> {"source"});
}

TEST_F(DittoFile, IsNotCopiedOntoItself)
{
    write(source(), "contents");
    fs::create_hard_link(source(), scratch() / "other name");
    makeLink(scratch() / "link", "source");
    const Out refused {1, "", "ditto: The file “source” couldn’t be copied because it is its own destination.\n"};
    EXPECT_EQ(ditto(source(), source()), refused);
    EXPECT_EQ(ditto(source(), scratch()), refused);
    EXPECT_EQ(ditto(source(), scratch() / "other name"), refused);
    EXPECT_EQ(ditto(scratch() / "link", source()).code, 1);
    EXPECT_EQ(read(source()), "contents");
    EXPECT_EQ(statusOf(source()).st_nlink, 2U);
}

// Whoever looks meanwhile sees the old file or the new one, whole.
TEST_F(DittoFile, ShowsOnlyWholeContents)
{
    constexpr std::size_t size = std::size_t {4} << 20;
    write(scratch() / "a", std::string(size, 'a'));
    write(scratch() / "b", std::string(size, 'b'));
    write(destination(), std::string(size, 'a'));
    std::atomic<bool> over = false;
    int looks = 0;
    std::thread reader([&] {
        while (!over) {
            const std::string seen = read(destination());
            EXPECT_EQ(seen.size(), size);
            EXPECT_TRUE(seen.find_first_not_of(seen.front()) == std::string::npos);
            looks++;
        }
    });
    for (int index = 0; index < 10; index++) {
        EXPECT_EQ(ditto(scratch() / (index % 2 == 0 ? "b" : "a"), destination()), done);
    }
    over = true;
    reader.join();
    EXPECT_GT(looks, 0);
}

TEST_F(DittoFile, StaysSparse)
{
    constexpr off_t size = off_t {1} << 32;
    const int file = ::open(source().c_str(), O_RDWR | O_CREAT, 0600);
    ASSERT_GE(file, 0);
    ASSERT_EQ(::ftruncate(file, size), 0);
    ASSERT_EQ(::pwrite(file, "middle", 6, off_t {1} << 31), 6);
    ASSERT_EQ(::pwrite(file, "almost the end", 14, size - (1 << 20)), 14);
    ::close(file);
    ASSERT_LT(statusOf(source()).st_blocks, 1000);

    EXPECT_EQ(ditto(source(), destination()), done);
    EXPECT_EQ(statusOf(destination()).st_size, size);
    EXPECT_LT(statusOf(destination()).st_blocks, 1000);
    const int copy = ::open(destination().c_str(), O_RDONLY);
    std::string text(14, '\0');
    ASSERT_EQ(::pread(copy, text.data(), 6, off_t {1} << 31), 6);
    EXPECT_EQ(text.substr(0, 6), "middle");
    ASSERT_EQ(::pread(copy, text.data(), 14, size - (1 << 20)), 14);
    EXPECT_EQ(text, "almost the end");
    ::close(copy);
}

TEST_F(DittoFile, MayBeOneThatDoesNotKnowItsSize)
{
    EXPECT_EQ(ditto("/proc/self/mountinfo", destination()), done);
    EXPECT_GT(read(destination()).size(), 100U);
}

TEST_F(DittoFile, IsWholeOrNotThereWhenItIsKilled)
{
    const std::string bytes = noise(std::size_t {64} << 20);
    write(source(), bytes);
    fs::create_directories(destination());
    write(destination() / "old", "old");
    const std::string program = builtProgram("ditto").string();
    const std::string from = source().string();
    const std::string over = (destination() / "old").string();
    const std::string fresh = (destination() / "fresh").string();
    for (const int signal : {SIGKILL, SIGTERM, SIGINT, SIGHUP}) {
        for (const std::string& to : {over, fresh}) {
            const pid_t child = ::fork();
            if (child == 0) {
                ::close(STDERR_FILENO);
                ::execl(program.c_str(), "ditto", from.c_str(), to.c_str(), nullptr);
                ::_exit(127);
            }
            std::this_thread::sleep_for(15ms);
            ::kill(child, signal);
            int status = 0;
            ::waitpid(child, &status, 0);
            const std::string there = fs::exists(to) ? read(to) : "";
            EXPECT_TRUE(there == bytes || there == (to == over ? "old" : "")) << signal << " " << there.size();
            if (WIFEXITED(status) && WEXITSTATUS(status) != 0) {
                EXPECT_EQ(WEXITSTATUS(status), 1);
            }
            write(over, "old");
            fs::remove(fresh);
            // The file system here takes files without a name, so that nothing is left lying about.
            EXPECT_EQ(namesIn(destination()), std::vector<std::string> {"old"}) << signal;
        }
    }
}

TEST_F(DittoFile, LeavesTheOldOneOnAFullVolume)
{
    const MountedVolume volume(scratch() / "volume", "ext4", 16);
    if (!volume.mounted()) {
        GTEST_SKIP() << "A volume can only be mounted as root.";
    }
    write(source(), noise(std::size_t {40} << 20));
    write(volume.path() / "file", "old");
    const auto names = namesIn(volume.path());
    const Out full {1, "", "ditto: The file “file” couldn’t be saved because the volume is full.\n"};
    EXPECT_EQ(ditto(source(), volume.path() / "file"), full);
    EXPECT_EQ(read(volume.path() / "file"), "old");
    EXPECT_EQ(ditto(source(), volume.path() / "fresh").code, 1);
    EXPECT_EQ(namesIn(volume.path()), names);
    // What was written until then is free again.
    write(source(), noise(std::size_t {4} << 20));
    EXPECT_EQ(ditto(source(), volume.path() / "file"), done);
}

TEST_F(DittoFile, TellsAVolumeThatCannotBeWritten)
{
    const MountedVolume volume(scratch() / "volume", "tmpfs", 4);
    const std::string place = volume.path().string();
    if (!volume.mounted() || !ManagerCore::Proc::run("/usr/bin/mount", {"-o", "remount,ro", place}).ok()) {
        GTEST_SKIP() << "A volume can only be mounted as root.";
    }
    write(source(), "x");
    EXPECT_EQ(ditto(source(), volume.path() / "file"),
              (Out {1, "", "ditto: You can’t save the file “file” because the volume is read only.\n"}));
}

TEST_F(DittoFile, TellsWhatThisUserMayNotDo)
{
    write(source(), "secret");
    fs::permissions(source(), fs::perms(0600));
    const auto unread = dittoAsNobody(source(), destination());
    if (!unread) {
        GTEST_SKIP() << "Only root can become another user.";
    }
    EXPECT_EQ(
        *unread,
        (Out {1, "", "ditto: The file “source” couldn’t be opened because you don’t have permission to view it.\n"}));

    fs::permissions(source(), fs::perms(0644));
    fs::create_directories(destination());
    EXPECT_EQ(dittoAsNobody(source(), destination() / "copy"),
              (Out {1, "", "ditto: You don’t have permission to save the file “copy” in the folder “destination”.\n"}));
    EXPECT_TRUE(fs::is_empty(destination()));
}

TEST_F(DittoFile, MayBeANamedPipe)
{
    ASSERT_EQ(::mkfifo(source().c_str(), 0620), 0);
    EXPECT_EQ(ditto(source(), destination()), done);
    EXPECT_EQ(statusOf(destination()).st_mode, statusOf(source()).st_mode);
}

TEST_F(DittoFile, MayNotBeASocketOrADevice)
{
    const int socket = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address {};
    address.sun_family = AF_UNIX;
    const std::string name = source().string();
    std::copy_n(name.data(), name.size(), std::begin(address.sun_path));
    ASSERT_EQ(::bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    const std::string why = "” couldn’t be copied because it is neither a file, a folder, a link nor a named pipe.\n";
    EXPECT_EQ(ditto(source(), destination()), (Out {1, "", "ditto: “source" + why}));
    EXPECT_EQ(ditto("/dev/zero", destination()), (Out {1, "", "ditto: “zero" + why}));
    EXPECT_FALSE(fs::exists(fs::symlink_status(destination())));
    ::close(socket);
}

// Below the door of the executable: what replaces what, for kinds that cannot be given as a source.
TEST_F(DittoFile, OfEachKindReplacesEachOtherKind)
{
    write(scratch() / "from/file", "contents");
    makeLink(scratch() / "from/link", "somewhere");
    ASSERT_EQ(::mkfifo((scratch() / "from/pipe").c_str(), 0600), 0);
    const int from = ::open((scratch() / "from").c_str(), O_RDONLY | O_DIRECTORY);
    for (const std::string& kind : {std::string("file"), std::string("link"), std::string("pipe")}) {
        fs::remove_all(scratch() / "to");
        fs::create_directories(scratch() / "to");
        const int to = ::open((scratch() / "to").c_str(), O_RDONLY | O_DIRECTORY);
        for (const std::string& before : {std::string("file"), std::string("link"), std::string("pipe"), kind}) {
            for (const std::string& each : {before, kind}) {
                const auto outcome = LinuxTools::EntryCopy::copy(
                    {.folder = from, .name = each}, {.folder = to, .name = "x"}, statusOf(scratch() / "from" / each));
                EXPECT_EQ(outcome.trouble, LinuxTools::EntryCopy::Trouble::none);
            }
            EXPECT_EQ(statusOf(scratch() / "to/x").st_mode, statusOf(scratch() / "from" / kind).st_mode);
            EXPECT_EQ(namesIn(scratch() / "to").size(), 1U);
        }
        ::close(to);
    }
    ::close(from);
}

} // namespace
