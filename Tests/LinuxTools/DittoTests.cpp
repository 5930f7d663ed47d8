// The ditto script, run as the program runs it.

#include <algorithm>
#include <array>
#include <fcntl.h>
#include <sstream>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "ManagerCore/Foundation/Proc.h"
#include "Tests/Support/Sandbox.h"

namespace fs = std::filesystem;
namespace Proc = ManagerCore::Proc;
using TestSupport::builtProgram;
using TestSupport::makeLink;
using TestSupport::read;
using TestSupport::write;

namespace
{

class DittoTest : public TestSupport::SandboxTest
{
protected:
    DittoTest() { fs::create_directories(place()); }

    [[nodiscard]] fs::path source() const { return scratch() / "source"; }
    // The folder of the destination, which holds nothing else.
    [[nodiscard]] fs::path place() const { return scratch() / "place"; }
    [[nodiscard]] fs::path destination() const { return place() / "copy"; }

    static Proc::Out run(const std::vector<std::string>& arguments, const std::optional<std::string>& cwd = {})
    {
        return Proc::run(builtProgram("ditto"), arguments, cwd);
    }
    [[nodiscard]] Proc::Out copy(Proc::Watcher* watcher = nullptr) const
    {
        return Proc::run(builtProgram("ditto"), {source(), destination()}, std::nullopt, std::nullopt, watcher);
    }
    static Proc::Out failed(const std::string& sentence) { return {1, "", "ditto: " + sentence + "\n"}; }

    // Runs `script` in place of the `cp` that the script runs.
    void replaceCp(const std::string& script) const
    {
        TestSupport::makeExecutable(scratch() / "bin/cp", "#!/bin/sh\n" + script);
        fs::permissions(scratch() / "bin/cp", fs::perms(0755));
    }

