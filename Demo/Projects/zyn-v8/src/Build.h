#pragma once

// What this build of Zyn is. The values come from the compiler's command line, and Build.cpp alone is compiled anew for
// another version.
namespace Zyn
{

extern const char* const version;
extern const char* const commit;
extern const char* const identityMarker; // the manager finds stray copies of the executable by this text

} // namespace Zyn
