#pragma once

#include <functional>

// Threads for work that several can do at once.
namespace ManagerCore::Workers
{

// Calls `work` on the calling thread and on up to `threads - 1` others at the same time and returns when all calls have
// returned; fewer threads where the system gives no more. Signals go to the threads that were there before. `work`
// must not throw.
void run(unsigned threads, const std::function<void()>& work);

} // namespace ManagerCore::Workers
