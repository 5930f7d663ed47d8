#pragma once

#include <string>
#include <vector>

namespace LinuxTools::Ditto
{

struct Result {
    int code = 0;
    std::string output;
    std::string error;
};

// Does what ditto is asked for; the arguments are those after the program's name.
Result run(const std::vector<std::string>& arguments);

} // namespace LinuxTools::Ditto
