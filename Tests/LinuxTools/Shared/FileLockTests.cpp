#include "LinuxTools/Shared/FileLock.h"

#include <array>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

#include "Tests/Support/Sandbox.h"

namespace
{

using namespace LinuxTools;
using namespace TestSupport;

using FileLocks = SandboxTest;

TEST_F(FileLocks, IsLockedByOneAtATime)
{
    const auto file = home() / "lock";
    std::array<int, 2> ends {-1, -1};
    ASSERT_EQ(::pipe(ends.data()), 0);
    const pid_t child = ::fork();
    if (child == 0) {
        const FileLock lock(file);
        [[maybe_unused]] ssize_t told = ::write(ends[1], "1", 1);
        ::usleep(200000);
        told = ::write(ends[1], "2", 1);
        ::_exit(0); // gives it back
    }
    std::array<char, 3> bytes {};
    ASSERT_EQ(::read(ends[0], bytes.data(), 1), 1);
    const FileLock lock(file);
    EXPECT_TRUE(lock.isHeld());
    ASSERT_EQ(::write(ends[1], "3", 1), 1);
    ASSERT_EQ(::read(ends[0], &bytes[1], 1), 1);
    ASSERT_EQ(::read(ends[0], &bytes[2], 1), 1);
    EXPECT_EQ(std::string(bytes.data(), 3), "123");
    ::waitpid(child, nullptr, 0);
    ::close(ends[0]);
    ::close(ends[1]);
}

TEST_F(FileLocks, IsNotLockedWhereTheLockCannotBeMade) { EXPECT_FALSE(FileLock(home() / "none/lock").isHeld()); }

} // namespace
