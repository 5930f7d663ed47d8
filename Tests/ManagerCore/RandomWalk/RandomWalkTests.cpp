// A random walk: 300 steps, or as many as CODE_MANAGER_WALK_STEPS says, from the seed in CODE_MANAGER_WALK_SEED or the
// usual one. With CODE_MANAGER_WALK_LOG each step is told as it is done.

#include <cstdlib>
#include <iostream>
#include <string>

#include "Tests/ManagerCore/RandomWalk/Walk.h"
#include "Tests/Support/Sandbox.h"

namespace
{

class RandomWalkTest : public TestSupport::SandboxTest
{
protected:
    static std::uint64_t number(const char* variable, std::uint64_t otherwise)
    {
        const char* given = std::getenv(variable);
        return given != nullptr && *given != '\0' ? std::strtoull(given, nullptr, 10) : otherwise;
    }

private:
    TestSupport::EnvironmentVariable databases_ {"CM_DATABASES_DIR", (scratch() / "descriptors").string()};
    TestSupport::EnvironmentVariable temporary_ {"TMPDIR", (scratch() / "temporary").string()};
    TestSupport::EnvironmentVariable path_ {"PATH", "/usr/bin:/bin:/usr/sbin:/sbin"};
};

TEST_F(RandomWalkTest, losesNothing)
{
    const std::uint64_t seed = number("CODE_MANAGER_WALK_SEED", 20261121);
    std::cout << "CODE_MANAGER_WALK_SEED=" << seed << "\n" << std::flush;
    RandomWalk::Walk walk(home(), scratch(), seed);
    EXPECT_TRUE(walk.take(number("CODE_MANAGER_WALK_STEPS", 300))) << walk.complaint();
    std::cout << walk.summary() << "\n" << std::flush;
}

} // namespace
