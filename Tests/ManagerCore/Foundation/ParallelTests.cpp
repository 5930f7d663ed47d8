#include "ManagerCore/Foundation/Parallel.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <sys/resource.h>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace Parallel = ManagerCore::Parallel;

namespace
{

TEST(ParallelTest, everyIndexIsWorkedOnOnce)
{
    std::vector<std::atomic<int>> times(1000);
    Parallel::forEach(times.size(), 8, [&](std::size_t index, unsigned) { times[index]++; });
    for (const std::atomic<int>& count : times) {
        ASSERT_EQ(count, 1);
    }
}

TEST(ParallelTest, noLaneIsUsedByTwoThreadsAtOnce)
{
    std::array<std::atomic<int>, 8> inside {};
    std::array<std::size_t, 8> sums {}; // without atomics: ThreadSanitizer watches
    Parallel::forEach(2000, 8, [&](std::size_t index, unsigned lane) {
        ASSERT_LT(lane, 8U);
        EXPECT_EQ(inside[lane]++, 0);
        sums[lane] += index;
        inside[lane]--;
    });
    std::size_t sum = 0;
    for (const std::size_t each : sums) {
        sum += each;
    }
    EXPECT_EQ(sum, 2000U * 1999 / 2);
}

#ifdef __linux__
// The helping threads never get a higher priority than the calling thread.
void expectHelperPriority(int ownNiceness, int othersNiceness)
{
    std::atomic<int> helped = 0;
    std::thread([&] {
        ASSERT_EQ(::setpriority(PRIO_PROCESS, 0, ownNiceness), 0);
        Parallel::forEach(100, 4, [&](std::size_t, unsigned lane) {
            EXPECT_EQ(::getpriority(PRIO_PROCESS, 0), lane == 0 ? ownNiceness : othersNiceness);
            helped += lane == 0 ? 0 : 1;
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        });
    }).join();
    EXPECT_GT(helped, 0);
}

TEST(ParallelTest, helpingThreadsRunAtLowerPriority)
{
    const int before = ::getpriority(PRIO_PROCESS, 0);
    expectHelperPriority(before, std::max(before, 10));
    expectHelperPriority(17, 17);
    EXPECT_EQ(::getpriority(PRIO_PROCESS, 0), before);
}
#endif

TEST(ParallelTest, nothingToDoAndOneThingNeedNoThread)
{
    const pthread_t caller = ::pthread_self();
    Parallel::forEach(0, 8, [](std::size_t, unsigned) { FAIL(); });
    int times = 0;
    Parallel::forEach(1, 8, [&](std::size_t index, unsigned lane) {
        EXPECT_TRUE(::pthread_equal(::pthread_self(), caller));
        EXPECT_EQ(index, 0U);
        EXPECT_EQ(lane, 0U);
        times++;
    });
    Parallel::forEach(2, 1, [&](std::size_t, unsigned) { times++; });
    Parallel::forEach(2, 0, [&](std::size_t, unsigned) { times++; });
    EXPECT_EQ(times, 5);
}

TEST(ParallelTest, signalsStayWithTheThreadsThatWereThereBefore)
{
    const pthread_t caller = ::pthread_self();
    Parallel::forEach(500, 8, [&](std::size_t, unsigned) {
        sigset_t mask;
        ::pthread_sigmask(SIG_SETMASK, nullptr, &mask);
        EXPECT_EQ(::sigismember(&mask, SIGTERM), ::pthread_equal(::pthread_self(), caller) ? 0 : 1);
    });
    sigset_t after;
    ::pthread_sigmask(SIG_SETMASK, nullptr, &after);
    EXPECT_EQ(::sigismember(&after, SIGTERM), 0);
}

} // namespace
