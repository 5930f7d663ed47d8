#pragma once

#include <string>

#include <QString>

namespace CodeManagerApp
{

// How a piece of work ended, with what the console says of it.
struct Outcome {
    bool ok = false;
    QString text; // no more than the console keeps
};

Outcome outcomeOf(bool ok, const std::string& text);

// Moves the item to the Trash: `moved` and the path on a line of its own, or why it stayed. Takes its time: not for the
// interface thread.
Outcome moveToTrash(const std::string& path, const std::string& moved);

} // namespace CodeManagerApp
