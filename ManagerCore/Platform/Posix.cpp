#include "ManagerCore/Platform/Posix.h"

#include <cerrno>
#include <dirent.h>
#include <unistd.h>
#include <vector>

#include <pwd.h>

namespace ManagerCore::Platform::Posix
{

namespace
{

using std::filesystem::path;

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

} // namespace

FileKind kindOf(unsigned char type)
{
    switch (type) {
    case DT_DIR:
        return FileKind::folder;
    case DT_REG:
        return FileKind::file;
    case DT_LNK:
        return FileKind::link;
    case DT_UNKNOWN:
        return FileKind::unknown;
    default:
        return FileKind::other;
    }
}

std::optional<path> homeOfOwner()
{
    return homeInPasswd([](passwd* entry, char* buffer, std::size_t size, passwd** found) {
        return ::getpwuid_r(::getuid(), entry, buffer, size, found);
    });
}

std::optional<path> homeOf(const std::string& user)
{
    return homeInPasswd([&user](passwd* entry, char* buffer, std::size_t size, passwd** found) {
        return ::getpwnam_r(user.c_str(), entry, buffer, size, found);
    });
}

path withoutTrailingSlash(const path& folder)
{
    return folder.has_filename() || folder == folder.root_path() ? folder : folder.parent_path();
}

bool isThere(const path& file) { return ::access(file.c_str(), F_OK) == 0; }

} // namespace ManagerCore::Platform::Posix
