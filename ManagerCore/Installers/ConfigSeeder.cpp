#include "ManagerCore/Installers/ConfigSeeder.h"

#include "ManagerCore/Foundation/FilePath.h"

namespace ManagerCore::ConfigSeeder
{

std::optional<std::filesystem::path> binary(const Identity& identity)
{
    for (const std::string& each : identity.binaries) {
        if (std::filesystem::path path = FilePath::expandHome(each); FilePath::exists(path)) {
            return path;
        }
    }
    return std::nullopt;
}

Proc::Out seed(const Identity& identity, Proc::Watcher* watcher)
{
    const auto found = binary(identity);
    if (!found) {
        return {.code = 1, .stdout = {}, .stderr = "no installed binary found to seed config from"};
    }
    return Proc::run(found->string(), {"--version"}, std::nullopt, std::nullopt, watcher);
}

} // namespace ManagerCore::ConfigSeeder
