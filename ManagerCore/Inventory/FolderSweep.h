#pragma once

#include <vector>

#include "ManagerCore/Foundation/Identity.h"
#include "ManagerCore/Inventory/FoundItem.h"

// The entries of well-known folders that belong to the product by their names, in the order of the folders and then of
// their listings. Not measured. A folder that cannot be listed gives nothing.
namespace ManagerCore::FolderSweep
{

// In the user's Library: by the bundle prefix or the product's name.
std::vector<FoundItem> library(const Identity& identity);

// In the user's own cache and temporary folders: by the same rule, and only what the user owns where others share them.
std::vector<FoundItem> temporaryFolders(const Identity& identity);

// Among the extensions of editors: by the extension's identifier anywhere in the name.
std::vector<FoundItem> editorExtensions(const Identity& identity);

} // namespace ManagerCore::FolderSweep
