#include "ManagerCore/Foundation/Proc.h"

#include <array>
#include <chrono>
#include <csignal>
#include <dirent.h>
#include <fcntl.h>
#include <future>
#include <set>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#ifdef __APPLE__
#include <util.h>
#else
#include <pty.h>
#endif

#include <gmock/gmock.h>

#include "ManagerCore/Foundation/Text.h"
#include "Tests/Support/Permissions.h"
#include "Tests/Support/Sandbox.h"

namespace Proc = ManagerCore::Proc;
namespace fs = std::filesystem;
using namespace std::chrono_literals;
using testing::Contains;
using testing::ElementsAre;
using TestSupport::testChild;

namespace
{

using Clock = std::chrono::steady_clock;

Proc::Out child(const std::vector<std::string>& arguments) { return Proc::run(testChild().string(), arguments); }

// What `test-child dump` wrote.
std::multiset<std::string> dumped(const fs::path& file)
{
    std::multiset<std::string> entries;
    const std::string bytes = TestSupport::read(file);
    for (std::size_t at = 0; at < bytes.size();) {
        const std::size_t end = bytes.find('\0', at);
        entries.insert(bytes.substr(at, end - at));
        at = end + 1;
    }
    return entries;
}

std::size_t openDescriptors()
{
    std::size_t count = 0;
    DIR* folder = ::opendir("/dev/fd");
    while (::readdir(folder) != nullptr) {
        count++;
    }
    ::closedir(folder);
    return count;
}

bool hasChildren()
{
    siginfo_t any {};
    return ::waitid(P_ALL, 0, &any, WEXITED | WNOHANG | WNOWAIT) == 0;
}

// Whether the process, which is no child of this one, ends. One that its new parent has not reaped yet has ended.
bool endsWithin(pid_t process, std::chrono::milliseconds time)
{
    const auto deadline = Clock::now() + time;
    while (Clock::now() < deadline) {
        const std::string state = Proc::run("/bin/ps", {"-o", "stat=", "-p", std::to_string(process)}).stdout;
        if (state.empty() || state.starts_with('Z')) {
            return true;
        }
        std::this_thread::sleep_for(5ms);
    }
    return false;
}

using ProcTest = TestSupport::SandboxTest;

TEST_F(ProcTest, givesExitCodeAndBothStreams)
{
    const Proc::Out out = Proc::run("/bin/sh", {"-c", "echo out; echo err >&2; exit 3"});
    EXPECT_EQ(out.code, 3);
    EXPECT_FALSE(out.ok());
    EXPECT_EQ(out.stdout, "out\n");
    EXPECT_EQ(out.stderr, "err\n");
    EXPECT_TRUE(child({"exit", "0"}).ok());
}

TEST_F(ProcTest, aChildEndedByASignalGivesTheSignalsNumber)
{
    EXPECT_EQ(child({"signal", "9"}).code, 9);
    EXPECT_EQ(child({"signal", "15"}).code, 15);
}

TEST_F(ProcTest, aWatcherTellsASignalFromAnExitStatus)
{
    Proc::Watcher watcher;
    EXPECT_EQ(Proc::run("/bin/sh", {"-c", "kill -9 $$"}, std::nullopt, std::nullopt, &watcher).code, 9);
    EXPECT_TRUE(watcher.endedBySignal());
    EXPECT_EQ(Proc::run("/bin/sh", {"-c", "exit 9"}, std::nullopt, std::nullopt, &watcher).code, 9);
    EXPECT_FALSE(watcher.endedBySignal());
}

TEST_F(ProcTest, argumentsAreHandedOverAsTheyAreWithEveryByteButZero)
{
    std::string every;
    for (int byte = 1; byte < 256; byte++) {
        every.push_back(static_cast<char>(byte));
    }
    const fs::path file = scratch() / "dump";
    ASSERT_TRUE(child({"dump", file.string(), every, "", "$HOME *", "a\nb"}).ok());
    const auto entries = dumped(file);
    EXPECT_THAT(entries, Contains("arg:" + every));
    EXPECT_THAT(entries, Contains("arg:"));
    EXPECT_THAT(entries, Contains("arg:$HOME *"));
    EXPECT_THAT(entries, Contains("arg:a\nb"));
    EXPECT_THAT(entries, Contains("arg:" + testChild().string())) << "the program's own name is its full path";
    EXPECT_THAT(entries, Contains("group:1"));
    EXPECT_THAT(entries, Contains("session:1"));
}

TEST_F(ProcTest, aZeroByteInAnArgumentIsRefusedInsteadOfCut)
{
    const Proc::Out out = child({"dump", (scratch() / "file").string() + std::string(1, '\0') + "tail"});
    EXPECT_EQ(out.code, -1);
    EXPECT_EQ(out.stderr, "The file “test-child” couldn’t be run because an argument holds a zero byte.");
    EXPECT_FALSE(fs::exists(scratch() / "file"));
}

TEST_F(ProcTest, theEnvironmentIsInheritedOrReplacedWhole)
{
    const TestSupport::EnvironmentVariable variable("CODE_MANAGER_TEST", "in herited");
    const fs::path file = scratch() / "dump";
    ASSERT_TRUE(child({"dump", file.string()}).ok());
    EXPECT_THAT(dumped(file), Contains("env:CODE_MANAGER_TEST=in herited"));
    const Proc::Environment one {{"A", "b=c"}};
    ASSERT_TRUE(Proc::run(testChild().string(), {"dump", file.string()}, {}, one).ok());
    const auto entries = dumped(file);
    EXPECT_THAT(entries, Contains("env:A=b=c"));
    EXPECT_EQ(std::count_if(entries.begin(), entries.end(), [](const auto& text) { return text.starts_with("env:"); }),
              1);
}

TEST_F(ProcTest, anEmptyEnvironmentIsEmpty)
{
    const fs::path file = scratch() / "dump";
    ASSERT_TRUE(Proc::run(testChild().string(), {"dump", file.string()}, {}, Proc::Environment {}).ok());
    for (const std::string& entry : dumped(file)) {
        EXPECT_FALSE(entry.starts_with("env:")) << entry;
    }
}

TEST_F(ProcTest, theProgramsOwnEnvironmentCanBeRead)
{
    const TestSupport::EnvironmentVariable variable("CODE_MANAGER_TEST", "x=y");
    EXPECT_EQ(Proc::environment().at("CODE_MANAGER_TEST"), "x=y");
}

TEST_F(ProcTest, runsInTheWorkingFolder)
{
    const fs::path folder = scratch() / "a folder";
    fs::create_directory(folder);
    const fs::path file = scratch() / "dump";
    ASSERT_TRUE(Proc::run(testChild().string(), {"dump", file.string()}, folder.string()).ok());
    EXPECT_THAT(dumped(file), Contains("cwd:" + folder.string()));
    ASSERT_TRUE(child({"dump", file.string()}).ok());
    EXPECT_THAT(dumped(file), Contains("cwd:" + fs::current_path().string()));
}

TEST_F(ProcTest, aRelativeExecutableIsFoundFromTheProgramsFolderNotTheChilds)
{
    TestSupport::makeExecutable(scratch() / "here/tool", "#!/bin/sh\necho here\n");
    fs::create_directory(scratch() / "there");
    const fs::path before = fs::current_path();
    fs::current_path(scratch() / "here");
    const Proc::Out out = Proc::run("tool", {}, (scratch() / "there").string());
    fs::current_path(before);
    EXPECT_EQ(out.stdout, "here\n");
}

TEST_F(ProcTest, isNotSearchedForInPath)
{
    EXPECT_EQ(Proc::run("sh", {"-c", "true"}).stderr, "The file “sh” doesn’t exist.");
}

TEST_F(ProcTest, whatCannotBeLaunchedSaysWhy)
{
    TestSupport::write(scratch() / "plain", "#!/bin/sh\n");
    TestSupport::makeExecutable(scratch() / "garbage", std::string("\0\1\2\3", 4));
    const auto failure = [](const std::string& executable, const std::optional<std::string>& cwd = {}) {
        const Proc::Out out = Proc::run(executable, {}, cwd);
        EXPECT_EQ(out.code, -1);
        EXPECT_EQ(out.stdout, "");
        EXPECT_FALSE(out.ok());
        return out.stderr;
    };
    EXPECT_EQ(failure((scratch() / "none").string()), "The file “none” doesn’t exist.");
    EXPECT_EQ(failure(""), "The file “” doesn’t exist.");
    EXPECT_EQ(failure((scratch() / "plain").string()),
              "The file “plain” couldn’t be run because you don’t have permission to execute it.");
    EXPECT_EQ(failure(scratch().string()),
              "The file “scratch” couldn’t be run because you don’t have permission to execute it.");
    EXPECT_EQ(failure((scratch() / "garbage").string()),
              "The file “garbage” couldn’t be run because it isn’t a program that this system can run.");
    EXPECT_EQ(failure("/bin/true", (scratch() / "no folder").string()), "The file “no folder” doesn’t exist.");
    EXPECT_EQ(failure("/bin/true", (scratch() / "plain").string()),
              "The file “plain” couldn’t be opened because it isn’t a folder.");
    EXPECT_FALSE(hasChildren());
}

TEST_F(ProcTest, aWorkingFolderThatCannotBeEnteredIsNamed)
{
    const TestSupport::PermissionsHold hold;
    const fs::path locked = scratch() / "locked";
    fs::create_directories(locked / "inner");
    TestSupport::makeLink(scratch() / "circle", scratch() / "circle");
    TestSupport::write(scratch() / "file", "");
    const auto failure = [](const fs::path& folder) { return Proc::run("/bin/true", {}, folder.string()); };
    fs::permissions(locked, fs::perms::owner_read | fs::perms::owner_write);
    const auto refused = failure(locked);
    const auto refusedInside = failure(locked / "inner");
    const auto missingProgram = Proc::run((scratch() / "none").string(), {}, locked.string());
    fs::permissions(locked, fs::perms::owner_all);
    EXPECT_EQ(refused.code, -1);
    EXPECT_EQ(refused.stderr, "The file “locked” couldn’t be opened because you don’t have permission to view it.");
    EXPECT_EQ(refusedInside.stderr,
              "The file “inner” couldn’t be opened because you don’t have permission to view it.");
    EXPECT_EQ(missingProgram.stderr, refused.stderr) << "the folder is entered first";
    EXPECT_EQ(failure(scratch() / "circle").stderr,
              "The file “circle” couldn’t be opened because its links lead in a circle.");
    EXPECT_EQ(failure(scratch() / "file/inner").stderr, "The file “inner” doesn’t exist.");
    EXPECT_EQ(Proc::run((scratch() / "none").string(), {}, locked.string()).stderr, "The file “none” doesn’t exist.");
}

TEST_F(ProcTest, argumentsBeyondTheSystemsLimitAreRefused)
{
    EXPECT_EQ(child({std::string(10 << 20, 'x')}).stderr,
              "The file “test-child” couldn’t be run because its arguments and its environment are too long.");
}

TEST_F(ProcTest, fiftyMegabytesOnOneStreamWhileTheOtherIsSilent)
{
    const std::string count = std::to_string(50 << 20);
    EXPECT_EQ(child({"write", "2", count}).stderr.size(), 50U << 20);
    EXPECT_EQ(child({"write", "1", count}).stdout.size(), 50U << 20);
}

TEST_F(ProcTest, outputThatIsNotUtf8IsRepaired)
{
    EXPECT_EQ(child({"bytes", "1", "61ff62"}).stdout, "a\uFFFDb");
    EXPECT_EQ(child({"bytes", "2", "e282-ac"}).stderr, "€") << "cut inside a character at a read's end";
    EXPECT_EQ(child({"bytes", "1", "e282"}).stdout, "\uFFFD");
    EXPECT_EQ(child({"bytes", "1", "610062"}).stdout, std::string("a\0b", 3));
}

TEST_F(ProcTest, aChildThatClosesItsStreamsAndLivesOnIsWaitedFor)
{
    const auto start = Clock::now();
    EXPECT_EQ(child({"close-and-live", "300"}).code, 7);
    EXPECT_GE(Clock::now() - start, 300ms);
}

TEST_F(ProcTest, aGrandchildThatKeepsAStreamOpenIsWaitedFor)
{
    const Proc::Out out = child({"grandchild", "300", "1"});
    EXPECT_EQ(out.code, 0);
    EXPECT_EQ(out.stdout, "late");
    EXPECT_EQ(child({"grandchild", "300", "2"}).stderr, "late");
}

TEST_F(ProcTest, standardInputIsInherited)
{
    TestSupport::write(scratch() / "input", "12345");
    const int before = ::dup(0);
    const int file = ::open((scratch() / "input").c_str(), O_RDONLY);
    ::dup2(file, 0);
    ::close(file);
    const Proc::Out out = child({"read"});
    ::dup2(before, 0);
    ::close(before);
    EXPECT_EQ(out.stdout, "5\n");
}

// Does `work` in a program of its own on a terminal of its own and gives its exit status; ended by force when it hangs.
template <class Work> int onATerminal(Work work)
{
    int terminal = -1;
    const pid_t program = ::forkpty(&terminal, nullptr, nullptr, nullptr);
    if (program == 0) {
        ::alarm(60);
        std::_Exit(work());
    }
    int status = 0;
    EXPECT_EQ(::waitpid(program, &status, 0), program);
    ::close(terminal);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

TEST_F(ProcTest, aTerminalThatIsGivenUpIsAnEmptyFile)
{
    EXPECT_EQ(onATerminal([] {
                  Proc::giveUpTerminalInput();
                  return child({"read"}).stdout == "0\n" ? 0 : 1;
              }),
              0);
}

TEST_F(ProcTest, aChildHasNoControllingTerminal)
{
    EXPECT_EQ(onATerminal([] { return Proc::run("/bin/sh", {"-c", "exec </dev/tty; cat"}).ok() ? 1 : 0; }), 0);
}

TEST_F(ProcTest, aChildInheritsThreeDescriptorsAndNoneOfAnotherChilds)
{
    std::vector<std::future<Proc::Out>> children;
    for (int count = 0; count < 16; count++) {
        children.push_back(std::async(std::launch::async, [] { return child({"descriptors"}); }));
    }
    for (auto& running : children) {
        EXPECT_EQ(running.get().stdout, "0\n1\n2\n");
    }
}

TEST_F(ProcTest, theChildsSignalsAreAsAProgramExpectsThem)
{
    sigset_t blocked;
    sigset_t before;
    ::sigemptyset(&blocked);
    ::sigaddset(&blocked, SIGTERM);
    ::pthread_sigmask(SIG_BLOCK, &blocked, &before);
    const auto ignored = std::signal(SIGPIPE, SIG_IGN);
    EXPECT_EQ(child({"signal", std::to_string(SIGTERM)}).code, SIGTERM);
    EXPECT_EQ(child({"signal", std::to_string(SIGPIPE)}).code, SIGPIPE);
    (void)std::signal(SIGPIPE, ignored);
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

TEST_F(ProcTest, aThousandChildrenLeaveNothingBehind)
{
    child({"exit", "0"});
    const std::size_t before = openDescriptors();
    for (int count = 0; count < 1000; count++) {
        ASSERT_EQ(child({"exit", std::to_string(count % 7)}).code, count % 7);
    }
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_FALSE(hasChildren());
}

TEST_F(ProcTest, sixtyFourChildrenAtOnceLeaveNothingBehind)
{
    child({"exit", "0"});
    const std::size_t before = openDescriptors();
    std::vector<std::future<Proc::Out>> children;
    for (int number = 0; number < 64; number++) {
        children.push_back(std::async(std::launch::async, [number] {
            return Proc::run("/bin/sh", {"-c", "sleep 0.2; echo " + std::to_string(number)});
        }));
    }
    for (int number = 0; number < 64; number++) {
        EXPECT_EQ(children[static_cast<std::size_t>(number)].get().stdout, std::to_string(number) + "\n");
    }
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_FALSE(hasChildren());
}

TEST_F(ProcTest, withoutFreeDescriptorsNothingIsLaunched)
{
    rlimit before {};
    ::getrlimit(RLIMIT_NOFILE, &before);
    const rlimit none {.rlim_cur = 4, .rlim_max = before.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &none);
    const Proc::Out out = child({"exit", "0"});
    ::setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_EQ(out.code, -1);
    EXPECT_EQ(out.stderr, "The file “test-child” couldn’t be run (Too many open files).");
}

TEST_F(ProcTest, childrenAreHeededEvenWhenTheProgramWasStartedIgnoringThem)
{
    const auto before = std::signal(SIGCHLD, SIG_IGN);
    // The look at the signal is taken once per process: this test has one of its own.
    const int code = child({"exit", "5"}).code;
    (void)std::signal(SIGCHLD, before);
    EXPECT_THAT(code, testing::AnyOf(5, -1));
}

struct Told {
    std::vector<std::string> output;
    std::vector<std::string> error;

    Proc::WatcherOptions::OnText listener()
    {
        return [this](Proc::Stream stream, std::string_view line) {
            (stream == Proc::Stream::output ? output : error).emplace_back(line);
        };
    }
};

Proc::Out watched(const std::string& executable, const std::vector<std::string>& arguments, Proc::Watcher& watcher)
{
    return Proc::run(executable, arguments, std::nullopt, std::nullopt, &watcher);
}

TEST_F(ProcTest, aWatcherSeesEachLineOfEachStream)
{
    Told told;
    Proc::Watcher watcher(told.listener());
    const Proc::Out out
        = watched("/bin/sh", {"-c", "printf 'a\\n\\nb c\\r\\nlast'; printf 'e1\\ne2\\n' >&2; exit 4"}, watcher);
    EXPECT_EQ(out, (Proc::Out {.code = 4, .stdout = "a\n\nb c\r\nlast", .stderr = "e1\ne2\n"}));
    EXPECT_THAT(told.output, ElementsAre("a", "", "b c\r", "last"));
    EXPECT_THAT(told.error, ElementsAre("e1", "e2"));
}

TEST_F(ProcTest, linesComeWhileTheChildRunsAndAreWholeCharacters)
{
    std::vector<Clock::time_point> times;
    std::vector<std::string> lines;
    Proc::Watcher watcher([&](Proc::Stream, std::string_view line) {
        times.push_back(Clock::now());
        lines.emplace_back(line);
    });
    watched("/bin/sh", {"-c", "echo one; sleep 0.3; printf '\\342\\202'; sleep 0.1; printf '\\254\\n'"}, watcher);
    ASSERT_THAT(lines, ElementsAre("one", "€"));
    EXPECT_GE(times[1] - times[0], 300ms);
}

// A script that goes on once `seen` exists.
std::string pausing(const fs::path& seen)
{
    return "pause() { while [ ! -e '" + seen.string() + "' ]; do sleep 0.01; done; rm '" + seen.string() + "'; }; ";
}

TEST_F(ProcTest, theBeginningOfALineIsToldOnceTheChildIsSilent)
{
    const fs::path seen = scratch() / "seen";
    Told told;
    std::vector<std::string> prompts;
    Proc::Watcher watcher(Proc::WatcherOptions {
        .onLine = told.listener(), .onPrompt = [&](Proc::Stream stream, std::string_view text) {
            prompts.push_back((stream == Proc::Stream::error ? "error " : "") + std::string(text));
            TestSupport::write(seen, "");
        }});
    const Proc::Out out = watched("/bin/sh",
                                  {"-c",
                                   pausing(seen)
                                       + "echo first; printf 'Proceed? '; pause; echo yes; printf 'Sure? ' >&2; pause; "
                                         "printf 'half \\342\\202'; sleep 0.6; printf '\\254'; pause"},
                                  watcher);
    EXPECT_THAT(prompts, ElementsAre("Proceed? ", "error Sure? ", "half €")) << "a character is told whole";
    EXPECT_THAT(told.output, ElementsAre("first", "yes"));
    EXPECT_TRUE(told.error.empty());
    EXPECT_EQ(out, (Proc::Out {.code = 0, .stdout = "first\nProceed? yes\nhalf €", .stderr = "Sure? "}));
}

// What `run` gives of the bytes that a script prints when the last `kept` characters are asked for.
std::string keptOf(const std::string& script, std::size_t kept)
{
    Proc::Watcher watcher(Proc::WatcherOptions {.kept = kept});
    return watched("/bin/sh", {"-c", script}, watcher).stdout;
}

TEST_F(ProcTest, ofMuchOutputTheLastCharactersStay)
{
    namespace Text = ManagerCore::Text;
    const std::vector<std::string> printed {"x", "line\\n", "é", "e\\314\\201", "\\r\\n", "a\\377\\342\\202"};
    for (const std::string& unit : printed) {
        const std::string script = "yes \"$(printf '" + unit + "_')\" | head -c 7654321";
        const std::string whole = Proc::run("/bin/sh", {"-c", script}).stdout;
        const std::string kept = keptOf(script, 1000);
        EXPECT_LT(kept.size(), 3U << 20) << unit;
        EXPECT_TRUE(whole.ends_with(kept)) << unit;
        EXPECT_EQ(Text::lastCharacters(kept, 1000), Text::lastCharacters(whole, 1000)) << unit;
    }
}

TEST_F(ProcTest, aCharacterOfManyBytesStaysWhole)
{
    // One letter with two million accents, which is a single character, after a line of text.
    const std::string script = "head -c 2000000 /dev/zero | tr '\\0' x; printf '\\ne'; "
                               "yes \"$(printf '\\314\\201')\" | tr -d '\\n' | head -c 4000000; printf '!'";
    const std::string kept = keptOf(script, 3);
    EXPECT_TRUE(kept.ends_with("\u0301!"));
    EXPECT_EQ(ManagerCore::Text::lastCharacters(kept, 2).size(), 4000002U);
}

TEST_F(ProcTest, outputIsKeptWholeUnlessLessIsAskedFor)
{
    const std::string script = "head -c 5000000 /dev/zero | tr '\\0' x";
    EXPECT_EQ(keptOf(script, std::string::npos).size(), 5000000U);
    EXPECT_EQ(keptOf("printf abc", 1), "abc") << "little output is not worth a cut";
}

TEST_F(ProcTest, linesAreSeenWholeThoughLessIsKept)
{
    Told told;
    Proc::Watcher watcher(Proc::WatcherOptions {.onLine = told.listener(), .kept = 10});
    watched("/bin/sh", {"-c", "seq 400000"}, watcher);
    ASSERT_EQ(told.output.size(), 400'000U);
    EXPECT_EQ(told.output.back(), "400000");
    EXPECT_TRUE(std::ranges::all_of(
        told.output, [next = 0](const std::string& line) mutable { return line == std::to_string(++next); }));
}

TEST_F(ProcTest, aHundredThousandLinesAreSeenInOrder)
{
    int expected = 0;
    Proc::Watcher watcher(
        [&](Proc::Stream, std::string_view line) { expected += line == std::to_string(expected + 1) ? 1 : 0; });
    watched("/bin/sh", {"-c", "seq 100000"}, watcher);
    EXPECT_EQ(expected, 100'000);
}

TEST_F(ProcTest, stopEndsTheWholeGroupPolitelyAtOnce)
{
    Told told;
    Proc::Watcher watcher(told.listener());
    auto running = std::async(std::launch::async, [&] {
        return watched("/bin/sh", {"-c", "trap 'echo bye; exit 6' TERM; echo up; sleep 60 & wait"}, watcher);
    });
    std::this_thread::sleep_for(300ms);
    const auto start = Clock::now();
    watcher.stop();
    const Proc::Out out = running.get();
    EXPECT_LT(Clock::now() - start, 2s);
    EXPECT_EQ(out.code, 6);
    EXPECT_EQ(out.stdout, "up\nbye\n");
    EXPECT_THAT(told.output, ElementsAre("up", "bye"));
}

TEST_F(ProcTest, whatIgnoresThePoliteStopIsEndedByForce)
{
    Proc::Watcher watcher;
    auto running = std::async(std::launch::async, [&] { return watched(testChild(), {"stubborn", "60000"}, watcher); });
    std::this_thread::sleep_for(300ms);
    const auto start = Clock::now();
    watcher.stop();
    const Proc::Out out = running.get();
    EXPECT_EQ(out.code, SIGKILL);
    EXPECT_GE(Clock::now() - start, 2900ms);
    EXPECT_LT(Clock::now() - start, 5s);
}

TEST_F(ProcTest, aMemberOfTheGroupThatIgnoresTheStopDoesNotSurvive)
{
    Proc::Watcher watcher;
    auto running = std::async(std::launch::async, [&] { return watched(testChild(), {"group", "60000"}, watcher); });
    std::this_thread::sleep_for(300ms);
    watcher.stop();
    const pid_t member = std::stoi(running.get().stdout);
    EXPECT_TRUE(endsWithin(member, 1s));
}

TEST_F(ProcTest, whatEscapedFromTheGroupDoesNotHoldAStopUp)
{
    Proc::Watcher watcher;
    auto running = std::async(std::launch::async,
                              [&] { return watched("/bin/sh", {"-c", "setsid sleep 30 & echo $!; wait"}, watcher); });
    std::this_thread::sleep_for(300ms);
    const auto start = Clock::now();
    watcher.stop();
    const Proc::Out out = running.get();
    EXPECT_LT(Clock::now() - start, 5s);
    ::kill(std::stoi(out.stdout), SIGKILL);
}

TEST_F(ProcTest, aStopIsHeardByAChildWithoutStreams)
{
    Proc::Watcher watcher;
    auto running
        = std::async(std::launch::async, [&] { return watched(testChild(), {"close-and-live", "60000"}, watcher); });
    std::this_thread::sleep_for(300ms);
    watcher.stop();
    EXPECT_EQ(running.get().code, SIGTERM);
}

TEST_F(ProcTest, aStopReachesAChildThatTheTerminalHasStopped)
{
    Proc::Watcher watcher;
    auto running = std::async(std::launch::async, [&] { return watched("/bin/sh", {"-c", "kill -STOP $$"}, watcher); });
    std::this_thread::sleep_for(300ms);
    watcher.stop();
    EXPECT_EQ(running.get().code, SIGTERM);
}

TEST_F(ProcTest, aStopBeforeTheStartLaunchesNothing)
{
    Proc::Watcher watcher;
    watcher.stop();
    const Proc::Out out = watched("/bin/sh", {"-c", "touch '" + (scratch() / "made").string() + "'"}, watcher);
    EXPECT_EQ(out.code, -1);
    EXPECT_EQ(out.stderr, "The file “sh” couldn’t be run (Operation canceled).");
    EXPECT_FALSE(fs::exists(scratch() / "made"));
}

TEST_F(ProcTest, stopsAndEndsAtTheSameMomentAreHarmless)
{
    for (int round = 0; round < 200; round++) {
        Proc::Watcher watcher;
        std::thread stopper([&] { watcher.stop(); });
        const Proc::Out out = watched("/bin/true", {}, watcher);
        stopper.join();
        EXPECT_THAT(out.code, testing::AnyOf(0, SIGTERM, SIGKILL, -1));
    }
    EXPECT_FALSE(hasChildren());
}

TEST_F(ProcTest, stopAllEndsEveryChildAndLaunchesNoMore)
{
    // For the end of a program, so in one of its own.
    const pid_t program = ::fork();
    if (program == 0) {
        auto polite = std::async(std::launch::async, [] { return Proc::run("/bin/sleep", {"60"}); });
        auto stubborn = std::async(std::launch::async, [] { return child({"stubborn", "60000"}); });
        std::this_thread::sleep_for(300ms);
        Proc::stopAll(200);
        const bool ended = polite.get().code == SIGTERM && stubborn.get().code == SIGKILL;
        const bool refused = Proc::run("/bin/true", {}).code == -1;
        std::_Exit(ended && refused ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(program, &status, 0), program);
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST_F(ProcTest, stopAllDoesNotWaitForWhatItCannotSignal)
{
    if (!TestSupport::isRoot()) {
        GTEST_SKIP() << "only root can start another user's process";
    }
    const fs::path file = scratch() / "other";
    const pid_t program = ::fork();
    if (program == 0) {
        ::alarm(60);
        auto other = std::async(std::launch::async, [&] { return child({"other-user", file.string(), "600000"}); });
        while (TestSupport::read(file).empty()) {
            std::this_thread::sleep_for(5ms);
        }
        constexpr uid_t nobodyElse = 65533; // without root's right to signal everybody
        if (::seteuid(nobodyElse) != 0) {
            std::_Exit(1);
        }
        Proc::stopAll(3'600'000);
        std::_Exit(0);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(program, &status, 0), program);
    ::kill(std::stoi(TestSupport::read(file)), SIGKILL);
    EXPECT_EQ(status, 0) << "stopAll waits for a process that it cannot end";
}

TEST_F(ProcTest, stopAllEndsWhatAPoliteChildLeavesBehindInItsGroup)
{
    const fs::path file = scratch() / "member";
    const pid_t program = ::fork();
    if (program == 0) {
        auto leader = std::async(std::launch::async, [&] {
            return Proc::run("/bin/sh",
                             {"-c",
                              "sh -c 'trap \"\" TERM; echo $$ >\"$0\"; while :; do sleep 600; done' '" + file.string()
                                  + "' >/dev/null 2>&1 & wait"});
        });
        while (TestSupport::read(file).empty()) {
            std::this_thread::sleep_for(5ms);
        }
        std::thread stopper([] { Proc::stopAll(500); });
        const bool polite = leader.get().code == SIGTERM; // its leader is reaped while the others are still asked
        stopper.join();
        std::_Exit(polite ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(program, &status, 0), program);
    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_TRUE(endsWithin(std::stoi(TestSupport::read(file)), 2s));
}

} // namespace
