#pragma once

#include <vector>

#include "ManagerCore/Foundation/Proc.h"
#include "ManagerCore/Foundation/Remover.h"
#include "ManagerCore/Installers/Database.h"

// Copies databases to their places and removes them. Blocks: not for the interface thread.
namespace ManagerCore::DatabaseInstaller
{

// What keeps the database from being copied at all, before anything is touched: code 1 with one sentence; code 0 when
// nothing does.
Proc::Out check(const Database& database);

// Copies the source to its destination and gives ditto's result; what exists there goes to the Trash first. Code 1 with
// one sentence, and nothing changed, when `check` objects or what exists there does not go to the Trash. On Linux
// nothing is at the destination after a copy that failed, on macOS there may be a part; the old one is in the Trash.
// `watcher`, when given, can stop the copy.
Proc::Out install(const Database& database, Proc::Watcher* watcher = nullptr);

// Moves the destination to the Trash; always one result.
std::vector<Remover::Result> uninstall(const Database& database);

} // namespace ManagerCore::DatabaseInstaller
