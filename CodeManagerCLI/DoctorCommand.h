#pragma once

#include <string>

#include "CodeManagerCLI/Context.h"

namespace CodeManagerCLI
{

class CommandTree;

namespace DoctorCommand
{

// Prints the problems of the installation, errors first, and the checks that passed, one line for each kind or, with
// `all`, for each check. Fails when there is an error. Without a `projectDir` the remembered one is checked.
int run(const Context& context, const std::string& projectDir, bool all);

void declare(CommandTree& tree);

} // namespace DoctorCommand

} // namespace CodeManagerCLI
