#include "ManagerCore/Models/ModelInstaller.h"

#include "ManagerCore/Foundation/FilePath.h"
#include "ManagerCore/Installers/Installer.h"
#include "ManagerCore/Models/ModelCatalog.h"
#include "ManagerCore/Models/ModelInstallerRun.h"
#include "ManagerCore/Models/ModelPath.h"

namespace ManagerCore::ModelInstaller
{

namespace
{

Proc::Out refused(std::string sentence) { return {.code = 1, .stdout = {}, .stderr = std::move(sentence)}; }

} // namespace

std::string installModelsDir(const std::string& projectDir) { return Installer::beside(projectDir, "install-models"); }

std::optional<std::string> resolvedSlug(const std::string& projectDir, const std::string& defaultsPath)
{
    const auto configured = ModelPath::configuredModel(defaultsPath);
    return configured ? ModelCatalog::slugFor(*configured, installModelsDir(projectDir)) : std::nullopt;
}

Proc::Out installConfiguredModel(const std::string& projectDir, const std::string& defaultsPath, Proc::Watcher* watcher)
{
    const auto slug = resolvedSlug(projectDir, defaultsPath);
    return slug ? ModelInstallerRun::install(*slug, projectDir, watcher)
                : refused("no mlx.model configured in " + defaultsPath + ", or no catalog match");
}

Proc::Out
uninstallConfiguredModel(const std::string& projectDir, const std::string& defaultsPath, Proc::Watcher* watcher)
{
    const auto configured = ModelPath::configuredModel(defaultsPath);
    if (!configured) {
        return refused("no mlx.model configured in " + defaultsPath);
    }
    const std::string dir = installModelsDir(projectDir);
    const auto slug = ModelCatalog::slugFor(*configured, dir);
    return slug ? Installer::runScript(dir, "uninstall-model.command", {*slug}, watcher)
                : refused("no catalog entry found for model '" + *configured + "'");
}

} // namespace ManagerCore::ModelInstaller
