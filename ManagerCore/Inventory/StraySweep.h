#pragma once

#include <vector>

#include "ManagerCore/Foundation/Identity.h"
#include "ManagerCore/Inventory/FoundItem.h"

namespace ManagerCore::StraySweep
{

// Copies of the product's executables on the search path (PATH and the identity's sweep folders): what bears one of its
// sweep names there, or the file that a link of such a name leads to, and holds its marker. The declared executables
// are left out. Each once, not measured. None without a marker or without names. Reads the candidates whole.
std::vector<FoundItem> executables(const Identity& identity);

} // namespace ManagerCore::StraySweep
