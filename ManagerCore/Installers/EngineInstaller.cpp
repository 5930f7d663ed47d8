#include "ManagerCore/Installers/EngineInstaller.h"

#include "ManagerCore/Foundation/FilePath.h"
#include "ManagerCore/Installers/Installer.h"

namespace ManagerCore::EngineInstaller
{

std::optional<std::string> engineDir(const std::string& projectDir)
{
    constexpr const char* engine = "mlx-vantor";
    std::string near = Installer::beside(projectDir, engine);
    if (FilePath::exists(near)) {
        return near;
    }
    const std::string higher = Installer::beside(FilePath::parent(near).string(), engine);
    return FilePath::exists(higher) ? std::optional(higher) : std::nullopt;
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
