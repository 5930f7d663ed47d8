#pragma once

#include "CodeManagerCLI/Context.h"

namespace CodeManagerCLI
{

class CommandTree;

namespace StatusCommand
{

// The product's health, row by row as the window's overview shows it; as JSON the record.
int run(const Context& context);

void declare(CommandTree& tree);

} // namespace StatusCommand

} // namespace CodeManagerCLI
