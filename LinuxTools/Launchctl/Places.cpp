#include "LinuxTools/Launchctl/Places.h"

#include <cstdlib>
#include <sys/stat.h>
#include <unistd.h>

#include "LinuxTools/Launchctl/UnitName.h"
#include "ManagerCore/Platform/Platform.h"

namespace LinuxTools::Places
{

namespace
{

using std::filesystem::path;

path fromEnvironment(const char* name)
{
    const char* value = std::getenv(name);
    // A relative one is none, as the rules of these variables say.
    return value != nullptr && *value == '/' ? path(value) : path {};
}

path stateInHome() { return ManagerCore::Platform::homeFolder() / ".local/state/code-manager"; }

} // namespace

path runtimeFolder()
{
    const path folder = fromEnvironment("XDG_RUNTIME_DIR");
    struct stat found {};
    const bool own = !folder.empty() && ::stat(folder.c_str(), &found) == 0 && S_ISDIR(found.st_mode)
        && found.st_uid == ::geteuid();
    return own ? folder : path {};
}

path lastingUnits()
{
    const path configured = fromEnvironment("XDG_CONFIG_HOME");
    return (configured.empty() ? ManagerCore::Platform::homeFolder() / ".config" : configured) / "systemd/user";
}

path passingUnits() { return runtimeFolder() / "systemd/user"; }

path stateFolder()
{
    const path runtime = runtimeFolder();
    return runtime.empty() ? stateInHome() : runtime / "code-manager";
}

std::vector<path> agentsFolders()
{
    std::vector<path> folders {stateFolder() / "agents"};
    if (stateFolder() != stateInHome()) {
        folders.push_back(stateInHome() / "agents");
    }
    return folders;
}

path loadedMark(std::string_view label) { return stateFolder() / "loaded" / UnitName::escaped(label); }

} // namespace LinuxTools::Places
