#pragma once

#include <string>
#include <vector>

namespace LinuxTools::Commands
{

struct Output {
    int status = 0;
    std::string stdoutText;
    std::string stderrText;
};

// Runs launchctl. `arguments` does not contain the name of the program.
Output run(const std::vector<std::string>& arguments);

} // namespace LinuxTools::Commands
