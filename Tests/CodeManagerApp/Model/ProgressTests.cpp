#include "CodeManagerApp/Model/Progress.h"

#include <thread>

#include "CodeManagerApp/Model/QtText.h"
#include "Tests/CodeManagerApp/Support/ModelTest.h"

using CodeManagerApp::Progress;
using CodeManagerApp::toUtf8;
using namespace std::chrono_literals;

namespace
{

class ProgressTest : public TestSupport::ModelTest
{
protected:
    // Runs a script that the operation under way watches.
    ManagerCore::Proc::Out run(const std::string& script)
    {
        return ManagerCore::Proc::run("/bin/sh", {"-c", script}, std::nullopt, std::nullopt, progress_.watcher().get());
    }

    [[nodiscard]] std::string lineAfter(const std::string& script)
    {
        progress_.begin(QStringLiteral("Work"));
        progress_.step(1, QStringLiteral("Work"));
        run(script);
        EXPECT_TRUE(until(progress_, &Progress::changed, [this] { return !progress_.lastLine().isEmpty(); }));
        return toUtf8(progress_.lastLine());
    }

    Progress progress_;
};

TEST_F(ProgressTest, isNothingBeforeAnythingRuns)
{
    EXPECT_FALSE(progress_.runs());
    EXPECT_FALSE(progress_.shown());
    EXPECT_FALSE(progress_.stopRequested());
    progress_.stop();
    EXPECT_EQ(toUtf8(progress_.reasonAgainstStopping()), "This cannot be stopped half way.");
}

TEST_F(ProgressTest, countsStepsThatAreDone)
{
    progress_.begin(QStringLiteral("Installing Zyn"), 5);
    EXPECT_EQ(toUtf8(progress_.text()), "Installing Zyn");
    EXPECT_EQ(progress_.fraction(), 0.0);
    progress_.step(3, QStringLiteral("Installing the local engine"));
    EXPECT_EQ(toUtf8(progress_.text()), "Step 3 of 5 · Installing the local engine");
    EXPECT_DOUBLE_EQ(progress_.fraction(), 0.4);
    progress_.begin(QStringLiteral("Installing Zyn"));
    progress_.step(1, QStringLiteral("Installing Zyn"));
    EXPECT_EQ(toUtf8(progress_.text()), "Installing Zyn");
    EXPECT_LT(progress_.fraction(), 0) << "of one step nobody knows how far it is";
}

TEST_F(ProgressTest, isShownOnceItHasRunForAMoment)
{
    progress_.begin(QStringLiteral("Work"));
    EXPECT_TRUE(progress_.runs());
    EXPECT_FALSE(progress_.shown());
    EXPECT_EQ(toUtf8(progress_.elapsed()), "0:00");
    ASSERT_TRUE(until(progress_, &Progress::changed, [this] { return progress_.shown(); }));
    ASSERT_TRUE(until(progress_, &Progress::changed, [this] { return progress_.elapsed() != QStringLiteral("0:00"); }));
    EXPECT_GE(progress_.end(), 400ms);
    EXPECT_FALSE(progress_.shown());
    EXPECT_FALSE(progress_.runs());
}

TEST_F(ProgressTest, showsTheLastLineAsATerminalWould)
{
    EXPECT_EQ(lineAfter("echo first; echo 'the last one'"), "the last one");
    EXPECT_EQ(lineAfter("echo said; echo complained >&2; sleep 0.1"), "complained");
    EXPECT_EQ(lineAfter("printf 'one half'"), "one half");
    EXPECT_EQ(lineAfter(R"(printf '10 %%\r55 %%\r\n')"), "55 %");
    EXPECT_EQ(lineAfter(R"(printf '\033[1;32m   Compiling\033[0m zyn\n')"), "Compiling zyn");
    EXPECT_EQ(lineAfter(R"(printf 'a\tb\377\n')"), "a\uFFFDb\uFFFD");
    EXPECT_EQ(lineAfter("head -c 3000000 /dev/zero | tr '\\0' x").size(), 300U);
}

TEST_F(ProgressTest, aNewStepHasPrintedNothing)
{
    EXPECT_EQ(lineAfter("echo old"), "old");
    progress_.step(1, QStringLiteral("Work"));
    EXPECT_EQ(toUtf8(progress_.lastLine()), "");
}

TEST_F(ProgressTest, stopEndsWhatRunsAndKeepsTheRestFromBeginning)
{
    progress_.begin(QStringLiteral("Work"), 2);
    EXPECT_EQ(toUtf8(progress_.reasonAgainstStopping()), "This cannot be stopped half way.");
    progress_.step(1, QStringLiteral("Work"));
    EXPECT_EQ(toUtf8(progress_.reasonAgainstStopping()), "");
    ManagerCore::Proc::Out out;
    std::thread child([&] { out = run("sleep 600 & wait"); });
    progress_.stop();
    child.join();
    EXPECT_NE(out.code, 0);
    EXPECT_TRUE(progress_.stopRequested());
    EXPECT_EQ(toUtf8(progress_.reasonAgainstStopping()), "It is being stopped.");
    EXPECT_EQ(run("exit 0").code, -1) << "the next child does not begin";
    progress_.begin(QStringLiteral("Other work"));
    EXPECT_EQ(run("exit 0").code, 0);
}

TEST_F(ProgressTest, timeIsToldAsOnAClock)
{
    EXPECT_EQ(toUtf8(Progress::inWords(0ms)), "0:00");
    EXPECT_EQ(toUtf8(Progress::inWords(9999ms)), "0:09");
    EXPECT_EQ(toUtf8(Progress::inWords(102s)), "1:42");
    EXPECT_EQ(toUtf8(Progress::inWords(3599s)), "59:59");
    EXPECT_EQ(toUtf8(Progress::inWords(3723s)), "1:02:03");
}

} // namespace
