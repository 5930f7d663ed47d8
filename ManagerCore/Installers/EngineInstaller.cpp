#include "ManagerCore/Installers/EngineInstaller.h"

#include "ManagerCore/Foundation/FilePath.h"
#include "ManagerCore/Installers/Installer.h"

namespace ManagerCore::EngineInstaller
{

std::optional<std::string> engineDir(const std::string& projectDir)
{
    for (const std::filesystem::path& holder : Installer::holders(projectDir)) {
        for (const std::filesystem::path& place : {holder, FilePath::parent(holder)}) {
            if (const auto engine = FilePath::appending(place, "mlx-vantor"); FilePath::exists(engine)) {
                return engine.string();
            }
        }
    }
    return std::nullopt;
}

Proc::Out run(const std::string& projectDir, Proc::Watcher* watcher)
{
    const auto dir = engineDir(projectDir);
    if (!dir) {
        return {.code = 1, .stdout = {}, .stderr = "no mlx-vantor project found next to " + projectDir};
    }
    return Installer::build(*dir, watcher);
}

} // namespace ManagerCore::EngineInstaller
