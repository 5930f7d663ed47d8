#pragma once

#include "CodeManagerCLI/Context.h"

namespace CodeManagerCLI
{

class CommandTree;

namespace ModelCommand
{

// Where the model lies that the product serves; absent is an answer.
int show(const Context& context);

void declare(CommandTree& tree);

} // namespace ModelCommand

} // namespace CodeManagerCLI
