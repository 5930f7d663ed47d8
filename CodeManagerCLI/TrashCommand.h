#pragma once

#include <string>
#include <vector>

#include "CodeManagerCLI/Context.h"

namespace CodeManagerCLI
{

class CommandTree;

namespace TrashCommand
{

// Moves each path to the Trash, a link itself and never its target. With `dryRun` only tells what would be moved.
// Fails when any was not, or could not be.
int run(const Context& context, const std::vector<std::string>& paths, bool dryRun);

void declare(CommandTree& tree);

} // namespace TrashCommand

} // namespace CodeManagerCLI
