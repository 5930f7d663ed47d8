// Tries to lose data: the shipped program is killed at every step, and each kind of its system calls is made to fail.
// After each run every byte must be at its source, or at the destination and in the Trash, and what the program says
// must be so.

#include <cstring>

#include "Tests/CodeManagerCLI/CrucibleSafety.h"

namespace
{

TEST_F(MoveSafetyTest, KilledAtEveryStepNothingIsLost)
{
    int points = 0;
    for (bool ended = false; !ended; points++) {
        prepare();
        const Proc::Out out = run(command(), "any:" + std::to_string(points + 1) + ":kill");
        SCOPED_TRACE("killed before change " + std::to_string(points + 1) + ": " + out.stderr);
        ended = out.code != SIGKILL;
        EXPECT_EQ(out.ok(), ended);
        expectNothingLost();
        runAgain();
        ASSERT_FALSE(HasFailure());
    }
    EXPECT_GT(points, 100);
}

class EachErrorOfAMove : public MoveSafetyTest, public ::testing::WithParamInterface<int>
{
};

TEST_P(EachErrorOfAMove, WhateverCallFailsNothingIsLost)
{
    prepare();
    const auto calls = callsOf(command());
    for (const char* call :
         {"open",       "openat",       "openat2",      "close",      "write",           "stat",      "lstat",
          "fstat",      "fstatat",      "readdir",      "readlinkat", "lseek",           "mkdir",     "mkdirat",
          "ftruncate",  "ioctl",        "linkat",       "symlinkat",  "copy_file_range", "fchown",    "fchmod",
          "futimens",   "utimensat",    "fchownat",     "flistxattr", "fgetxattr",       "fsetxattr", "fsync",
          "llistxattr", "fremovexattr", "lremovexattr", "syncfs",     "statvfs"}) {
        EXPECT_TRUE(calls.contains(call)) << call << " is not made any more, or not watched";
    }
    EXPECT_EQ(calls.contains("lsetxattr"), TestSupport::isRoot());
    for (const auto& [call, count] : calls) {
        for (const std::string& nth : occasions(count)) {
            prepare();
            const std::string fault = errnoFault(call, nth, GetParam());
            const Proc::Out out = run(command(), fault);
            SCOPED_TRACE(fault + " of " + std::to_string(count) + ": " + std::to_string(out.code) + " " + out.stdout
                         + out.stderr);
            expectFault(call, nth);
            expectNothingLost();
            expectTruth(out);
            runAgain();
            ASSERT_FALSE(HasFailure());
        }
    }
}

// Where the system does not copy by itself the program reads and writes.
TEST_P(EachErrorOfAMove, WhateverReadOrWriteFailsNothingIsLost)
{
    for (const std::string call : {"pread", "pwrite", "sendfile"}) {
        for (const char* nth : {"1", "4", "9", "*"}) {
            prepare();
            std::string fault = errnoFault("copy_file_range", "*", EXDEV) + ";" + errnoFault(call, nth, GetParam());
            if (call != "sendfile") {
                fault += ";" + errnoFault("sendfile", "*", EINVAL);
            }
            const Proc::Out out = run(command(), fault);
            SCOPED_TRACE(fault + ": " + std::to_string(out.code) + " " + out.stdout + out.stderr);
            expectFault(call, nth);
            EXPECT_EQ(out.ok(), call == "sendfile") << "which is done in another way then";
            expectNothingLost();
            expectTruth(out);
            runAgain();
            ASSERT_FALSE(HasFailure());
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Safety, EachErrorOfAMove, ::testing::ValuesIn(SafetyTest::errors), [](const auto& info) {
    return strerrorname_np(info.param);
});

TEST_F(MoveSafetyTest, ACopyThatLacksABlockIsNotTakenForGood)
{
    prepare();
    const long writes = callsOf(command()).at("copy_file_range");
    for (long nth = 1; nth <= writes; nth++) {
        prepare();
        const Proc::Out out = run(command(), "copy_file_range:" + std::to_string(nth) + ":skip");
        SCOPED_TRACE(std::to_string(nth) + ": " + out.stdout + out.stderr);
        EXPECT_THAT(out.stderr, StartsWith("Copy verification FAILED ("));
        EXPECT_THAT(
            out.stderr,
            HasSubstr(").\nOriginal kept at " + node().string() + "; inspect " + copy().string() + " yourself.\n"));
        EXPECT_TRUE(sourceIsWhole());
        EXPECT_FALSE(fs::exists(trash() / "a"));
        ASSERT_FALSE(HasFailure());
    }
}

TEST_F(MoveSafetyTest, CtrlCStopsTheCopyAndLeavesTheOriginal)
{
    prepare();
    write(node() / "big", std::string(30 << 20, 'b'));
    before_ = SampleTree::contents(node());
    for (const bool terminal : {false, true}) {
        std::vector<std::string> words = command();
        words.insert(words.begin(), program());
        Running run(
            words, {.environment = environment("copy_file_range:*:delay=100"), .folder = home(), .terminal = terminal});
        while (!fs::exists(copy() / "big")) {
            std::this_thread::sleep_for(5ms);
        }
        if (terminal) {
            EXPECT_TRUE(run.shows(" %  ")) << "a progress bar";
            run.type("\x03");
        } else {
            ::kill(run.pid(), SIGINT);
        }
        EXPECT_EQ(run.ending(), "signal " + std::to_string(SIGINT));
        EXPECT_THAT(run.output(), HasSubstr("Copy failed (original untouched): The copy was stopped."));
        EXPECT_THAT(run.output(), HasSubstr("move it to the Trash and try again"));
        EXPECT_EQ(run.output().find('\033') != std::string::npos, terminal);
        EXPECT_TRUE(sourceIsWhole());
        EXPECT_FALSE(fs::exists(trash() / "a"));
        fs::remove_all(copy());
    }
    EXPECT_TRUE(run(command()).ok());
}

TEST_F(MoveSafetyTest, ASecondCtrlCEndsItAtOnce)
{
    prepare();
    std::vector<std::string> words = command();
    words.insert(words.begin(), program());
    Running run(words, {.environment = environment("copy_file_range:1:delay=20000"), .folder = home()});
    while (!fs::exists(copy())) {
        std::this_thread::sleep_for(5ms);
    }
    std::this_thread::sleep_for(200ms);
    ::kill(run.pid(), SIGINT);
    EXPECT_EQ(run.ending(500ms), "running") << "waits for the piece at hand";
    ::kill(run.pid(), SIGINT);
    EXPECT_EQ(run.ending(10s), "signal " + std::to_string(SIGINT));
    EXPECT_TRUE(sourceIsWhole());
}

// ---- what a drive cannot do ----

TEST_F(MoveSafetyTest, AVolumeThatCannotLengthenFilesGetsWholeCopies)
{
    for (const int error : {EPERM, EINVAL, EOPNOTSUPP}) {
        prepare();
        const Proc::Out out = run(command(), errnoFault("ftruncate", "*", error));
        SCOPED_TRACE(out.stderr);
        expectFault("ftruncate", "*");
        EXPECT_TRUE(out.ok());
        expectTruth(out);
    }
}

TEST_F(MoveSafetyTest, ANameThatTheVolumeRefusesIsReportedAsThat)
{
    const std::map<std::string, std::string> refused {
        {"mkdirat", "a"}, {"symlinkat", "dangling"}, {"mkfifoat", "pipe"}};
    for (const int error : {EINVAL, EILSEQ, ENOENT}) {
        for (const auto& [call, name] : refused) {
            prepare();
            ASSERT_EQ(::mkfifo((node() / "pipe").c_str(), 0600), 0);
            const Proc::Out out = run(command(), errnoFault(call, "1", error));
            EXPECT_THAT(out.stderr,
                        StartsWith("Copy failed (original untouched): The name “" + name
                                   + "” can’t be used on this volume.\n"));
        }
    }
}

TEST_F(MoveSafetyTest, ANameOfAFileThatTheVolumeRefusesIsReportedAsThat)
{
    const auto makeFile = [this] {
        prepare();
        fs::remove_all(node());
        write(node(), "weights");
    };
    makeFile();
    const long opens = callsOf(command()).at("openat");
    int refused = 0;
    for (long nth = 1; nth <= opens; nth++) {
        makeFile();
        const Proc::Out out = run(command(), errnoFault("openat", std::to_string(nth), ENOENT));
        refused
            += out.stderr.starts_with("Copy failed (original untouched): The name “a” can’t be used on this volume.\n")
            ? 1
            : 0;
        EXPECT_TRUE(out.ok() || read(node()) == "weights");
    }
    EXPECT_EQ(refused, 1) << "the call that makes the file";
}

TEST_F(MoveSafetyTest, AFolderOfTheCopyThatIsRemovedMeanwhileIsReportedAsMissing)
{
    prepare();
    const Proc::Out out = run(command(), "pthread_create:*:errno=11;fchown:1:run", "rm -rf '" + copy().string() + "'");
    EXPECT_THAT(out.stderr, StartsWith("Copy failed (original untouched): The file “a” doesn’t exist.\n"));
    EXPECT_TRUE(sourceIsWhole());
}

TEST_F(MoveSafetyTest, AnAttributeThatCannotBeCopiedIsNamed)
{
    const std::string attribute = "The attribute “user.origin” of the file “config.json” couldn’t be copied";
    const std::map<int, std::string> reasons {
        {EIO, attribute + " (Input/output error)."},
        {ENOTSUP, attribute + " (Operation not supported)."},
        {E2BIG, attribute + " because it is too large for the volume."},
        {ENOSPC, attribute + " because it is too large for the volume."},
        {EDQUOT, "The file “config.json” couldn’t be saved because your disk quota on the volume is used up."}};
    for (const auto& [error, reason] : reasons) {
        prepare();
        const Proc::Out out = run(command(), errnoFault("fsetxattr", "1", error));
        EXPECT_THAT(out.stderr, StartsWith("Copy failed (original untouched): " + reason + "\n"));
        EXPECT_TRUE(sourceIsWhole());
    }
}

TEST_F(MoveSafetyTest, AnAttributeOfTheSystemThatTheVolumeRefusesMayBeMissing)
{
    if (!TestSupport::isRoot()) {
        GTEST_SKIP() << "attributes that are not the user's take root";
    }
    for (const int error : {EPERM, EACCES, EINVAL, ENOTSUP}) {
        prepare();
        const Proc::Out out = run(command(), errnoFault("lsetxattr", "*", error));
        SCOPED_TRACE(out.stderr);
        expectFault("lsetxattr", "*");
        expectTruth(out);
        EXPECT_TRUE(out.ok());
    }
}

TEST_F(MoveSafetyTest, AnAccessListThatCannotBeRemovedFailsTheCopy)
{
    prepare();
    const Proc::Out out = run(command(), errnoFault("fremovexattr", "1", EPERM));
    EXPECT_THAT(out.stderr,
                StartsWith("Copy failed (original untouched): The attribute “system.posix_acl_access” of the file “"));
    EXPECT_TRUE(sourceIsWhole());
}

// ---- without threads ----

TEST_F(MoveSafetyTest, AMoveIsDoneWithAsManyThreadsAsThereAre)
{
    prepare();
    const long threads = callsOf(command()).at("pthread_create");
    EXPECT_GT(threads, 1) << "one for signals, others to copy";
    for (const std::string& nth : occasions(threads)) {
        prepare();
        const Proc::Out out = run(command(), errnoFault("pthread_create", nth, EAGAIN));
        SCOPED_TRACE(nth + ": " + out.stderr);
        expectFault("pthread_create", nth);
        EXPECT_TRUE(out.ok());
        expectTruth(out);
    }
}

TEST_F(MoveSafetyTest, CtrlCEndsAMoveWithoutThreadsAtOnce)
{
    prepare();
    std::vector<std::string> words = command();
    words.insert(words.begin(), program());
    Running run(
        words,
        {.environment = environment("pthread_create:*:errno=11;copy_file_range:1:delay=20000"), .folder = home()});
    while (!fs::exists(copy() / "config.json")) {
        std::this_thread::sleep_for(5ms);
    }
    ::kill(run.pid(), SIGINT);
    EXPECT_EQ(run.ending(10s), "signal " + std::to_string(SIGINT));
    EXPECT_TRUE(sourceIsWhole());
}

// ---- what changes links ----

// Weights on two drives, a root link, a served link, links that dangle and a backup of what they should be.
class LinkSafetyTest : public SafetyTest
{
protected:
    void prepare()
    {
        for (const char* folder : {"from", "to", ".local", "links"}) {
            fs::remove_all(home() / folder);
        }
        for (const char* drive : {"from", "to"}) {
            write(home() / drive / "models/m/weights", drive);
            write(home() / drive / "models/n/weights", drive);
        }
        write(home() / "store.toml",
              "model_locations = [\"~/links/root\", \"~/from\", \"~/to\"]\nmodel_served = \"~/links/served\"\n");
        makeLink(home() / "links/root", home() / "from");
        makeLink(home() / "links/served", home() / "from/models/m");
        makeLink(home() / "from/models/z", "/gone/z");
        write(home() / "to/models/z", "to");
        write(home() / "backup",
              "link = \"" + (home() / "links/served").string() + "\"\ntarget = \"" + (home() / "to/models/m").string()
                  + "\"\nlink = \"" + (home() / "links/root").string() + "\"\ntarget = \"" + (home() / "to").string()
                  + "\"\n");
    }

    // What each of the links leads to at first.
    [[nodiscard]] std::map<fs::path, fs::path> links() const
    {
        return {{home() / "links/root", home() / "from"},
                {home() / "links/served", home() / "from/models/m"},
                {home() / "from/models/z", "/gone/z"}};
    }

    void expectNothingLost() const
    {
        for (const char* drive : {"from", "to"}) {
            EXPECT_EQ(read(home() / drive / "models/m/weights"), drive);
            EXPECT_EQ(read(home() / drive / "models/n/weights"), drive);
        }
        EXPECT_EQ(read(home() / "to/models/z"), "to");
        for (const auto& [link, target] : links()) {
            const bool stands = fs::is_symlink(link) && fs::read_symlink(link) == target;
            const auto names = trashed(); // which it chooses
            const bool thrown = std::ranges::any_of(names, [this, &target](const std::string& name) {
                return fs::is_symlink(trash() / name) && fs::read_symlink(trash() / name) == target;
            });
            EXPECT_TRUE(stands || thrown) << link;
            if (fs::is_symlink(link) && !stands) {
                EXPECT_TRUE(fs::exists(link)) << "a new link leads somewhere";
            }
        }
    }
};

// Whenever somebody makes a folder in the place of the link that is being replaced, it stays there.
TEST_F(LinkSafetyTest, AFolderMadeDuringAChangeOfTheLinkStays)
{
    const std::map<std::string, std::vector<std::string>> commands {{"links/root", {"crucible", "set-root", "to"}},
                                                                    {"links/served", {"crucible", "serve", "~/to"}}};
    for (const auto& [link, words] : commands) {
        const fs::path place = home() / link;
        prepare();
        const long checks = callsOf(words).at("lstat");
        int made = 0;
        for (long nth = 0; nth <= checks; nth++) {
            prepare();
            const Proc::Out out = run(words,
                                      nth == 0 ? "symlink:1:run" : "lstat:" + std::to_string(nth) + ":run",
                                      "test -e '" + place.string() + "' || mkdir '" + place.string() + "'");
            SCOPED_TRACE(link + ", lstat " + std::to_string(nth) + ": " + out.stdout + out.stderr);
            expectNothingLost();
            for (const std::string& name : trashed()) {
                EXPECT_TRUE(fs::is_symlink(trash() / name)) << name;
            }
            if (fs::is_symlink(place)) {
                EXPECT_THAT(out.stdout, HasSubstr(":\n" + fs::read_symlink(place).string() + "\n"));
                continue;
            }
            made++;
            EXPECT_TRUE(fs::is_directory(place));
            EXPECT_EQ(out.stderr,
                      "Could not update the link: The file “" + place.filename().string()
                          + "” couldn’t be saved in the folder “links” because a file with the same name already "
                            "exists.\n");
        }
        EXPECT_GT(made, 0) << link;
    }
}

struct LinkCommand {
    const char* name;
    std::vector<std::string> words;
    const char* said; // for each link that was set
    std::map<std::string, std::string> targets; // what is set, below the home
};

class EachLinkCommand : public LinkSafetyTest, public ::testing::WithParamInterface<LinkCommand>
{
protected:
    [[nodiscard]] long set() const
    {
        return std::ranges::count_if(GetParam().targets, [this](const auto& link) {
            const fs::path place = home() / link.first;
            return fs::is_symlink(place) && fs::read_symlink(place) == home() / link.second;
        });
    }

    // As many links were set as was said; where one was not though it should have been, why.
    void expectTruth(const Proc::Out& out, long setBefore) const
    {
        long said = 0;
        for (std::size_t at = out.stdout.find(GetParam().said); at != std::string::npos;
             at = out.stdout.find(GetParam().said, at + 1)) {
            said++;
        }
        EXPECT_GE(set(), said);
        EXPECT_LE(set(), said + setBefore);
        EXPECT_TRUE(said == std::ssize(GetParam().targets) || !out.stderr.empty() || nothingDangles()
                    || foundNothing(out));
    }

    // The same command again completes, or says what to do.
    void runAgain() const
    {
        const long before = set();
        const bool servedStands = fs::is_symlink(home() / "links/served");
        const Proc::Out again = run(GetParam().words);
        SCOPED_TRACE("again: " + again.stdout + again.stderr);
        expectNothingLost();
        expectTruth(again, before);
        if (!servedStands && again.stderr.starts_with("Cannot tell which drive")) {
            EXPECT_THAT(again.stderr, HasSubstr("Take it back from the Trash, or make it with “ln -s”."));
        } else if (!nothingDangles()) {
            EXPECT_EQ(set(), std::ssize(GetParam().targets)) << "complete";
        }
    }

    // What a repair cannot read it passes over.
    [[nodiscard]] static bool foundNothing(const Proc::Out& out)
    {
        return GetParam().words.back() == "repair" && out.stdout.empty();
    }

    // A repair looks for broken links: not for one that is in the Trash by now.
    [[nodiscard]] bool nothingDangles() const
    {
        const fs::path link = home() / "from/models/z";
        return GetParam().words.back() == "repair" && (!fs::is_symlink(link) || fs::exists(link));
    }
};

TEST_P(EachLinkCommand, KilledAtEveryStepTheWeightsAreUntouched)
{
    int points = 0;
    for (bool ended = false; !ended; points++) {
        prepare();
        const Proc::Out out = run(GetParam().words, "any:" + std::to_string(points + 1) + ":kill");
        SCOPED_TRACE("killed before change " + std::to_string(points + 1) + ": " + out.stderr);
        ended = out.code != SIGKILL;
        expectNothingLost();
        runAgain();
        ASSERT_FALSE(HasFailure());
    }
    EXPECT_GT(points, 3);
}

TEST_P(EachLinkCommand, WhateverCallFailsTheWeightsAreUntouched)
{
    prepare();
    for (const auto& [call, count] : callsOf(GetParam().words)) {
        for (const int error : errors) {
            for (const std::string& nth : occasions(count)) {
                prepare();
                const std::string fault = errnoFault(call, nth, error);
                const Proc::Out out = run(GetParam().words, fault);
                SCOPED_TRACE(fault + " of " + std::to_string(count) + ": " + std::to_string(out.code) + " " + out.stdout
                             + out.stderr);
                expectFault(call, nth);
                expectNothingLost();
                EXPECT_TRUE(out.code == 0 || out.code == 1);
                expectTruth(out, 0);
                runAgain();
                ASSERT_FALSE(HasFailure());
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Safety,
    EachLinkCommand,
    ::testing::Values(
        LinkCommand {
            "SetRoot", {"crucible", "set-root", "to"}, "Crucible root now points at:\n", {{"links/root", "to"}}},
        LinkCommand {"Serve", {"crucible", "serve", "~/to"}, "Now serving from:\n", {{"links/served", "to/models/m"}}},
        LinkCommand {"Repair", {"crucible", "repair"}, "repaired:\n", {{"from/models/z", "to/models/z"}}},
        LinkCommand {"Restore",
                     {"crucible", "restore", "backup"},
                     "restored:\n",
                     {{"links/served", "to/models/m"}, {"links/root", "to"}}}),
    [](const auto& info) { return info.param.name; });

} // namespace
