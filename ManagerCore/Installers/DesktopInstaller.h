#pragma once

#include <optional>
#include <string>

#include "ManagerCore/Foundation/Proc.h"

// Builds and installs the product's desktop application.
namespace ManagerCore::DesktopInstaller
{

// The project's "desktop" folder; absent when that has no build.command.
std::optional<std::string> desktopDir(const std::string& projectDir);

// As `Installer::build` on that folder; code 1 with one sentence when there is none. Blocks: not for the interface
// thread.
Proc::Out run(const std::string& projectDir, Proc::Watcher* watcher = nullptr);

} // namespace ManagerCore::DesktopInstaller
