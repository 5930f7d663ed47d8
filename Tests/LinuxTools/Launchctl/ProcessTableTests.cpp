#include "LinuxTools/Launchctl/ProcessTable.h"

#include <csignal>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Tests/Support/Sandbox.h"

namespace
{

namespace ProcessTable = LinuxTools::ProcessTable;

TEST(ProcessTable, KnowsThisProcess)
{
    const auto entry = ProcessTable::entryOf(::getpid());
    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->pid, ::getpid());
    EXPECT_EQ(entry->session, ::getsid(0));
    EXPECT_GT(entry->startTime, 0U);
    EXPECT_TRUE(entry->isAlive());
}

TEST(ProcessTable, IsNotLedAstrayByANameWithParentheses)
{
    ::prctl(PR_SET_NAME, "x) Z 1 (y");
    const auto entry = ProcessTable::entryOf(::getpid());
    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->session, ::getsid(0));
    EXPECT_TRUE(entry->isAlive());
}

TEST(ProcessTable, KnowsTheMembersOfASessionAndTheDead)
{
    const pid_t leader = ::fork();
    if (leader == 0) {
        ::setsid();
        ::raise(SIGSTOP);
        ::_exit(0);
    }
    int status = 0;
    ::waitpid(leader, &status, WUNTRACED);
    const auto members = ProcessTable::membersOf(leader);
    ASSERT_EQ(members.size(), 1U);
    EXPECT_EQ(members[0].pid, leader);

    ::kill(leader, SIGKILL);
    siginfo_t ended {};
    ::waitid(P_PID, static_cast<id_t>(leader), &ended, WEXITED | WNOWAIT);
    const auto dead = ProcessTable::entryOf(leader);
    ASSERT_TRUE(dead);
    EXPECT_FALSE(dead->isAlive());
    EXPECT_TRUE(ProcessTable::membersOf(leader).empty());
    ::waitpid(leader, &status, 0);
    EXPECT_FALSE(ProcessTable::entryOf(leader));
}

TEST(ProcessTable, NamesTheBootAlwaysAlike)
{
    EXPECT_EQ(ProcessTable::boot(), ProcessTable::boot());
    EXPECT_GT(ProcessTable::boot().size(), 30U);
}

} // namespace
