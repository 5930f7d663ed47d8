#pragma once

#include "CodeManagerCLI/Context.h"

namespace CodeManagerCLI
{

class CommandTree;

namespace ScanCommand
{

// Everything that the product has put on this machine, by category with totals; as JSON the list of found items.
int run(const Context& context);

void declare(CommandTree& tree);

} // namespace ScanCommand

} // namespace CodeManagerCLI
