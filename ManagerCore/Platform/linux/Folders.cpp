#include "ManagerCore/Platform/Platform.h"

#include <array>
#include <cstdlib>
#include <system_error>
#include <unistd.h>
#include <vector>

#include <pwd.h>

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

// Runs one of the reentrant passwd look-ups, which want a buffer of a size nobody knows.
template <class Lookup> std::optional<path> homeInPasswd(Lookup lookup)
{
    std::vector<char> buffer(4096);
    passwd entry {};
    passwd* found = nullptr;
    while (lookup(&entry, buffer.data(), buffer.size(), &found) == ERANGE && buffer.size() < (std::size_t {1} << 20)) {
        buffer.resize(buffer.size() * 2);
    }
    return found != nullptr && found->pw_dir != nullptr ? std::optional<path>(found->pw_dir) : std::nullopt;
}

path withoutTrailingSlash(const path& folder)
{
    return folder.has_filename() || folder == folder.root_path() ? folder : folder.parent_path();
}

path absoluteFolder(const path& folder)
{
    std::error_code error;
    const path made = std::filesystem::absolute(folder, error);
    return withoutTrailingSlash(error ? folder : made);
}

path lookUpHome()
{
    if (const auto home = fromEnvironment("HOME")) {
        return absoluteFolder(*home);
    }
    const auto lookup = [](passwd* entry, char* buffer, std::size_t size, passwd** found) {
        return ::getpwuid_r(::getuid(), entry, buffer, size, found);
    };
    return absoluteFolder(homeInPasswd(lookup).value_or("/"));
}

bool isThere(const path& file) { return ::access(file.c_str(), F_OK) == 0; }

// The system's tool, else ours: beside the executable in a build, under libexec when installed.
path tool(const path& ofSystem)
{
    if (isThere(ofSystem)) {
        return ofSystem;
    }
    const path programs = application().parent_path();
    for (const path& ours : std::array {programs / ofSystem.filename(),
                                        programs.parent_path() / "libexec/code-manager" / ofSystem.filename()}) {
        if (isThere(ours)) {
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

std::optional<path> homeFolderOf(const std::string& user)
{
    return homeInPasswd([&user](passwd* entry, char* buffer, std::size_t size, passwd** found) {
        return ::getpwnam_r(user.c_str(), entry, buffer, size, found);
    });
}

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
    return isThere(folder) ? std::optional(folder) : std::nullopt;
}

} // namespace ManagerCore::Platform
