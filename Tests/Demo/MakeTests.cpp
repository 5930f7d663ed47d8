// Demo/make itself: making, leaving alone, making anew, removing, and everything that it refuses.
#include <chrono>
#include <csignal>
#include <thread>

#include <gmock/gmock.h>
#include <pwd.h>
#include <unistd.h>

#include "Tests/Demo/SampleHome.h"
#include "Tests/Demo/ServerProcess.h"

namespace fs = std::filesystem;
namespace Proc = ManagerCore::Proc;
using namespace TestSupport;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace
{

class DemoMake : public SampleTest
{
};

// What stands beside the sample, so that nothing half made or half removed goes unseen.
std::vector<std::string> namesIn(const fs::path& folder)
{
    std::vector<std::string> names;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
        names.push_back(entry.path().filename().string());
    }
    return names;
}

// Refused by each of the three actions with one sentence that holds these words.
void expectRefused(const std::string& folder, const std::string& words)
{
    for (const char* action : {"", "--reset", "--remove"}) {
        std::vector<std::string> arguments {"--programs", demoPrograms().string(), folder};
        if (*action != '\0') {
            arguments.insert(arguments.begin(), action);
        }
        const Proc::Out out = demoMake(arguments);
        EXPECT_EQ(out.code, 1) << action << " " << folder;
        EXPECT_THAT(out.stderr, HasSubstr(words)) << action << " " << folder;
        EXPECT_THAT(out.stderr, EndsWith(".\n")) << action << " " << folder;
        EXPECT_THAT(out.stdout, IsEmpty()) << action << " " << folder;
    }
}

TEST_F(DemoMake, makesTheHomeAndTellsHowToUseIt)
{
    const Proc::Out out = demoMake({"--programs", demoPrograms().string(), (scratch() / "sample").string()});
    ASSERT_TRUE(out.ok()) << out.stderr;
    const std::string place = (scratch() / "sample").string();
    EXPECT_THAT(out.stdout, HasSubstr(". '" + place + "/sample-env.sh'"));
    EXPECT_THAT(out.stdout, HasSubstr("HOME='" + place + "' CM_IDENTITY_TOML='" + place + "/zyn.toml'"));
    EXPECT_THAT(out.stdout, HasSubstr("CFFIXED_USER_HOME"));
    EXPECT_TRUE(fs::exists(scratch() / "sample" / "sample-env.sh"));
}

TEST_F(DemoMake, whatItTellsWorksInAShell)
{
    const Proc::Out out = demoMake({"--programs", demoPrograms().string(), sample().string()});
    const std::size_t start = out.stdout.find(". '");
    ASSERT_NE(start, std::string::npos) << out.stdout;
    const std::string line = out.stdout.substr(start, out.stdout.find('\n', start) - start);
    const Proc::Out home = Proc::run("/bin/sh", {"-c", line + R"( && printf '%s' "$HOME")"});
    EXPECT_EQ(home.stdout, sample().string());
}

TEST_F(DemoMake, makesMissingFoldersAboveTheHome)
{
    const fs::path deep = scratch() / "not there" / "yet" / "sample";
    EXPECT_TRUE(demoMake({"--programs", demoPrograms().string(), deep.string() + "//"}).ok());
    EXPECT_TRUE(fs::exists(deep / "zyn.toml"));
}

TEST_F(DemoMake, takesARelativeName)
{
    const Proc::Out out = Proc::run(
        (demoFolder() / "make").string(), {"--programs", demoPrograms().string(), "sample"}, scratch().string());
    EXPECT_TRUE(out.ok()) << out.stderr;
    EXPECT_THAT(read(scratch() / "sample" / "sample-env.sh"), HasSubstr("HOME='" + scratch().string() + "/sample'"));
}

TEST_F(DemoMake, compilesTheProgramsWhereNoneAreGiven)
{
    ASSERT_TRUE(demoMake({sample().string()}).ok());
    const Proc::Out version = Proc::run((sample() / ".zyn/bin/zyn").string(), {"--version"});
    EXPECT_EQ(version.stdout, "zyn 0.4.2\ncommit: 3f9c2ab41d7e\n");
    EXPECT_EQ(Proc::run((sample() / "bin/zyn").string(), {"--version"}).stdout, "zyn 0.3.9\ncommit: 61d8aa5e0c42\n");
    EXPECT_FALSE(fs::exists(sample() / ".programs"));
}

TEST_F(DemoMake, leavesAHomeThatStandsAsItIs)
{
    makeSample();
    write(sample() / "Library/Logs/zyn/zyn.log", "changed");
    write(sample() / "own note", "kept");
    const Tree before = treeOf(sample());
    const Proc::Out again = demoMake({sample().string()});
    EXPECT_TRUE(again.ok());
    EXPECT_THAT(again.stdout, HasSubstr("stands already"));
    EXPECT_EQ(treeOf(sample()), before);
}

