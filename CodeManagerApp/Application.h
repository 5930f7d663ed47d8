#pragma once

namespace CodeManagerApp
{

// What the program ends with when there is no display to show its window on.
inline constexpr int exitNoDisplay = 69;

// Shows the window and runs until it is closed. Returns the program's exit status.
int run(int argc, char** argv);

} // namespace CodeManagerApp
