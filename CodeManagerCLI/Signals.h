#pragma once

#include <functional>

// How the program ends on a termination signal: its child processes first, which lead sessions of their own and are not
// reached by the terminal's Ctrl-C, then the program itself by that very signal.
namespace CodeManagerCLI::Signals
{

// To be called first in main, before there is any other thread. From then on SIGINT, SIGTERM and SIGHUP end the program
// in that way; one that was ignored at the start stays ignored. Where the system gives no thread to watch with, a
// signal ends the program at once.
void watch();

// Does not return when a signal is ending the program: what a command has to say of children that were ended under it
// is not to be printed. To be called before anything is written.
void waitIfEnding();

// For work that is to come to a clean end by itself: while one of these lives, the first ending signal calls `stop`, on
// another thread, and nothing else; a second one ends the program as always. One at a time.
class CleanStop
{
public:
    explicit CleanStop(std::function<void()> stop);
    ~CleanStop();
    CleanStop(const CleanStop&) = delete;
    CleanStop& operator=(const CleanStop&) = delete;

    // The work ended because of the signal: when all is said, the program ends by it.
    static void wasHeeded();
};

// The work is done and no child is left. From here on a signal ends the program at once.
void workIsDone();

} // namespace CodeManagerCLI::Signals
