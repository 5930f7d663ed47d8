#include "ManagerCore/Installers/DesktopInstaller.h"

#include "ManagerCore/Foundation/FilePath.h"
#include "ManagerCore/Installers/Installer.h"

namespace ManagerCore::DesktopInstaller
{

std::optional<std::string> desktopDir(const std::string& projectDir)
{
    if (!Installer::has(projectDir, "desktop/build.command")) {
        return std::nullopt;
    }
    return FilePath::appending(FilePath::fromText(projectDir), "desktop").string();
}

Proc::Out run(const std::string& projectDir, Proc::Watcher* watcher)
{
    const auto dir = desktopDir(projectDir);
    if (!dir) {
        return {.code = 1, .stdout = {}, .stderr = "no desktop/build.command found under " + projectDir};
    }
    return Installer::build(*dir, watcher);
}

} // namespace ManagerCore::DesktopInstaller
