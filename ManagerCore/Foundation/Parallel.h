#pragma once

#include <csignal>
#include <cstddef>
#include <functional>

// Pieces of work that do not depend on each other, on several threads.
namespace ManagerCore::Parallel
{

// Calls `work` once for every index below `count`, from up to `lanes` threads at once, the caller's among them, in no
// order; returns when all is done. `lane`, below `lanes`, tells the threads apart and is never used by two at once.
// Where the system gives fewer threads, those do the same work. The others leave the processor to threads that somebody
// waits for, so `work` starts no child processes: these would do the same.
using Work = std::function<void(std::size_t index, unsigned lane)>;
void forEach(std::size_t count, unsigned lanes, const Work& work);

// Threads started while this lives get no signals: those belong to the threads that were there before.
class SignalsBlocked
{
public:
    SignalsBlocked();
    ~SignalsBlocked();
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

private:
    sigset_t before_ {};
};

} // namespace ManagerCore::Parallel
