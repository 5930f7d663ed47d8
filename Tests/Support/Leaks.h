#pragma once

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
#endif

namespace TestSupport
{

// For as long as this lives, what is allocated and lost is no leak of ours: GIO loses two strings when it cannot move
// an item to the Trash.
class LeaksOfOthers
{
public:
#ifdef __SANITIZE_ADDRESS__
    LeaksOfOthers() { __lsan_disable(); }
    ~LeaksOfOthers() { __lsan_enable(); }
#else
    LeaksOfOthers() = default;
    ~LeaksOfOthers() = default;
#endif
    LeaksOfOthers(const LeaksOfOthers&) = delete;
    LeaksOfOthers& operator=(const LeaksOfOthers&) = delete;
};

} // namespace TestSupport
