#pragma once

#include "ManagerCore/Foundation/Identity.h"
#include "ManagerCore/Foundation/Proc.h"

// Makes the product write its own configuration, which it does on its first run.
namespace ManagerCore::ConfigSeeder
{

// Runs the first of the product's executables that exists with --version and gives its result, whatever its code; code
// 1 with one sentence when there is none. Blocks: not for the interface thread.
Proc::Out seed(const Identity& identity, Proc::Watcher* watcher = nullptr);

} // namespace ManagerCore::ConfigSeeder
