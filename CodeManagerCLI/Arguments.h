#pragma once

#include <string>
#include <vector>

#include <CLI/CLI.hpp>

// CLI11 reads more into words than a file name can bear: "[a,b]" as two arguments, "{}" as none, "++" as the end of a
// command, a name behind "--" as an option again, "--option=" as an option that takes the next word. So it only sees
// shielded words and decides on names of commands and options alone.
namespace CodeManagerCLI::Arguments
{

// `words` with every argument and every option's value shielded and without the first "--". Throws UsageError for an
// option that the command at its place does not have, that lacks its value or is given one that it does not take.
std::vector<std::string> shielded(const CLI::App& root, const std::vector<std::string>& words);

// The word as it was typed.
std::string plain(const std::string& word);

} // namespace CodeManagerCLI::Arguments
