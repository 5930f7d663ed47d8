#pragma once

#include <string>
#include <vector>

#include "CodeManagerCLI/Context.h"

namespace CodeManagerCLI
{

class CommandTree;

// What looks at the store of weights; what changes it is in CrucibleChanges.h.
namespace CrucibleCommand
{

// Every declared copy and the two links that decide.
int show(const Context& context);

// The folders that the store is looked for in.
int roots(const Context& context);

// Every link below the roots, below all of the store without any; fails when one leads nowhere.
int check(const Context& context, const std::vector<std::string>& roots);

// Where a part of the store is on each site.
int whereis(const Context& context, const std::string& relative);

void declare(CommandTree& tree);

} // namespace CrucibleCommand

} // namespace CodeManagerCLI
