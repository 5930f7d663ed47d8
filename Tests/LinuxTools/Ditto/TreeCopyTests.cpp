// Folders.

#include <algorithm>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <string>
#include <sys/mount.h>
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

using DittoTree = DittoTest;

const Out done {0, "", ""};

TEST_F(DittoTree, IsCopiedWithEverythingInIt)
{
    write(source() / "a/b/file", noise(100000));
    write(source() / ".hidden/.file", "x");
    write(source() / "empty file", "");
    fs::create_directories(source() / "empty folder");
    makeLink(source() / "a/link", "b/file");
    makeLink(source() / "a/link to a folder", "b");
    makeLink(source() / "absolute", source() / "a");
    makeLink(source() / "dangling", "no where");
    makeLink(source() / "circle", "circle");
    makeLink(source() / "upwards", "..");
    ASSERT_EQ(::mkfifo((source() / "pipe").c_str(), 0640), 0);
    fs::permissions(source() / "a/b", fs::perms(0510));
    fs::permissions(source() / "a/b/file", fs::perms(04751));
    fs::permissions(source() / "empty folder", fs::perms(01777));
    fs::permissions(source(), fs::perms(02750));
    fs::last_write_time(source() / "a/b/file", fs::file_time_type::clock::now() - 1234567s);
    fs::last_write_time(source() / "a/b", fs::file_time_type::clock::now() - 7654321s);
    fs::last_write_time(source(), fs::file_time_type::clock::now() - 99999s);
    const std::string before = portrait(source());

    EXPECT_EQ(ditto(source(), scratch() / "new/folders/destination"), done);
    EXPECT_EQ(portrait(scratch() / "new/folders/destination"), before);
    EXPECT_EQ(portrait(source()), before);
    // Once more over itself.
    EXPECT_EQ(ditto(source(), scratch() / "new/folders/destination"), done);
    EXPECT_EQ(read(scratch() / "new/folders/destination/a/b/file"), noise(100000));
}

TEST_F(DittoTree, IsMergedIntoWhatIsThere)
{
    write(source() / "both/new", "new");
    write(source() / "both/file", "new contents");
    write(source() / "only here/x", "x");
    fs::permissions(source() / "both", fs::perms(0700));
    fs::permissions(source(), fs::perms(0700));
    write(destination() / "both/file", "old contents");
    write(destination() / "both/kept", "kept");
    write(destination() / "kept", "kept");
    fs::permissions(destination() / "both", fs::perms(0711));
    fs::permissions(destination(), fs::perms(0751));

    EXPECT_EQ(ditto(source(), destination()), done);
    EXPECT_EQ(namesIn(destination()), (std::vector<std::string> {"both", "kept", "only here"}));
    EXPECT_EQ(namesIn(destination() / "both"), (std::vector<std::string> {"file", "kept", "new"}));
    EXPECT_EQ(read(destination() / "both/file"), "new contents");
    EXPECT_EQ(read(destination() / "both/kept"), "kept");
    EXPECT_EQ(statusOf(destination()).st_mode & 07777U, 0751U);
    EXPECT_EQ(statusOf(destination() / "both").st_mode & 07777U, 0711U);
}

TEST_F(DittoTree, IsFollowedWhenALinkNamesIt)
{
    write(scratch() / "real/file", "x");
    makeLink(source(), "real");
    EXPECT_EQ(ditto(source(), destination()), done);
    EXPECT_FALSE(fs::is_symlink(destination()));
    EXPECT_EQ(namesIn(destination()), std::vector<std::string> {"file"});

    // The destination that is named may be a link too.
    fs::create_directories(scratch() / "other");
    makeLink(scratch() / "link", "other");
    EXPECT_EQ(ditto(source(), scratch() / "link"), done);
    EXPECT_EQ(namesIn(scratch() / "other"), std::vector<std::string> {"file"});
    EXPECT_TRUE(fs::is_symlink(scratch() / "link"));
}

TEST_F(DittoTree, KeepsHardLinks)
{
    write(source() / "a/first", "shared");
    fs::create_directories(source() / "b/c");
    fs::create_hard_link(source() / "a/first", source() / "b/c/second");
    fs::create_hard_link(source() / "a/first", source() / "z");
    write(source() / "alone", "alone");
    makeLink(source() / "link", "alone");
    ASSERT_EQ(::linkat(AT_FDCWD, (source() / "link").c_str(), AT_FDCWD, (source() / "same link").c_str(), 0), 0);
    fs::create_hard_link(source() / "alone", scratch() / "outside of it");

    EXPECT_EQ(ditto(source(), destination()), done);
    EXPECT_EQ(portrait(destination()), portrait(source()));
    for (int times = 0; times < 2; times++) { // the second over the first
        EXPECT_EQ(statusOf(destination() / "z").st_nlink, 3U);
        EXPECT_EQ(statusOf(destination() / "alone").st_nlink, 1U);
        EXPECT_EQ(statusOf(destination() / "link").st_nlink, 2U);
        EXPECT_EQ(statusOf(destination() / "a/first").st_ino, statusOf(destination() / "b/c/second").st_ino);
        EXPECT_EQ(ditto(source(), destination()), done);
    }
    EXPECT_NE(statusOf(destination() / "z").st_ino, statusOf(source() / "z").st_ino);
}

