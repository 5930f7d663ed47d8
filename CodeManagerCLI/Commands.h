#pragma once

namespace CodeManagerCLI
{

class CommandTree;

// Declares every command of the program.
void addCommands(CommandTree& tree);

} // namespace CodeManagerCLI
