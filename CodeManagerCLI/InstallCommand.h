#pragma once

#include <cstdint>
#include <string>

#include "CodeManagerCLI/Context.h"
#include "CodeManagerCLI/Product.h"

namespace CodeManagerCLI
{

class CommandTree;

namespace InstallCommand
{

// Builds one part of the product from its source project and shows what the scripts print. With `dryRun` only tells
// what would be run.
enum class Part : std::uint8_t { cli, engine, desktop };
int run(const Context& context, Part part, const std::string& projectDir, bool dryRun);

// All of it in one go, up to the running service.
int runEverything(
    const Context& context, const Product& product, const std::string& projectDir, bool desktop, bool dryRun);

// Lets the installed product write its configuration.
int seed(const Context& context, bool dryRun);

void declare(CommandTree& tree);

} // namespace InstallCommand

} // namespace CodeManagerCLI