TEST_F(DemoMake, twoHomesHoldTheSame)
{
    makeSample();
    const Tree before = treeOf(sample());
    ASSERT_TRUE(demoMake({"--remove", sample().string()}).ok());
    makeSample();
    EXPECT_EQ(treeOf(sample()), before);
}

TEST_F(DemoMake, resetMakesItAnewWithTheSameOptions)
{
    makeSample();
    const Tree before = treeOf(sample());
    write(sample() / "Library/Logs/zyn/zyn.log", "changed");
    write(sample() / "own note", "gone with the reset");
    fs::remove_all(sample() / ".zyn-crucible");
    fs::permissions(sample() / "Library/Caches", fs::perms::none);
    const Proc::Out out = demoMake({"--reset", sample().string()});
    EXPECT_TRUE(out.ok()) << out.stderr;
    EXPECT_EQ(treeOf(sample()), before);
    EXPECT_THAT(namesIn(scratch()), testing::SizeIs(1));
}

TEST_F(DemoMake, resetOfNothingMakesTheHome)
{
    EXPECT_TRUE(demoMake({"--reset", "--programs", demoPrograms().string(), sample().string()}).ok());
    EXPECT_TRUE(fs::exists(sample() / "zyn.toml"));
}

TEST_F(DemoMake, aResetThatFailsLeavesTheHome)
{
    makeSample();
    const Tree before = treeOf(sample());
    fs::create_directory(scratch() / "no programs");
    const Proc::Out out = demoMake({"--reset", "--programs", (scratch() / "no programs").string(), sample().string()});
    EXPECT_EQ(out.code, 1);
    EXPECT_THAT(out.stderr, HasSubstr("does not hold the program"));
    EXPECT_EQ(treeOf(sample()), before);
}

TEST_F(DemoMake, removeTakesItAwayAndMayBeRepeated)
{
    makeSample();
    EXPECT_TRUE(demoMake({"--remove", sample().string()}).ok());
    EXPECT_THAT(namesIn(scratch()), IsEmpty());
    EXPECT_TRUE(demoMake({"--remove", sample().string()}).ok());
    EXPECT_TRUE(demoMake({"--remove", (scratch() / "never" / "there").string()}).ok());
    EXPECT_THAT(namesIn(scratch()), IsEmpty());
}

TEST_F(DemoMake, removingFollowsNoLink)
{
    makeSample();
    write(scratch() / "drive" / "weights.bin", "precious");
    makeLink(sample() / ".zyn-crucible" / "drive", scratch() / "drive");
    fs::remove_all(sample() / "Volumes");
    makeLink(sample() / "Volumes", scratch() / "drive");
    ASSERT_TRUE(demoMake({"--remove", sample().string()}).ok());
    EXPECT_EQ(read(scratch() / "drive" / "weights.bin"), "precious");
}

TEST_F(DemoMake, refusesFoldersItDidNotMake)
{
    write(scratch() / "own" / "letter.txt", "precious");
    write(scratch() / "own" / "Library" / "mail", "more");
    fs::create_directory(scratch() / "empty");
    write(scratch() / "file", "no folder");
    write(scratch() / "namesake" / ".sample-home", "a file of somebody's own\n");
    const Tree before = treeOf(scratch());
    for (const char* name : {"own", "empty", "file", "namesake", "own/.", "own/Library/.."}) {
        expectRefused((scratch() / name).string(), "is not a sample home made here");
    }
    EXPECT_EQ(treeOf(scratch()), before);
}

TEST_F(DemoMake, refusesALinkEvenToASampleHome)
{
    makeSample();
    makeLink(scratch() / "link", sample());
    makeLink(scratch() / "dangling", scratch() / "nowhere");
    const Tree before = treeOf(scratch());
    expectRefused((scratch() / "link").string(), "is a link");
    expectRefused((scratch() / "dangling").string(), "is a link");
    EXPECT_EQ(treeOf(scratch()), before);
}

TEST_F(DemoMake, aMarkerThatIsALinkIsNoMarker)
{
    makeSample();
    write(scratch() / "own" / "letter.txt", "precious");
    makeLink(scratch() / "own" / ".sample-home", sample() / ".sample-home");
    expectRefused((scratch() / "own").string(), "is not a sample home made here");
    EXPECT_EQ(read(scratch() / "own" / "letter.txt"), "precious");
}

TEST_F(DemoMake, refusesTheUsersOwnHome)
{
    write(home() / "letter.txt", "precious");
    const Tree before = treeOf(home());
    expectRefused(home().string(), "your own home folder");
    EXPECT_EQ(treeOf(home()), before);
    const passwd* entry = ::getpwuid(::getuid());
    ASSERT_NE(entry, nullptr);
    expectRefused(entry->pw_dir, "your own home folder");
}

