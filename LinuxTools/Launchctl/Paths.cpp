#include "LinuxTools/Launchctl/Paths.h"

#include <cstdlib>
#include <sys/stat.h>
#include <unistd.h>

#include "LinuxTools/Launchctl/Label.h"
#include "ManagerCore/Platform/Platform.h"

namespace LinuxTools::Paths
{

namespace
{

using std::filesystem::path;

// The XDG base directory rules ignore relative paths.
path fromEnvironment(const char* name)
{
    const char* value = std::getenv(name);
    return value != nullptr && *value == '/' ? path(value) : path {};
}

path stateInHome() { return ManagerCore::Platform::homeFolder() / ".local/state/code-manager"; }

} // namespace

path runtimeFolder()
{
    const path folder = fromEnvironment("XDG_RUNTIME_DIR");
    struct stat info {};
    const bool usable
        = !folder.empty() && ::stat(folder.c_str(), &info) == 0 && S_ISDIR(info.st_mode) && info.st_uid == ::geteuid();
    return usable ? folder : path {};
}

path configUnits()
{
    const path configured = fromEnvironment("XDG_CONFIG_HOME");
    return (configured.empty() ? ManagerCore::Platform::homeFolder() / ".config" : configured) / "systemd/user";
}

path runtimeUnits() { return runtimeFolder() / "systemd/user"; }

path stateFolder()
{
    const path runtime = runtimeFolder();
    return runtime.empty() ? stateInHome() : runtime / "code-manager";
}

std::vector<path> serviceFolders() { return {stateFolder() / "agents", stateInHome() / "agents"}; }

path loadedMark(std::string_view label) { return stateFolder() / "loaded" / Label::escape(label); }

} // namespace LinuxTools::Paths
