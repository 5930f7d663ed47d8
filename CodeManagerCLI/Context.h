#pragma once

#include <optional>
#include <string>

namespace CodeManagerCLI
{

class Output;

namespace ExitStatus
{

inline constexpr int done = 0;
inline constexpr int failed = 1; // or refused
inline constexpr int wrongUsage = 2;
inline constexpr int notRunning = 3; // the answer of `service status`

} // namespace ExitStatus

// What every command is given beside its own arguments.
struct Context {
    Output& output;
    bool json = false;
    std::optional<std::string> identityFile; // as given by --identity
};

} // namespace CodeManagerCLI
