#include "LinuxTools/Launchctl/ProcessTable.h"

#include <csignal>
#include <cstdlib>
#include <string>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Tests/Support/Sandbox.h"

namespace
{

namespace ProcessTable = LinuxTools::ProcessTable;

TEST(ProcessTable, FindsThisProcess)
{
    const auto process = ProcessTable::find(::getpid());
    ASSERT_TRUE(process);
    EXPECT_EQ(process->pid, ::getpid());
    EXPECT_EQ(process->session, ::getsid(0));
    EXPECT_GT(process->startTime, 0U);
    EXPECT_TRUE(process->alive);
}

TEST(ProcessTable, ReadsANameWithParentheses)
{
    ::prctl(PR_SET_NAME, "x) Z 1 (y");
    const auto process = ProcessTable::find(::getpid());
    ASSERT_TRUE(process);
    EXPECT_EQ(process->session, ::getsid(0));
    EXPECT_TRUE(process->alive);
}

TEST(ProcessTable, ListsTheLivingProcessesOfASession)
{
    const pid_t leader = ::fork();
    if (leader == 0) {
        ::setsid();
        ::raise(SIGSTOP);
        ::_exit(0);
    }
    int status = 0;
    ::waitpid(leader, &status, WUNTRACED);
    const auto members = ProcessTable::inSession(leader);
    ASSERT_EQ(members.size(), 1U);
    EXPECT_EQ(members[0].pid, leader);

    ::kill(leader, SIGKILL);
    siginfo_t info {};
    ::waitid(P_PID, static_cast<id_t>(leader), &info, WEXITED | WNOWAIT);
    const auto zombie = ProcessTable::find(leader);
    ASSERT_TRUE(zombie);
    EXPECT_FALSE(zombie->alive);
    EXPECT_TRUE(ProcessTable::inSession(leader).empty());
    ::waitpid(leader, &status, 0);
    EXPECT_FALSE(ProcessTable::find(leader));
}

TEST(ProcessTable, ReadsTheEnvironment)
{
    const std::string path = "PATH=" + std::string(std::getenv("PATH"));
    EXPECT_TRUE(ProcessTable::hasEnvironment(::getpid(), path));
    EXPECT_FALSE(ProcessTable::hasEnvironment(::getpid(), path.substr(1)));
    EXPECT_FALSE(ProcessTable::hasEnvironment(::getpid(), path.substr(0, path.size() - 1)));
    EXPECT_FALSE(ProcessTable::hasEnvironment(0, path));
}

TEST(ProcessTable, HasABootId)
{
    EXPECT_EQ(ProcessTable::bootId(), ProcessTable::bootId());
    EXPECT_GT(ProcessTable::bootId().size(), 30U);
}

} // namespace
