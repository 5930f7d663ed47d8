#pragma once

#include <cstdint>

#include "CodeManagerCLI/Context.h"

namespace CodeManagerCLI
{

class CommandTree;

namespace ServiceCommand
{

enum class Operation : std::uint8_t { start, stop, restart };

// Drives the backend's launch agent and prints launchctl's result. Refuses where the descriptor names no agent. With
// `dryRun` only tells what would be done.
int run(const Context& context, Operation operation, bool dryRun);

// Whether the agent is loaded, also told by the exit status.
int status(const Context& context);

// Where the agent's property list belongs.
int plist(const Context& context);

void declare(CommandTree& tree);

} // namespace ServiceCommand

} // namespace CodeManagerCLI
