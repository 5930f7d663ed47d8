#include "ManagerCore/Foundation/Parallel.h"

#include <algorithm>
#include <atomic>
#include <system_error>
#include <thread>
#include <vector>

#include "ManagerCore/Platform/Platform.h"

namespace ManagerCore::Parallel
{

namespace
{

std::vector<std::thread> started(std::size_t others, const std::function<void(unsigned lane)>& body)
{
    const SignalsBlocked blocked;
    std::vector<std::thread> threads;
    threads.reserve(others);
    for (unsigned lane = 1; lane <= others; lane++) {
        try {
            threads.emplace_back([body, lane] {
                Platform::lowerThreadPriority();
                body(lane);
            });
        } catch (const std::system_error&) {
            break; // fewer threads do the same work
        }
    }
    return threads;
}

} // namespace

void forEach(std::size_t count, unsigned lanes, const Work& work)
{
    std::atomic<std::size_t> next = 0;
    const auto takeTurns = [&](unsigned lane) {
        for (std::size_t index = next++; index < count; index = next++) {
            work(index, lane);
        }
    };
    const std::size_t wanted = std::min<std::size_t>(count, lanes);
    std::vector<std::thread> others = started(wanted > 1 ? wanted - 1 : 0, takeTurns);
    takeTurns(0);
    for (std::thread& other : others) {
        other.join();
    }
}

SignalsBlocked::SignalsBlocked()
{
    sigset_t all;
    sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &before_);
}

SignalsBlocked::~SignalsBlocked() { ::pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

} // namespace ManagerCore::Parallel
