#pragma once

// Runs of the shipped program that are made to fail, and what must be true after each.

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <unistd.h>

#include "ManagerCore/Foundation/Proc.h"
#include "Tests/CodeManagerCLI/Running.h"
#include "Tests/ManagerCore/Crucible/CrucibleTest.h"
#include "Tests/ManagerCore/Crucible/SampleTree.h"

namespace Proc = ManagerCore::Proc;
using namespace std::chrono_literals;
using SampleTree::Contents;
using testing::HasSubstr;
using testing::StartsWith;

class SafetyTest : public CrucibleTest
{
public:
    static constexpr std::array errors {EIO, ENOSPC, EACCES, EROFS, EXDEV};

protected:
    [[nodiscard]] std::map<std::string, std::string> environment(const std::string& faults = {}) const
    {
        std::map<std::string, std::string> variables {{"HOME", home()},
                                                      {"PATH", "/usr/bin:/bin"},
                                                      {"TERM", "xterm"},
                                                      {"CM_IDENTITY_TOML", home() / "store.toml"},
                                                      {"ZYN_CRUCIBLE_LOCAL", home() / "from"},
                                                      {"ZYN_CRUCIBLE_ROOT", home() / "to"}};
        if (!faults.empty()) {
            variables.emplace("LD_PRELOAD", faultLibrary());
            variables.emplace("TEST_FAULTS", faults);
            variables.emplace("TEST_FAULTS_LOG", log());
        }
        return variables;
    }

    [[nodiscard]] fs::path log() const { return scratch() / "calls"; }
    // Reached through a link: the loader splits the variable at spaces, and a build folder may have some.
    [[nodiscard]] fs::path faultLibrary() const
    {
        const fs::path link = scratch() / "faults.so";
        if (!fs::is_symlink(link)) {
            fs::create_symlink(TestSupport::builtProgram("test-faults.so"), link);
        }
        return link;
    }
    [[nodiscard]] static std::string program() { return TestSupport::builtProgram("zyn-code-manager"); }

    // `command` is what the action "run" of the faults runs.
    Proc::Out run(const std::vector<std::string>& arguments,
                  const std::string& faults = {},
                  const std::string& command = {}) const
    {
        fs::remove(log());
        auto variables = environment(faults);
        variables.emplace("TEST_FAULTS_COMMAND", command);
        return Proc::run(program(), arguments, home(), variables);
    }

    // The names of all calls of the last run, as often as they were made; behind those that were made to fail, "
    // fails".
    [[nodiscard]] std::map<std::string, long> callsOfLastRun() const
    {
        std::map<std::string, long> calls;
        std::ifstream stream(log());
        for (std::string name; std::getline(stream, name);) {
            calls[name]++;
        }
        return calls;
    }

    // How often an undisturbed run makes each kind of call.
    [[nodiscard]] std::map<std::string, long> callsOf(const std::vector<std::string>& arguments) const
    {
        run(arguments, "none:1:kill");
        const auto calls = callsOfLastRun();
        EXPECT_THAT(calls, testing::Contains(testing::Key("renameat2")))
            << "into the Trash, or nothing is watched at all";
        EXPECT_THAT(calls, testing::Contains(testing::Key("symlink")));
        return calls;
    }

    // A fault of the last run that was to be met was met.
    void expectFault(const std::string& call, const std::string& nth) const
    {
        if (nth == "1" || nth == "*") {
            EXPECT_THAT(callsOfLastRun(), testing::Contains(testing::Key(call + " fails")));
        }
    }

    static std::string errnoFault(const std::string& call, const std::string& nth, int error)
    {
        return call + ":" + nth + ":errno=" + std::to_string(error);
    }

    // The first, the last and some in between, and all at once.
    static std::set<std::string> occasions(long count)
    {
        return {"1", std::to_string((count + 1) / 2), std::to_string(count), "*"};
    }
};

// Moves a folder with everything that folders have.
class MoveSafetyTest : public SafetyTest
{
protected:
    [[nodiscard]] fs::path node() const { return home() / "from/models/a"; }
    [[nodiscard]] fs::path copy() const { return home() / "to/models/a"; }

    void prepare()
    {
        for (const char* folder : {"from", "to", ".local"}) {
            fs::remove_all(home() / folder);
        }
        fs::create_directories(home() / "to");
        makeNode();
        before_ = SampleTree::contents(node());
    }

    virtual void makeNode()
    {
        SampleTree::make(node(), 1'200'000);
        for (int index = 0; index < 6; index++) {
            write(node() / "shards" / std::to_string(index), std::string(3000, static_cast<char>('a' + index)));
        }
    }

    [[nodiscard]] std::vector<std::string> command() const
    {
        return {"crucible", "move", node(), "--from", home() / "from", "--to", home() / "to"};
    }

    [[nodiscard]] bool sourceIsWhole() const
    {
        return !fs::is_symlink(node()) && fs::exists(node()) && SampleTree::contents(node()) == before_;
    }
    [[nodiscard]] bool copyIsWhole() const { return fs::exists(copy()) && SampleTree::contents(copy()) == before_; }
    // Under a name of the Trash's choice.
    [[nodiscard]] bool trashIsWhole() const
    {
        const auto names = trashed();
        return std::ranges::any_of(
            names, [this](const std::string& name) { return SampleTree::contents(trash() / name) == before_; });
    }

    // Every byte is at the source, or at the destination and in the Trash.
    void expectNothingLost() const { EXPECT_TRUE(sourceIsWhole() || (copyIsWhole() && trashIsWhole())); }

    // What was said is so.
    void expectTruth(const Proc::Out& out) const
    {
        if (out.ok()) {
            EXPECT_THAT(out.stdout, StartsWith("Moved ("));
            EXPECT_TRUE(copyIsWhole() && trashIsWhole());
            EXPECT_EQ(fs::read_symlink(node()), copy());
        } else if (out.stderr.starts_with("Could not update the link: ")) {
            EXPECT_TRUE(copyIsWhole() && trashIsWhole());
        } else {
            EXPECT_TRUE(sourceIsWhole()) << out.stderr;
            EXPECT_THAT(out.stderr,
                        testing::AnyOf(StartsWith("Copy failed (original untouched): "),
                                       StartsWith("Copy verification FAILED ("),
                                       StartsWith("Copy is good but the original could not be trashed: "),
                                       HasSubstr(" is already a link — nothing to move."),
                                       StartsWith("No such node: "),
                                       HasSubstr(" is not under "),
                                       StartsWith("Destination ")));
        }
    }

    // The same command again: it completes, or refuses and says what to do, and doing that helps.
    void runAgain() const
    {
        const bool wasDone = fs::is_symlink(node());
        Proc::Out again = run(command());
        expectNothingLost();
        if (!again.ok() && again.stderr.starts_with("Destination already exists as a real item")) {
            EXPECT_THAT(again.stderr, HasSubstr("move it to the Trash and try again"));
            fs::remove_all(copy());
            again = run(command());
            expectTruth(again);
        }
        if (wasDone) {
            EXPECT_THAT(again.stderr, HasSubstr(" is already a link — nothing to move."));
        } else if (again.ok()) {
            expectTruth(again);
        } else {
            EXPECT_THAT(again.stderr, StartsWith("No such node: "));
            EXPECT_THAT(again.stderr, HasSubstr("only the link at its old place is missing"));
            EXPECT_TRUE(copyIsWhole() && trashIsWhole());
        }
    }

    Contents before_;
};
