#pragma once

#include <string_view>
#include <vector>

#include "ManagerCore/Crucible/CrucibleRepair.h"

// Makes the links of a backup document again. Never throws. Blocks: not for the interface thread.
namespace ManagerCore::CrucibleRestore
{

// One result per pair of a link and a target that the document names, in its order. A link is made when something
// exists at its target now; whatever stands at its place goes to the Trash first. Reads any text in one pass; the
// parent folders of links are not made.
std::vector<CrucibleRepair::Result> restore(std::string_view document,
                                            CrucibleRepair::Repoint repoint = &CrucibleAdmin::repoint);

} // namespace ManagerCore::CrucibleRestore
