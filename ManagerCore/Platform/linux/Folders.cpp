#include "ManagerCore/Platform/Platform.h"

#include <array>
#include <cstdlib>
#include <system_error>

#include "ManagerCore/Platform/Posix.h"

namespace ManagerCore::Platform
{

namespace
{

using std::filesystem::path;

std::optional<path> fromEnvironment(const char* name)
{
    const char* value = std::getenv(name);
    return value != nullptr && *value != '\0' ? std::optional<path>(value) : std::nullopt;
}

path absoluteFolder(const path& folder)
{
    std::error_code error;
    const path made = std::filesystem::absolute(folder, error);
    return Posix::withoutTrailingSlash(error ? folder : made);
}

path lookUpHome()
{
    if (const auto home = fromEnvironment("HOME")) {
        return absoluteFolder(*home);
    }
    return absoluteFolder(Posix::homeOfOwner().value_or("/"));
}

// The system's tool, else ours: beside the executable in a build, under libexec when installed.
path tool(const path& ofSystem)
{
    if (Posix::isThere(ofSystem)) {
        return ofSystem;
    }
    const path programs = application().parent_path();
    for (const path& ours : std::array {programs / ofSystem.filename(),
                                        programs.parent_path() / "libexec/code-manager" / ofSystem.filename()}) {
        if (Posix::isThere(ours)) {
            return ours;
        }
    }
    return ofSystem;
}

} // namespace

path homeFolder()
{
    static const path home = lookUpHome();
    return home;
}

// An empty HOME is none here, but to GLib the place that it makes the Trash in.
void settleHome()
{
    if (!fromEnvironment("HOME")) {
        ::unsetenv("HOME");
    }
}

std::optional<path> homeFolderOf(const std::string& user) { return Posix::homeOf(user); }

path shortForm(const path& given) { return given; }

TemporaryFolders temporaryFolders()
{
    return {
        .caches = absoluteFolder(fromEnvironment("XDG_CACHE_HOME").value_or(homeFolder() / ".cache")),
        .temporary = absoluteFolder(fromEnvironment("TMPDIR").value_or("/tmp")),
        .shared = true,
    };
}

path launchctl() { return tool("/bin/launchctl"); }

path ditto() { return tool("/usr/bin/ditto"); }

path application()
{
    std::error_code error;
    const path executable = std::filesystem::read_symlink("/proc/self/exe", error);
    return error ? path {} : executable;
}

std::optional<path> resourceFolder()
{
    const path folder = application().parent_path().parent_path() / "share/code-manager";
    return Posix::isThere(folder) ? std::optional(folder) : std::nullopt;
}

} // namespace ManagerCore::Platform
