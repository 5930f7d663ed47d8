#pragma once

#include <string>

#include <CLI/CLI.hpp>

// Completion scripts, made from the tree of commands itself: nouns, verbs, options, and file names where an argument or
// an option's value is a path. Each begins with a comment that says how to load it.
namespace CodeManagerCLI::CompletionScripts
{

// Works in bash 3.2 and needs no other package.
std::string bash(const CLI::App& root);

// To be put into a folder of fpath as _zyn-code-manager, or evaluated once compinit has run.
std::string zsh(const CLI::App& root);

std::string fish(const CLI::App& root);

} // namespace CodeManagerCLI::CompletionScripts