TEST_F(DemoMake, aSampleHomeThatIsInUseMayBeMadeAnew)
{
    makeSample();
    EXPECT_TRUE(runInside(demoFolder() / "make", {"--reset", sample().string()}).ok());
    EXPECT_TRUE(fs::exists(sample() / "zyn.toml"));
}

TEST_F(DemoMake, refusesNamesThatCannotWork)
{
    expectRefused("", "An empty name");
    expectRefused("/", "The folder / is never");
    expectRefused("//", "The folder / is never");
    expectRefused((scratch() / "a:b").string(), "no colon");
    expectRefused((scratch() / "line\nbreak").string(), "no control character");
    expectRefused((scratch() / "\xff\xfe").string(), "is not UTF-8");
    EXPECT_THAT(namesIn(scratch()), IsEmpty());
}

TEST_F(DemoMake, tellsWrongUsageFromARefusal)
{
    const std::string place = sample().string();
    const std::vector<std::vector<std::string>> misuses {{},
                                                         {place, place},
                                                         {"--unknown", place},
                                                         {"--port"},
                                                         {"--port", "80", place},
                                                         {"--port", "70000", place},
                                                         {"--port", "8080x", place},
                                                         {"--label", "org.else.agent", place},
                                                         {"--label", "com.zyn.</string>", place},
                                                         {"--label", "com.zyn.mlx-vantor", place}};
    for (const auto& arguments : misuses) {
        const Proc::Out out = demoMake(arguments);
        EXPECT_EQ(out.code, 2) << testing::PrintToString(arguments);
        EXPECT_THAT(out.stderr, HasSubstr("usage: Demo/make"));
    }
    EXPECT_FALSE(fs::exists(sample()));
    EXPECT_THAT(demoMake({"--help"}).stdout, HasSubstr("usage: Demo/make"));
}

TEST_F(DemoMake, anInterruptedMakingLeavesNoHalfHome)
{
    for (const int milliseconds : {20, 100, 200, 300}) {
        ServerProcess making(demoFolder() / "make", {sample().string()}, scratch().parent_path() / "making.log");
        std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
        making.signal(SIGTERM);
        ASSERT_TRUE(making.wait().has_value());
        // Where it was too late to interrupt, the home stands and is whole.
        EXPECT_EQ(fs::exists(sample()), fs::exists(sample() / ".sample-home"));
        ASSERT_TRUE(demoMake({"--remove", sample().string()}).ok());
        EXPECT_THAT(namesIn(scratch()), IsEmpty()) << milliseconds;
    }
}

TEST_F(DemoMake, aMountedDriveInsideIsNeverEmptied)
{
    const fs::path place = scratch() / "sample";
    ASSERT_TRUE(demoMake({"--programs", demoPrograms().string(), place.string()}).ok());
    const MountedVolume drive(place / "Volumes" / "Real drive", "tmpfs", 8);
    if (!drive.mounted()) {
        GTEST_SKIP() << "Mounting a file system needs root.";
    }
    write(drive.path() / "weights.bin", "precious");
    for (const char* action : {"--reset", "--remove"}) {
        const Proc::Out out = demoMake({action, place.string()});
        EXPECT_EQ(out.code, 1);
        EXPECT_THAT(out.stderr, HasSubstr("A file system is mounted inside"));
        EXPECT_EQ(read(drive.path() / "weights.bin"), "precious");
    }
    EXPECT_TRUE(fs::exists(place / "zyn.toml"));
}

TEST_F(DemoMake, whatIsStartedFromItKeepsItsFilesInside)
{
    makeSample();
    const EnvironmentVariable root("ZYN_CRUCIBLE_ROOT", "/elsewhere");
    const EnvironmentVariable cache("XDG_CACHE_HOME", "/elsewhere");
    const EnvironmentVariable runtime("XDG_RUNTIME_DIR", "/run/user/4711");
    const std::string all = runInside("/usr/bin/env", {}).stdout;
    const std::string place = sample().string();
    for (const std::string& line : {"HOME=" + place,
                                    "CFFIXED_USER_HOME=" + place,
                                    "CM_IDENTITY_TOML=" + place + "/zyn.toml",
                                    "CM_PROJECT_DIR=" + place + "/Projects/zyn-v8",
                                    "TMPDIR=" + place + "/tmp",
                                    "XDG_CACHE_HOME=" + place + "/.cache",
                                    "XDG_DATA_HOME=" + place + "/.local/share",
                                    std::string("XDG_RUNTIME_DIR=/run/user/4711")}) {
        EXPECT_THAT("\n" + all, HasSubstr("\n" + line + "\n"));
    }
    EXPECT_THAT(all, Not(HasSubstr("ZYN_CRUCIBLE_")));
    EXPECT_THAT(all, HasSubstr(":" + place + "/bin:" + place + "/.local/bin:" + place + "/opt/old/bin:"));
}

} // namespace
