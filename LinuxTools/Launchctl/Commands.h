#pragma once

#include <string>
#include <vector>

namespace LinuxTools::Commands
{

struct Result {
    int code = 0;
    std::string output;
    std::string error;
};

// Does what launchctl is asked for; the arguments are those after the program's name. Blocks until it is done.
Result run(const std::vector<std::string>& arguments);

} // namespace LinuxTools::Commands
