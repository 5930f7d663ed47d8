#pragma once

#include <vector>

#include "ManagerCore/Foundation/Identity.h"
#include "ManagerCore/Inventory/FoundItem.h"

namespace ManagerCore::Scanner
{

// Everything that the product has put on this machine: what its descriptor names, what bears its name in the user's
// folders, its editor extensions, and copies of its executables on the search path. Each path once, under the first
// category that claims it; by category, then from the largest to the smallest, then by path. What is missing or cannot
// be read is left out. Only reads, and reads and measures much: not for the interface thread.
std::vector<FoundItem> scan(const Identity& identity);

} // namespace ManagerCore::Scanner
