#pragma once

#include <optional>
#include <string>
#include <vector>

#include "CodeManagerCLI/Context.h"

// What changes the store of weights. With `dryRun` each only tells what would be done.
namespace CodeManagerCLI::CrucibleChanges
{

// Points the crucible's root link at a folder.
int setRoot(const Context& context, const std::string& folder, bool dryRun);

// Serves the weights of a site, given as it is declared, and restarts the backend.
int serve(const Context& context, const std::string& declared, bool dryRun);

// Moves a part of the store from one root to another. The first Ctrl-C stops the copy and leaves the original as it is.
struct Move {
    std::string node;
    std::string from;
    std::string to;
};
int move(const Context& context, const Move& move, bool dryRun);

// Re-aims dangling links. Without roots those of the store: the first for the links, all for the copies.
struct Repair {
    std::optional<std::string> linkRoot;
    std::vector<std::string> candidates;
};
int repair(const Context& context, const Repair& repair, bool dryRun);

// Prints the backup document, or writes it to a file that is not there yet. Fails when links had to be left out.
int backup(const Context& context, const std::optional<std::string>& file, bool dryRun);

// Makes the links of a backup document again.
int restore(const Context& context, const std::string& file, bool dryRun);

} // namespace CodeManagerCLI::CrucibleChanges
