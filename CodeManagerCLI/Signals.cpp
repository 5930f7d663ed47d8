#include "CodeManagerCLI/Signals.h"

#include <array>
#include <atomic>
#include <csignal>
#include <cstdint>
#include <thread>

#include <unistd.h>

#include "ManagerCore/Foundation/Proc.h"

namespace CodeManagerCLI::Signals
{

namespace
{

enum class State : std::uint8_t { working, ending, done };

std::atomic<State> state = State::working;

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

void serve(sigset_t signals)
{
    int signal = 0;
    while (sigwait(&signals, &signal) != 0) {
        // interrupted
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
    ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    std::thread(serve, signals).detach();
}

void waitIfEnding()
{
    if (state == State::ending) {
        waitForTheEnd();
    }
}

void workIsDone()
{
    State expected = State::working;
    if (!state.compare_exchange_strong(expected, State::done)) {
        waitForTheEnd();
    }
}

} // namespace CodeManagerCLI::Signals