TEST_F(DittoTree, MayHaveAnyNames)
{
    for (const std::string& name : {std::string("line\nfeed"),
                                    std::string("\xff\xfe not UTF-8"),
                                    std::string("-rf"),
                                    std::string(" spaces "),
                                    std::string("größe 漢字 😀"),
                                    std::string("a\\b\"c'd$e"),
                                    std::string(255, 'x'),
                                    std::string(".ditto-1"),
                                    std::string("...")}) {
        write(source() / name / name, name);
    }
    EXPECT_EQ(ditto(source(), destination()), done);
    EXPECT_EQ(portrait(destination()), portrait(source()));
}

TEST_F(DittoTree, MayBeDeep)
{
    constexpr int depth = 1000; // a path far beyond what the system takes at once
    fs::create_directories(source());
    const auto descend = [](const fs::path& root, auto each) {
        int folder = ::open(root.c_str(), O_RDONLY | O_DIRECTORY);
        for (int level = 0; level < depth && folder >= 0; level++) {
            each(folder, level);
            const int below = ::openat(folder, "a folder", O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
            ::close(folder);
            folder = below;
        }
        return folder;
    };
    const int deepest = descend(source(), [](int folder, int /*level*/) { ::mkdirat(folder, "a folder", 0755); });
    ASSERT_GE(deepest, 0);
    const int file = ::openat(deepest, "file", O_WRONLY | O_CREAT, 0644);
    ASSERT_EQ(::write(file, "deep", 4), 4);
    ::close(file);
    ::linkat(deepest, "file", deepest, "same file", 0);
    ::close(deepest);

    EXPECT_EQ(ditto(source(), destination()), done);
    const int copied = descend(destination(), [](int /*folder*/, int /*level*/) { });
    ASSERT_GE(copied, 0);
    struct stat one {};
    struct stat other {};
    EXPECT_EQ(::fstatat(copied, "file", &one, 0), 0);
    EXPECT_EQ(::fstatat(copied, "same file", &other, 0), 0);
    EXPECT_EQ(one.st_size, 4);
    EXPECT_EQ(one.st_ino, other.st_ino);
    ::close(copied);
}

TEST_F(DittoTree, TellsWhenItIsDeeperThanTheSystemAllows)
{
    fs::path folder = source();
    for (int level = 0; level < 60; level++) {
        folder /= "x";
    }
    write(folder / "too deep", "x");
    write(source() / "z", "z");
    const Out out = ManagerCore::Proc::run("/bin/sh",
                                           {"-c",
                                            "ulimit -n 64; exec \"$0\" \"$1\" \"$2\"",
                                            builtProgram("ditto").string(),
                                            source().string(),
                                            destination().string()});
    EXPECT_EQ(out.code, 1);
    EXPECT_TRUE(out.stderr.starts_with("ditto: The f") && out.stderr.ends_with(".\n")) << out.stderr;
    EXPECT_EQ(read(destination() / "z"), "z");
}

TEST_F(DittoTree, MayHoldManyFiles)
{
    // In memory where it can be mounted: making each file durable takes a busy disk long.
    const MountedVolume volume(scratch() / "volume", "tmpfs", 200);
    const auto from = volume.path() / "source";
    const auto to = volume.path() / "destination";
    constexpr int count = 10000;
    for (int index = 0; index < count; index++) {
        write(from / std::to_string(index % 10) / std::to_string(index), std::to_string(index));
    }
    EXPECT_EQ(ditto(from, to), done);
    EXPECT_TRUE(portrait(to) == portrait(from));
    EXPECT_EQ(read(to / "9/9999"), "9999");
}

TEST_F(DittoTree, GoesOnAfterWhatCannotBeCopied)
{
    write(source() / "a file here", "x");
    write(source() / "a folder here/x", "x");
    write(source() / "m", "m");
    write(source() / "z", "z");
    makeLink(source() / "a link here", "x");
    fs::create_directories(destination() / "a file here");
    write(destination() / "a folder here", "kept");
    write(destination() / "a link here/kept", "kept");
    const Out out = ditto(source(), destination());
    EXPECT_EQ(out.code, 1);
    const auto inTheWay = [](const std::string& name) {
        return "ditto: The file “" + name
            + "” couldn’t be saved in the folder “destination” because a file with the same name already exists.\n";
    };
    EXPECT_EQ(out.stderr, inTheWay("a file here") + inTheWay("a folder here") + inTheWay("a link here"));
    EXPECT_EQ(read(destination() / "a folder here"), "kept");
    EXPECT_EQ(read(destination() / "a link here/kept"), "kept");
    EXPECT_EQ(read(destination() / "m"), "m");
    EXPECT_EQ(read(destination() / "z"), "z");
    EXPECT_EQ(namesIn(destination()).size(), 5U);
}

TEST_F(DittoTree, NamesOnlyTheFirstOfMany)
{
    for (int index = 0; index < 50; index++) {
        write(source() / ("f" + std::to_string(index)), "x");
        fs::create_directories(destination() / ("f" + std::to_string(index)));
    }
    const Out out = ditto(source(), destination());
    EXPECT_EQ(out.code, 1);
    EXPECT_EQ(std::ranges::count(out.stderr, '\n'), 21);
    EXPECT_TRUE(out.stderr.ends_with("ditto: 30 more items couldn’t be copied.\n")) << out.stderr;
}

TEST_F(DittoTree, ChangesNothingOutsideOfTheDestination)
{
    write(source() / "folder/file", "new");
    write(source() / "file", "new");
    makeLink(source() / "link", "new");
    write(home() / "outside/file", "kept");
    fs::create_directories(destination());
    makeLink(destination() / "folder", home() / "outside");
    makeLink(destination() / "file", home() / "outside/file");
    makeLink(destination() / "link", home() / "outside");
    const std::string before = portrait(home());
    const Out out = ditto(source(), destination());
    EXPECT_EQ(out.code, 1); // the folder is not copied through the link
    EXPECT_TRUE(out.stderr.starts_with("ditto: The file “folder” couldn’t be saved")) << out.stderr;
    EXPECT_EQ(portrait(home()), before);
    EXPECT_EQ(read(destination() / "file"), "new");
    EXPECT_FALSE(fs::is_symlink(destination() / "file"));
    EXPECT_EQ(fs::read_symlink(destination() / "link"), "new");
}

TEST_F(DittoTree, IsNotCopiedIntoItself)
{
    write(source() / "a/file", "x");
    makeLink(scratch() / "link", "source/a");
    const std::string before = portrait(source());
    const Out itself {1, "", "ditto: The folder “source” couldn’t be copied into itself.\n"};
    EXPECT_EQ(ditto(source(), source() / "new"), itself);
    EXPECT_EQ(ditto(source(), source() / "a"), itself);
    EXPECT_EQ(ditto(source(), source() / "a/new/folders"), itself);
    EXPECT_EQ(ditto(source(), scratch() / "link"), itself);
    EXPECT_EQ(ditto(source(), scratch() / "link/new"), itself);
    EXPECT_EQ(ditto(source(), source()),
              (Out {1, "", "ditto: The folder “source” couldn’t be copied because it is its own destination.\n"}));
    EXPECT_EQ(portrait(source()), before);
    // A name that merely begins alike lies beside it.
    EXPECT_EQ(ditto(source(), scratch() / "source2"), done);
}

TEST_F(DittoTree, MayBeCopiedIntoWhatHoldsItButNotOverItself)
{
    write(scratch() / "top/inner/file", "x");
    write(scratch() / "top/inner/inner/file", "y");
    const Out out = ditto(scratch() / "top/inner", scratch() / "top");
    EXPECT_EQ(out.code, 1);
    EXPECT_EQ(out.stderr, "ditto: The folder “inner” couldn’t be copied because it would be copied into itself.\n");
    EXPECT_EQ(read(scratch() / "top/file"), "x");
    EXPECT_EQ(read(scratch() / "top/inner/file"), "x");
    EXPECT_EQ(read(scratch() / "top/inner/inner/file"), "y");
}

TEST_F(DittoTree, NeedsAFolderOrNothingAtTheDestination)
{
    write(source() / "file", "x");
    write(destination(), "kept");
    const Out out = ditto(source(), destination());
    EXPECT_EQ(out.code, 1);
    EXPECT_TRUE(out.stderr.contains("“destination”")) << out.stderr;
    EXPECT_EQ(read(destination()), "kept");
    EXPECT_EQ(ditto(source(), destination() / "below").code, 1);
    fs::remove(destination());
    makeLink(destination(), "nowhere");
    EXPECT_EQ(ditto(source(), destination()).code, 1);
    EXPECT_FALSE(fs::exists(scratch() / "nowhere"));
}

TEST_F(DittoTree, LeavesOutSocketsAndSaysSo)
{
    write(source() / "file", "x");
    const int socket = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address {};
    address.sun_family = AF_UNIX;
    const std::string name = (source() / "socket").string();
    std::copy_n(name.data(), name.size(), std::begin(address.sun_path));
    ASSERT_EQ(::bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    EXPECT_EQ(ditto(source(), destination()),
              (Out {1,
                    "",
                    "ditto: “socket” couldn’t be copied because it is neither a file, a folder, a link nor a named "
                    "pipe.\n"}));
    EXPECT_EQ(namesIn(destination()), std::vector<std::string> {"file"});
    ::close(socket);
}

TEST_F(DittoTree, GoesOnAfterWhatThisUserMayNotRead)
{
    write(source() / "a/file", "x");
    write(source() / "b", "secret");
    write(source() / "c", "open");
    fs::permissions(source() / "a", fs::perms(0700));
    fs::permissions(source() / "b", fs::perms(0600));
    const auto out = dittoAsNobody(source(), destination());
    if (!out) {
        GTEST_SKIP() << "Only root can become another user.";
    }
    const std::string why = "” couldn’t be opened because you don’t have permission to view it.\n";
    EXPECT_EQ(*out, (Out {1, "", "ditto: The file “a" + why + "ditto: The file “b" + why}));
    EXPECT_EQ(namesIn(destination()), std::vector<std::string> {"c"});
    EXPECT_EQ(statusOf(destination()).st_uid, 65534U);
}

TEST_F(DittoTree, IsCopiedByOthersThanRootWithFoldersThatCannotBeWritten)
{
    write(source() / "a/b/file", "x");
    fs::permissions(source() / "a/b", fs::perms(0555));
    fs::permissions(source() / "a", fs::perms(0555));
    const auto out = dittoAsNobody(source(), destination());
    if (!out) {
        GTEST_SKIP() << "Only root can become another user.";
    }
    EXPECT_EQ(*out, done);
    EXPECT_EQ(read(destination() / "a/b/file"), "x");
    EXPECT_EQ(statusOf(destination() / "a/b").st_mode & 07777U, 0555U);
}

TEST_F(DittoTree, EndsOnAFullVolumeWithWhatIsWhole)
{
    const MountedVolume volume(scratch() / "volume", "ext4", 16);
    if (!volume.mounted()) {
        GTEST_SKIP() << "A volume can only be mounted as root.";
    }
    constexpr std::size_t size = std::size_t {1} << 20;
    for (int index = 10; index < 50; index++) {
        write(source() / "folder" / std::to_string(index), noise(size + static_cast<std::size_t>(index)));
    }
    fs::permissions(source() / "folder", fs::perms(0750));
    const Out out = ditto(source(), volume.path() / "copy");
    EXPECT_EQ(out.code, 1);
    EXPECT_TRUE(out.stderr.ends_with("” couldn’t be saved because the volume is full.\n")) << out.stderr;
    EXPECT_EQ(std::ranges::count(out.stderr, '\n'), 1);
    const auto names = namesIn(volume.path() / "copy/folder");
    EXPECT_GT(names.size(), 3U);
    EXPECT_LT(names.size(), 40U);
    for (const std::string& name : names) {
        EXPECT_TRUE(read(volume.path() / "copy/folder" / name) == read(source() / "folder" / name)) << name;
    }
    EXPECT_EQ(statusOf(volume.path() / "copy/folder").st_mode & 07777U, 0750U);
}

TEST_F(DittoTree, EndsInOrderWhenItIsAskedTo)
{
    for (int index = 0; index < 1000; index++) {
        write(source() / std::to_string(index), std::to_string(index));
    }
    const std::string program = builtProgram("ditto").string();
    const std::string from = source().string();
    const std::string to = destination().string();
    const auto said = scratch() / "said";
    const pid_t child = ::fork();
    if (child == 0) {
        const int error = ::open(said.c_str(), O_WRONLY | O_CREAT, 0600);
        ::dup2(error, STDERR_FILENO);
        ::execl(program.c_str(), "ditto", from.c_str(), to.c_str(), nullptr);
        ::_exit(127);
    }
    while (namesIn(destination()).size() < 10) {
        std::this_thread::sleep_for(1ms);
    }
    ::kill(child, SIGTERM);
    int status = 0;
    ::waitpid(child, &status, 0);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 1);
    EXPECT_TRUE(read(said).starts_with("ditto: The copy was interrupted before the file “")) << read(said);
    for (const std::string& name : namesIn(destination())) {
        EXPECT_EQ(read(destination() / name), name);
    }
}

} // namespace
