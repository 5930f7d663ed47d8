#pragma once

#include <optional>
#include <string>

#include "ManagerCore/Foundation/Proc.h"

// The configured model (the first "model:" in the "mlx:" block of the product's defaults file), installed and removed
// by the scripts of the install-models folder. Each run blocks until its script has ended: not for the interface
// thread. What is found wrong before a script runs is code 1 with one sentence as standard error.
namespace ManagerCore::ModelInstaller
{

// The folder beside the project; empty for an empty `projectDir`.
std::string installModelsDir(const std::string& projectDir);

// The catalog's slug of the configured model; absent when none is configured or the catalog does not have it.
std::optional<std::string> resolvedSlug(const std::string& projectDir, const std::string& defaultsPath);

// The script's own result. `watcher`, when given, sees its lines and can stop it.
Proc::Out installConfiguredModel(const std::string& projectDir,
                                 const std::string& defaultsPath,
                                 Proc::Watcher* watcher = nullptr);
Proc::Out uninstallConfiguredModel(const std::string& projectDir,
                                   const std::string& defaultsPath,
                                   Proc::Watcher* watcher = nullptr);

} // namespace ManagerCore::ModelInstaller
