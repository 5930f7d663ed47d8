#include "ManagerCore/Platform/Platform.h"

#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <system_error>
#include <unistd.h>
#include <vector>

#include <mach-o/dyld.h>

#include "ManagerCore/Platform/Posix.h"

namespace ManagerCore::Platform
{

namespace
{

using std::filesystem::path;

path lookUpHome()
{
    const char* fixed = std::getenv("CFFIXED_USER_HOME");
    if (fixed != nullptr && *fixed != '\0') {
        return Posix::withoutTrailingSlash(fixed);
    }
    return Posix::withoutTrailingSlash(Posix::homeOfOwner().value_or("/"));
}

path executable()
{
    std::vector<char> buffer(PATH_MAX);
    auto size = static_cast<std::uint32_t>(buffer.size());
    if (::_NSGetExecutablePath(buffer.data(), &size) != 0) {
        buffer.resize(size);
        ::_NSGetExecutablePath(buffer.data(), &size);
    }
    std::error_code error;
    const path real = std::filesystem::canonical(buffer.data(), error);
    return error ? path(buffer.data()) : real;
}

} // namespace

path homeFolder()
{
    static const path home = lookUpHome();
    return home;
}

void settleHome() { }

std::optional<path> homeFolderOf(const std::string& user) { return Posix::homeOf(user); }

path shortForm(const path& given)
{
    constexpr std::string_view prefix = "/private";
    const std::string& whole = given.native();
    for (const std::string_view folder : {"/private/tmp", "/private/var", "/private/etc"}) {
        const bool inside = whole.starts_with(folder) && (whole.size() == folder.size() || whole[folder.size()] == '/');
        if (inside && Posix::isThere(whole.substr(prefix.size()))) {
            return whole.substr(prefix.size());
        }
    }
    return given;
}

TemporaryFolders temporaryFolders()
{
    std::array<char, PATH_MAX> buffer {};
    if (::confstr(_CS_DARWIN_USER_TEMP_DIR, buffer.data(), buffer.size()) == 0) {
        return {.caches = "/tmp", .temporary = "/tmp", .shared = true};
    }
    const path temporary = Posix::withoutTrailingSlash(buffer.data());
    return {.caches = temporary.parent_path() / "C", .temporary = temporary};
}

path launchctl() { return "/bin/launchctl"; }

path ditto() { return "/usr/bin/ditto"; }

path application()
{
    const path program = executable();
    const path bundle = program.parent_path().parent_path().parent_path();
    const bool inBundle = program.parent_path().filename() == "MacOS" && bundle.extension() == ".app";
    return inBundle ? bundle : program;
}

// The bundle's own, else the folder beside bin that a build and a plain installation have.
std::optional<path> resourceFolder()
{
    const path contents = executable().parent_path().parent_path();
    for (const path& folder : std::array {contents / "Resources", contents / "share/code-manager"}) {
        if (Posix::isThere(folder)) {
            return folder;
        }
    }
    return std::nullopt;
}

} // namespace ManagerCore::Platform
