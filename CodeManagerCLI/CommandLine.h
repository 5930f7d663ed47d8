#pragma once

#include <string>
#include <vector>

namespace CodeManagerCLI
{

class Output;

// The whole program but its process-wide settings: reads the arguments (without the program's name), runs the command
// and returns the exit status.
int runCommandLine(const std::vector<std::string>& arguments, Output& output);

} // namespace CodeManagerCLI
