// Demo/make: making, resetting and removing a sample home, and what it refuses.
#include <gmock/gmock.h>
#include <pwd.h>
#include <unistd.h>

#include "Tests/Demo/SampleHome.h"

using namespace TestSupport;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

namespace
{

class DemoMake : public SampleTest
{
};

// Each of the three actions is refused with one sentence that contains this text.
void expectRefused(const std::string& folder, const std::string& text)
{
    for (const char* action : {"--port 2000", "--reset", "--remove"}) {
        const Proc::Out out = bash("exec \"$0\" " + std::string(action) + " \"$1\"", {makeScript, folder});
        EXPECT_EQ(out.code, 1) << action << folder;
        EXPECT_THAT(out.stderr, testing::AllOf(HasSubstr(text), EndsWith(".\n"))) << action << folder;
    }
}

TEST_F(DemoMake, printsHowToUseTheHome)
{
    const fs::path deep = scratch() / "not there" / "sample's";
    const Proc::Out out = bash("cd \"$0\" && \"$1\" --programs \"$2\" \"not there/sample's//\"",
                               {scratch().string(), makeScript, programs});
    ASSERT_TRUE(out.ok()) << out.stderr;
    const std::size_t start = out.stdout.find(". '");
    ASSERT_NE(start, std::string::npos) << out.stdout;
    const std::string command = out.stdout.substr(start, out.stdout.find('\n', start) - start);
    EXPECT_EQ(Proc::run("/bin/sh", {"-c", command + R"( && printf '%s' "$HOME")"}).stdout, deep.string());
    EXPECT_TRUE(fs::exists(deep / "zyn.toml"));
}

TEST_F(DemoMake, compilesTheServerWithoutPrograms)
{
    ASSERT_TRUE(demoMake({sample.string()}).ok());
    EXPECT_THAT(version("mlx-vantor"), testing::StartsWith("mlx-vantor 1.6.2\n"));
    const Proc::Out out = bash("ln -s /usr/bin/* /bin/* \"$0\"; rm -f \"$0\"/c++*; PATH=$0 \"$1\" \"$0/home\"",
                               {scratch().string(), makeScript});
    EXPECT_EQ(out.code, 1);
    EXPECT_THAT(out.stderr, HasSubstr("The C++ compiler c++ was not found; install one or use --programs.\n"));
}

TEST_F(DemoMake, keepsAnExistingHomeAndResetsItWithTheSameOptions)
{
    makeSample();
    const Tree before = treeOf(sample);
    EXPECT_THAT(demoMake({sample.string()}).stdout, HasSubstr("The sample home already exists"));
    EXPECT_EQ(treeOf(sample), before);
    write(sample / "own note", "removed");
    fs::remove_all(sample / ".zyn-crucible");
    fs::permissions(sample / "Library/Caches", fs::perms::none);
    const Proc::Out out = demoMake({"--reset", sample.string()});
    EXPECT_TRUE(out.ok()) << out.stderr;
    EXPECT_EQ(treeOf(sample), before);
    EXPECT_EQ(std::distance(fs::directory_iterator(scratch()), {}), 1);
}

TEST_F(DemoMake, aFailingResetKeepsTheHome)
{
    makeSample();
    const Tree before = treeOf(scratch());
    const Proc::Out missing = demoMake({"--reset", "--programs", home().string(), sample.string()});
    EXPECT_EQ(missing.code, 1);
    EXPECT_THAT(missing.stderr, EndsWith("does not contain the program mlx-vantor.\n"));
    fs::create_directory(home() / "mlx-vantor");
    const Proc::Out unreadable = demoMake({"--reset", "--programs", home().string(), sample.string()});
    EXPECT_EQ(unreadable.code, 1);
    EXPECT_THAT(unreadable.stderr, EndsWith("Demo/make: The sample home was not made.\n"));
    EXPECT_EQ(treeOf(scratch()), before);
}

TEST_F(DemoMake, removesTheHomeAndFollowsNoLink)
{
    makeSample();
    write(home() / "weights.bin", "precious");
    makeLink(sample / ".zyn-crucible" / "drive", home());
    fs::remove_all(sample / "Volumes");
    makeLink(sample / "Volumes", home());
    EXPECT_TRUE(demoMake({"--remove", sample.string()}).ok());
    EXPECT_TRUE(demoMake({"--remove", sample.string()}).ok());
    EXPECT_TRUE(demoMake({"--remove", (scratch() / "never" / "there").string()}).ok());
    EXPECT_TRUE(fs::is_empty(scratch()));
    EXPECT_EQ(read(home() / "weights.bin"), "precious");
}

TEST_F(DemoMake, refusesFoldersThatAreNotSampleHomes)
{
    makeSample();
    write(scratch() / "own" / "Library" / "mail", "precious");
    makeLink(scratch() / "own" / ".sample-home", sample / ".sample-home");
    fs::create_directory(scratch() / "empty");
    write(scratch() / "file", "not a folder");
    write(scratch() / "namesake" / ".sample-home", "a file with another content\n");
    makeLink(scratch() / "link", sample);
    makeLink(scratch() / "dangling", scratch() / "nowhere");
    const Tree before = treeOf(scratch());
    for (const char* name : {"own", "empty", "file", "namesake", "own/.", "own/Library/.."}) {
        expectRefused((scratch() / name).string(), "exists and is not a sample home. Nothing was changed.");
    }
    expectRefused((scratch() / "link/").string(), "is a link; give the folder itself.");
    expectRefused((scratch() / "dangling").string(), "is a link; give the folder itself.");
    expectRefused(::getpwuid(::getuid())->pw_dir, "is your own home folder.");
    EXPECT_EQ(treeOf(scratch()), before);
}

TEST_F(DemoMake, refusesUnusablePaths)
{
    expectRefused("", "The name of the folder is empty.");
    expectRefused("//", "The folder / cannot be a sample home.");
    expectRefused((scratch() / "a:b").string(), "contains a colon or a control character");
    expectRefused((scratch() / "line\nbreak").string(), "contains a colon or a control character");
    expectRefused((scratch() / "\xff\xfe").string(), "The path is not UTF-8");
    expectRefused((scratch() / "nowhere/../sample").string(), "There is no folder");
    EXPECT_TRUE(fs::is_empty(scratch()));
    write(scratch() / "file", "not a folder");
    const Proc::Out out = demoMake({"--programs", programs, (scratch() / "file/sample").string()});
    EXPECT_EQ(out.code, 1);
    EXPECT_THAT(out.stderr, EndsWith("could not be created.\n"));
}

TEST_F(DemoMake, reportsUsageErrors)
{
    for (const auto& [arguments, text] : std::map<std::string, std::string> {
             {"", "Give exactly one folder."},
             {"home home", "Give exactly one folder."},
             {"--unknown home", "Unknown option: --unknown."},
             {"--port", "The option --port needs a value."},
             {"--port 80 home", "The port 80 is not between 1024 and 65535."},
             {"--port 70000 home", "The port 70000 is not between 1024 and 65535."},
             {"--port 8080x home", "The port 8080x is not a number."},
             {"--label org.else.agent home", "The label org.else.agent does not begin with com.zyn."},
             {"--label 'com.zyn.</a>' home", "The label com.zyn.</a> contains more than letters"},
             {"--label com.zyn.mlx-vantor home", "The label com.zyn.mlx-vantor belongs to the real product."}}) {
        const Proc::Out out = bash("cd \"$1\"; exec \"$0\" " + arguments, {makeScript, scratch().string()});
        EXPECT_EQ(out.code, 2) << text;
        EXPECT_THAT(out.stderr, testing::AllOf(HasSubstr(text), HasSubstr("usage: Demo/make"))) << text;
    }
    EXPECT_TRUE(fs::is_empty(scratch()));
    EXPECT_THAT(demoMake({"--help"}).stdout, HasSubstr("usage: Demo/make"));
}

// The server's file is a FIFO here, at which Demo/make waits in the middle of its work while $ACTION runs.
Proc::Out makeInterruptedBy(const std::string& action, const fs::path& scratch)
{
    return bash("mkdir \"$0/programs\" && mkfifo -m 755 \"$0/programs/mlx-vantor\"\n"
                "\"$1\" --programs \"$0/programs\" \"$0/sample\" & exec 3>\"$0/programs/mlx-vantor\"\n"
                    + action + "\nexec 3>&-; wait $!",
                {scratch.string(), makeScript});
}

TEST_F(DemoMake, anInterruptionLeavesNoPartOfAHome)
{
    EXPECT_EQ(makeInterruptedBy("kill -TERM $!", scratch()).code, 130);
    fs::remove_all(scratch() / "programs");
    EXPECT_TRUE(fs::is_empty(scratch()));
}

TEST_F(DemoMake, keepsAFolderThatWasCreatedInTheMeantime)
{
    const Proc::Out out = makeInterruptedBy("mkdir \"$0/sample\"", scratch());
    EXPECT_EQ(out.code, 1);
    EXPECT_THAT(out.stderr, HasSubstr("was created by something else in the meantime.\n"));
    EXPECT_TRUE(fs::is_empty(scratch() / "sample"));
}

TEST_F(DemoMake, refusesToRemoveAMountedDrive)
{
    const fs::path place = scratch() / "sample";
    ASSERT_TRUE(demoMake({"--programs", programs, place.string()}).ok());
    const MountedVolume drive(place / "Volumes" / "Real drive", "tmpfs", 8);
    if (!drive.mounted()) {
        GTEST_SKIP() << "Mounting a file system needs root.";
    }
    write(drive.path() / "weights.bin", "precious");
    for (const char* action : {"--reset", "--remove"}) {
        EXPECT_THAT(demoMake({action, place.string()}).stderr, HasSubstr("A file system is mounted inside"));
        EXPECT_EQ(read(drive.path() / "weights.bin"), "precious");
    }
}

} // namespace
