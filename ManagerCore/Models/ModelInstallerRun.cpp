#include "ManagerCore/Models/ModelInstallerRun.h"

#include "ManagerCore/Foundation/FilePath.h"
#include "ManagerCore/Installers/Installer.h"
#include "ManagerCore/Models/ModelInstaller.h"

namespace ManagerCore::ModelInstallerRun
{

Proc::Out install(const std::string& slug, const std::string& projectDir, Proc::Watcher* watcher)
{
    constexpr const char* script = "install-one-model.command";
    const std::string dir = ModelInstaller::installModelsDir(projectDir);
    if (!Installer::has(dir, script)) {
        return {.code = 1, .stdout = {}, .stderr = "no install-one-model.command under " + dir};
    }
    return Installer::runScript(dir, script, {slug}, watcher);
}

} // namespace ManagerCore::ModelInstallerRun
