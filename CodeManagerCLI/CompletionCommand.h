#pragma once

#include <cstdint>

#include "CodeManagerCLI/Context.h"

namespace CodeManagerCLI
{

class CommandTree;

namespace CompletionCommand
{

// Prints the script with which a shell completes this program's command lines.
enum class Shell : std::uint8_t { bash, zsh, fish };
int run(const Context& context, const CommandTree& tree, Shell shell);

void declare(CommandTree& tree);

} // namespace CompletionCommand

} // namespace CodeManagerCLI
