#pragma once

#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace CodeManagerCLI::Help
{

// The help of a command: how it is called, what it does, the commands below it, its options.
std::string of(const CLI::App& command);

// The options that hold for a command: its own, then those of what stands above it, each once.
std::vector<const CLI::Option*> optionsOf(const CLI::App& command);

// The arguments that a command takes.
std::vector<const CLI::Option*> argumentsOf(const CLI::App& command);

// "-h", "--help"
std::vector<std::string> namesOf(const CLI::Option& option);

bool takesValue(const CLI::Option& option);

} // namespace CodeManagerCLI::Help
