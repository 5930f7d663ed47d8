#include "ManagerCore/Installers/ConfigSeeder.h"

namespace ManagerCore::ConfigSeeder
{

Proc::Out seed(const Identity& identity, Proc::Watcher* watcher)
{
    const auto found = identity.installedExecutable();
    if (!found) {
        return {.code = 1, .stdout = {}, .stderr = "no installed binary found to seed config from"};
    }
    return Proc::run(found->string(), {"--version"}, std::nullopt, std::nullopt, watcher);
}

} // namespace ManagerCore::ConfigSeeder
