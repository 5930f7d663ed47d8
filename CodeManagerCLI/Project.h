#pragma once

#include <memory>
#include <optional>
#include <string>

#include <CLI/CLI.hpp>

namespace CodeManagerCLI
{

class CommandTree;
struct Product;

// The product's source project, for the commands that build or install from it.
namespace Project
{

using Option = std::shared_ptr<std::optional<std::string>>;

// Gives the command its --project, known when its action is called.
Option add(CommandTree& tree, CLI::App& command);

// The folder that was named, absolute; empty when none was.
std::string named(const Option& option);

// The folder that was named, absolute; else the one that is remembered or guessed. Empty when there is none. Writes
// nothing.
std::string folder(const Option& option, const Product& product);

} // namespace Project

} // namespace CodeManagerCLI
