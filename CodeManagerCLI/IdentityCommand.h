#pragma once

#include "CodeManagerCLI/Context.h"

namespace CodeManagerCLI
{

class CommandTree;

namespace IdentityCommand
{

// The descriptor as loaded: who the product is and how it is run.
int run(const Context& context);

void declare(CommandTree& tree);

} // namespace IdentityCommand

} // namespace CodeManagerCLI
