#pragma once

#include <optional>
#include <string>

#include "ManagerCore/Foundation/Proc.h"

// Builds and installs the local engine, a project of its own near the product's.
namespace ManagerCore::EngineInstaller
{

// The engine's project: beside the product's, else one level higher; absent when it is in neither place.
std::optional<std::string> engineDir(const std::string& projectDir);

// As `Installer::build` on that folder; code 1 with one sentence when there is none. Blocks: not for the interface
// thread.
Proc::Out run(const std::string& projectDir, Proc::Watcher* watcher = nullptr);

} // namespace ManagerCore::EngineInstaller