    // What a copy keeps: names, types, link texts, sizes, modes, owners, times and numbers of links.
    static std::string listing(const fs::path& folder)
    {
        const Proc::Out out = Proc::run(
            "/usr/bin/find",
            {".", "-type", "d", "-printf", "%P %y %m %U:%G %T@\n", "-o", "-printf", "%P %y %l %s %m %U:%G %T@ %n\n"},
            folder.string());
        EXPECT_EQ(out.stderr, "");
        std::vector<std::string> lines;
        std::istringstream stream(out.stdout);
        for (std::string line; std::getline(stream, line);) {
            lines.push_back(line);
        }
        std::ranges::sort(lines);
        return testing::PrintToString(lines);
    }

private:
    TestSupport::EnvironmentVariable path_ {"PATH", (scratch() / "bin").string() + ":/usr/sbin:/usr/bin:/sbin:/bin"};
};

std::string attribute(const fs::path& path)
{
    std::array<char, 64> value {};
    const ssize_t size = ::lgetxattr(path.c_str(), "user.name", value.data(), value.size());
    return size < 0 ? "(absent)" : std::string(value.data(), static_cast<std::size_t>(size));
}

void makeTree(const fs::path& folder)
{
    write(folder / "deep/file", "bytes");
    write(folder / "line\nfeed", "x");
    write(folder / "-rf", "x");
    fs::create_directories(folder / "empty");
    makeLink(folder / "link", "deep");
    makeLink(folder / "dangling", "/nowhere");
    fs::create_hard_link(folder / "deep/file", folder / "hard");
    fs::permissions(folder / "deep/file", fs::perms(0640));
    if (TestSupport::isRoot()) {
        ASSERT_EQ(::chown((folder / "-rf").c_str(), 12, 34), 0);
    }
    for (const fs::path& path : {folder, folder / "deep/file"}) {
        ASSERT_EQ(::lsetxattr(path.c_str(), "user.name", "value", 5, 0), 0);
    }
    for (const fs::path& path : {folder / "deep/file", folder / "deep", folder}) {
        const timespec times[2] {{1000000000, 123456789}, {1000000000, 123456789}};
        ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
    }
    fs::permissions(folder, fs::perms(0750));
}

TEST_F(DittoTest, aFolderIsCopiedWithEverything)
{
    makeTree(source());
    EXPECT_EQ(copy(), (Proc::Out {0, "", ""}));
    EXPECT_EQ(listing(destination()), listing(source()));
    EXPECT_EQ(read(destination() / "deep/file"), "bytes");
    EXPECT_EQ(attribute(destination()), "value");
    EXPECT_EQ(attribute(destination() / "deep/file"), "value");
    EXPECT_TRUE(fs::equivalent(destination() / "deep/file", destination() / "hard"));
    EXPECT_EQ(std::distance(fs::directory_iterator(place()), {}), 1);
}

TEST_F(DittoTest, aFileIsCopiedAndMissingFoldersAreMade)
{
    write(source(), "bytes");
    fs::permissions(source(), fs::perms(0440));
    ASSERT_EQ(::lsetxattr(source().c_str(), "user.name", "value", 5, 0), 0);
    EXPECT_EQ(run({source(), place() / "a/b/file"}), (Proc::Out {0, "", ""}));
    EXPECT_EQ(read(place() / "a/b/file"), "bytes");
    EXPECT_EQ(fs::status(place() / "a/b/file").permissions(), fs::perms(0440));
    EXPECT_EQ(attribute(place() / "a/b/file"), "value");
    EXPECT_EQ(fs::last_write_time(place() / "a/b/file"), fs::last_write_time(source()));
}

TEST_F(DittoTest, aLinkGivenAsTheSourceIsFollowed)
{
    write(scratch() / "real/file", "bytes");
    makeLink(source(), "real");
    EXPECT_TRUE(copy().ok());
    EXPECT_FALSE(fs::is_symlink(destination()));
    EXPECT_EQ(read(destination() / "file"), "bytes");
    makeLink(scratch() / "link", "real/file");
    EXPECT_TRUE(run({scratch() / "link", place() / "file"}).ok());
    EXPECT_FALSE(fs::is_symlink(place() / "file"));
}

TEST_F(DittoTest, pathsMayBeRelativeOrOdd)
{
    write(source() / "file", "bytes");
    for (const char* name : {"-n", "two words", "line\nfeed", "$(quote)'\"", "folder///", "./a/../dots"}) {
        EXPECT_EQ(run({"../source", name}, place().string()), (Proc::Out {0, "", ""})) << name;
        EXPECT_EQ(read(place() / name / "file"), "bytes") << name;
    }
    write(place() / "-f\n", "odd");
    EXPECT_TRUE(run({"-f\n", "-t"}, place().string()).ok());
    EXPECT_EQ(read(place() / "-t"), "odd");
}

TEST_F(DittoTest, whatExistsAtTheDestinationIsNeverTouched)
{
    write(source() / "file", "new");
    write(destination() / "file", "old");
    write(place() / "plain", "old");
    makeLink(place() / "link", destination());
    makeLink(place() / "dangling", "nowhere");
    for (const char* name : {"copy", "plain", "link", "dangling"}) {
        const std::string path = place() / name;
        EXPECT_EQ(run({source(), path}), failed("“" + path + "” exists already."));
        EXPECT_EQ(run({source() / "file", path}), failed("“" + path + "” exists already."));
    }
    EXPECT_EQ(read(destination() / "file"), "old");
    EXPECT_EQ(read(place() / "plain"), "old");
    EXPECT_FALSE(fs::exists(place() / "nowhere"));
    EXPECT_EQ(std::distance(fs::directory_iterator(place()), {}), 4);
}

TEST_F(DittoTest, whatComesToTheDestinationDuringTheCopyStays)
{
    write(source() / "file", "new");
    for (const fs::path& from : {source(), source() / "file"}) {
        replaceCp("echo theirs >'" + destination().string() + "'\nexec /bin/cp \"$@\"\n");
        EXPECT_EQ(run({from, destination()}),
                  failed("“" + destination().string() + "” couldn’t be made; something else may exist there by now."));
        EXPECT_EQ(read(destination()), "theirs\n");
        EXPECT_EQ(std::distance(fs::directory_iterator(place()), {}), 1) << "the copy is gone";
        fs::remove(destination());
    }
}

TEST_F(DittoTest, wrongArgumentsAreRefused)
{
    write(source(), "x");
    EXPECT_EQ(run({}), failed("It takes a source and a destination."));
    EXPECT_EQ(run({source()}), failed("It takes a source and a destination."));
    EXPECT_EQ(run({source(), destination(), "more"}), failed("It takes a source and a destination."));
    EXPECT_EQ(run({source(), ""}), failed("“” can’t be a destination."));
    EXPECT_EQ(run({source(), "//"}), failed("“//” can’t be a destination."));
    EXPECT_EQ(run({"", destination()}), failed("“” doesn’t exist."));
    makeLink(scratch() / "dangling", "nowhere");
    EXPECT_EQ(run({scratch() / "dangling", destination()}),
              failed("“" + (scratch() / "dangling").string() + "” doesn’t exist."));
    EXPECT_EQ(run({"/dev/null", destination()}), failed("“/dev/null” is neither a file nor a folder."));
    EXPECT_TRUE(fs::is_empty(place()));
}

TEST_F(DittoTest, aFailureIsNamedAndLeavesNothing)
{
    write(source() / "file", "x");
    write(place() / "file", "x");
    const Proc::Out parent = run({source(), place() / "file/below/copy"});
    EXPECT_EQ(parent.code, 1);
    EXPECT_THAT(
        parent.stderr,
        testing::EndsWith("\nditto: The folder “" + (place() / "file/below/").string() + "” couldn’t be made.\n"));
    const Proc::Out itself = run({source(), source() / "inside"});
    EXPECT_EQ(itself.code, 1);
    EXPECT_THAT(itself.stderr,
                testing::EndsWith("\nditto: “" + source().string() + "” couldn’t be copied to “"
                                  + (source() / "inside").string() + "”.\n"));
    EXPECT_EQ(std::distance(fs::directory_iterator(source()), {}), 1);
    if (fs::is_directory("/proc/self")) {
        const Proc::Out readOnly = run({source(), "/proc/self/copy"});
        EXPECT_THAT(readOnly.stderr, testing::EndsWith("\nditto: “/proc/self/copy” couldn’t be made.\n"));
    }
}

TEST_F(DittoTest, aStoppedCopyLeavesNothing)
{
    write(source() / "file", "x");
    replaceCp("/bin/cp \"$@\"; echo copied; exec sleep 60\n");
    Proc::Watcher* running = nullptr;
    Proc::Watcher watcher([&running](Proc::Stream, std::string_view) { running->stop(); });
    running = &watcher;
    EXPECT_THAT(copy(&watcher).stderr, testing::EndsWith("ditto: The copy was stopped.\n"));
    EXPECT_TRUE(fs::is_empty(place()));
}

TEST_F(DittoTest, aUserWhoIsNotRootMayCopyFoldersThatCannotBeWritten)
{
    fs::permissions(scratch().parent_path(), fs::perms(0755));
    fs::permissions(place(), fs::perms(0777));
    const std::vector<std::string> asNobody {"--reuid=65534", "--regid=65534", "--clear-groups", "/bin/sh"};
    auto arguments = asNobody;
    arguments.insert(arguments.end(), {builtProgram("ditto"), source(), destination()});
    if (!TestSupport::isRoot() || !Proc::run("/usr/bin/setpriv", {"--reuid=65534", "/bin/cat", arguments[4]}).ok()) {
        GTEST_SKIP() << "becoming another user takes root, and a build folder that this user can read";
    }
    write(source() / "closed/file", "x");
    fs::permissions(source() / "closed", fs::perms(0555));
    fs::permissions(source(), fs::perms(0555));
    replaceCp("/bin/cp \"$@\"; exit 1\n");
    EXPECT_EQ(Proc::run("/usr/bin/setpriv", arguments),
              failed("“" + source().string() + "” couldn’t be copied to “" + destination().string() + "”."));
    EXPECT_TRUE(fs::is_empty(place()));
    fs::remove(scratch() / "bin/cp");
    EXPECT_EQ(Proc::run("/usr/bin/setpriv", arguments), (Proc::Out {0, "", ""}));
    EXPECT_EQ(fs::status(destination()).permissions(), fs::perms(0555));
    EXPECT_EQ(read(destination() / "closed/file"), "x");
}

TEST_F(DittoTest, aFullVolumeHoldsNothingOfTheCopy)
{
    const TestSupport::MountedVolume volume(scratch() / "drive", "ext4", 16);
    if (!volume.mounted()) {
        GTEST_SKIP() << "mounting a volume takes root";
    }
    write(source() / "big", std::string(std::size_t {30} << 20U, 'x'));
    const Proc::Out out = run({source(), volume.path() / "copy"});
    EXPECT_EQ(out.code, 1);
    EXPECT_THAT(out.stderr, testing::HasSubstr("No space left on device"));
    EXPECT_EQ(std::distance(fs::directory_iterator(volume.path()), {}), 1) << "lost+found";
}

} // namespace
