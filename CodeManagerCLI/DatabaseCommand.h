#pragma once

#include <string>

#include "CodeManagerCLI/Context.h"

namespace CodeManagerCLI
{

class CommandTree;

namespace DatabaseCommand
{

// The databases that the product can use.
int list(const Context& context);

// Copies one to its place, or moves it from there to the Trash. With `dryRun` only tells what would be done.
int install(const Context& context, const std::string& id, bool dryRun);
int remove(const Context& context, const std::string& id, bool dryRun);

void declare(CommandTree& tree);

} // namespace DatabaseCommand

} // namespace CodeManagerCLI
