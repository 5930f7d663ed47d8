#include "ManagerCore/Foundation/Workers.h"

#include <csignal>
#include <system_error>
#include <thread>
#include <vector>

namespace ManagerCore::Workers
{

namespace
{

std::vector<std::thread> start(unsigned count, const std::function<void()>& work)
{
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &before);
    std::vector<std::thread> threads;
    threads.reserve(count);
    while (threads.size() < count) {
        try {
            threads.emplace_back([&work] { work(); });
        } catch (const std::system_error&) {
            break; // those that run do the same work
        }
    }
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return threads;
}

} // namespace

void run(unsigned threads, const std::function<void()>& work)
{
    std::vector<std::thread> others = start(threads > 0 ? threads - 1 : 0, work);
    work();
    for (std::thread& other : others) {
        other.join();
    }
}

} // namespace ManagerCore::Workers
