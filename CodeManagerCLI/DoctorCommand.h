#pragma once

#include <string>

#include "CodeManagerCLI/Context.h"

namespace CodeManagerCLI
{

class CommandTree;

namespace DoctorCommand
{

// What keeps the product from being looked after, finding by finding; fails when one of them is an error. Without a
// `projectDir` the remembered one is looked at.
int run(const Context& context, const std::string& projectDir);

void declare(CommandTree& tree);

} // namespace DoctorCommand

} // namespace CodeManagerCLI
