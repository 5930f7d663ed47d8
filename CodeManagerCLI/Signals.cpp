#include "CodeManagerCLI/Signals.h"

#include <array>
#include <atomic>
#include <csignal>
#include <cstdint>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

#include <unistd.h>

#include "ManagerCore/Foundation/Proc.h"

namespace CodeManagerCLI::Signals
{

namespace
{

enum class State : std::uint8_t { working, ending, done };

std::atomic<State> state = State::working;

std::mutex stopMutex;
std::function<void()> stopCleanly; // set while there is work that can
int askedBy = 0; // the signal on which it was called
int endsBy = 0; // the signal by which the program ends when all is said

constexpr int patience = 300; // milliseconds that children have to end by themselves

bool isIgnored(int signal)
{
    struct sigaction action {};
    return ::sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

// The signals that are to end the program.
sigset_t endingSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : std::array {SIGINT, SIGTERM, SIGHUP}) {
        if (!isIgnored(signal)) {
            sigaddset(&signals, signal);
        }
    }
    return signals;
}

[[noreturn]] void endBy(int signal)
{
    sigset_t only;
    sigemptyset(&only);
    sigaddset(&only, signal);
    struct sigaction standard {};
    standard.sa_handler = SIG_DFL;
    ::sigaction(signal, &standard, nullptr);
    ::pthread_sigmask(SIG_UNBLOCK, &only, nullptr);
    ::raise(signal);
    ::_exit(128 + signal); // not reached
}

// Whether there is work that was asked to stop now.
bool askToStop(int signal)
{
    const std::lock_guard lock(stopMutex);
    if (!stopCleanly || askedBy != 0) {
        return false;
    }
    askedBy = signal;
    stopCleanly();
    return true;
}

void serve(sigset_t signals)
{
    int signal = 0;
    while (sigwait(&signals, &signal) != 0 || askToStop(signal)) {
        // interrupted, or the work comes to its own end
    }
    State expected = State::working;
    if (state.compare_exchange_strong(expected, State::ending)) {
        ManagerCore::Proc::stopAll(patience);
    }
    endBy(signal);
}

[[noreturn]] void waitForTheEnd()
{
    for (;;) {
        ::pause();
    }
}

} // namespace

void watch()
{
    const sigset_t signals = endingSignals();
    sigset_t before;
    ::pthread_sigmask(SIG_BLOCK, &signals, &before);
    try {
        std::thread(serve, signals).detach();
    } catch (const std::system_error&) {
        ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    }
}

void waitIfEnding()
{
    if (state == State::ending) {
        waitForTheEnd();
    }
}

CleanStop::CleanStop(std::function<void()> stop)
{
    const std::lock_guard lock(stopMutex);
    stopCleanly = std::move(stop);
    askedBy = 0;
}

CleanStop::~CleanStop()
{
    const std::lock_guard lock(stopMutex);
    stopCleanly = nullptr;
}

void CleanStop::wasHeeded()
{
    const std::lock_guard lock(stopMutex);
    endsBy = askedBy;
}

void workIsDone()
{
    State expected = State::working;
    if (!state.compare_exchange_strong(expected, State::done)) {
        waitForTheEnd();
    }
    if (endsBy != 0) {
        endBy(endsBy);
    }
}

} // namespace CodeManagerCLI::Signals
