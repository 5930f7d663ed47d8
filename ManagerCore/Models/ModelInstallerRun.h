#pragma once

#include <string>

#include "ManagerCore/Foundation/Proc.h"

namespace ManagerCore::ModelInstallerRun
{

// Installs the catalog entry `slug` by the install-models folder's script and gives the script's own result; code 1
// with one sentence where there is no script. Blocks: not for the interface thread. `watcher`, when given, sees the
// script's lines and can stop it.
Proc::Out install(const std::string& slug, const std::string& projectDir, Proc::Watcher* watcher = nullptr);

} // namespace ManagerCore::ModelInstallerRun
