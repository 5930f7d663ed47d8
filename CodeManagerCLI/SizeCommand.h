#pragma once

#include <string>
#include <vector>

#include "CodeManagerCLI/Context.h"

namespace CodeManagerCLI
{

class CommandTree;

namespace SizeCommand
{

// The space that each path occupies on disk; nothing there is 0.
int run(const Context& context, const std::vector<std::string>& paths);

void declare(CommandTree& tree);

} // namespace SizeCommand

} // namespace CodeManagerCLI
