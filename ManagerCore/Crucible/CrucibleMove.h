#pragma once

#include <filesystem>

#include "ManagerCore/Crucible/CrucibleAdmin.h"
#include "ManagerCore/Crucible/TreeCopier.h"

// Moves a part of the store from one root to the same place below another.
namespace ManagerCore::CrucibleMove
{

// Copies `node`, which lies below `from`, to the same place below `to`, compares the sizes of both, moves the original
// to the Trash and leaves a link to the copy at its place. Every failure stops before the next step that takes anything
// away, and the message says where things stand: until the copy is verified the original is untouched, and what was
// copied stays for its owner to look at. `watcher` may be null; a stop counts as a failed copy. Never throws. Blocks
// for as long as copying takes: not for the interface thread.
CrucibleAdmin::Outcome relocate(const std::filesystem::path& node,
                                const std::filesystem::path& from,
                                const std::filesystem::path& to,
                                TreeCopier::Watcher* watcher = nullptr);

// Whether that would begin, with the disk left as it is.
CrucibleAdmin::Outcome
foretell(const std::filesystem::path& node, const std::filesystem::path& from, const std::filesystem::path& to);

} // namespace ManagerCore::CrucibleMove
