#include "ManagerCore/Platform/Posix.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>
#include <vector>

#include <pwd.h>

namespace ManagerCore::Platform
{

using std::filesystem::path;

namespace
{

// Runs one of the reentrant passwd look-ups, whose buffer must be large enough for any entry.
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

// The system's tool, else ours: beside the executable in a build, under libexec when installed.
path tool(const path& ofSystem)
{
    const path programs = application().parent_path();
    for (const path& place : {ofSystem,
                              programs / ofSystem.filename(),
                              programs.parent_path() / "libexec/code-manager" / ofSystem.filename()}) {
        if (Posix::exists(place)) {
            return place;
        }
    }
    return ofSystem;
}

bool isDots(std::string_view name) { return name == "." || name == ".."; }

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

// macOS starts applications with 256. No more than 1024: children inherit it, and select() takes no descriptor above.
void raiseDescriptorLimit()
{
    constexpr rlim_t wanted = 1024;
    rlimit limit {};
    if (::getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur < wanted) {
        limit.rlim_cur = std::min(wanted, limit.rlim_max);
        ::setrlimit(RLIMIT_NOFILE, &limit);
    }
}

} // namespace

void prepareProcess()
{
    raiseDescriptorLimit();
    if (!Posix::environmentPath("HOME")) {
        ::unsetenv("HOME");
    }
}

path homeFolder()
{
    static const path home = Posix::firstFolder(Posix::homeCandidates());
    return home;
}

std::optional<path> homeFolderOf(const std::string& user)
{
    return homeInPasswd([&user](passwd* entry, char* buffer, std::size_t size, passwd** found) {
        return ::getpwnam_r(user.c_str(), entry, buffer, size, found);
    });
}

path launchctl() { return tool("/bin/launchctl"); }

path ditto() { return tool("/usr/bin/ditto"); }

path application() { return Posix::applicationOf(Posix::executable()); }

std::optional<path> resourceFolder() { return Posix::resourcesOf(Posix::executable()); }

FolderReader::FolderReader(UniqueFd folder)
    : fd_(folder.release())
{
}

FolderReader::~FolderReader()
{
    const int error = errno;
    if (stream_ != nullptr) {
        ::closedir(stream_);
    } else if (fd_ >= 0) {
        ::close(fd_);
    }
    errno = error;
}

bool FolderReader::read(const OnFolderEntry& entry)
{
    stream_ = fd_ >= 0 ? ::fdopendir(fd_) : nullptr;
    if (stream_ == nullptr) {
        return false;
    }
    errno = 0;
    while (const dirent* const found = ::readdir(stream_)) {
        if (!isDots(found->d_name)) {
            entry(found->d_name, kindOf(found->d_type));
        }
        errno = 0;
    }
    return errno == 0;
}

bool readFolder(int folder, const OnFolderEntry& entry)
{
    return FolderReader(UniqueFd(::fcntl(folder, F_DUPFD_CLOEXEC, 0))).read(entry);
}

namespace Posix
{

std::optional<path> homeOfOwner()
{
    return homeInPasswd([](passwd* entry, char* buffer, std::size_t size, passwd** found) {
        return ::getpwuid_r(::getuid(), entry, buffer, size, found);
    });
}

std::optional<path> environmentPath(const char* name)
{
    const char* value = std::getenv(name);
    return value != nullptr && *value != '\0' ? std::optional<path>(value) : std::nullopt;
}

path absoluteFolder(const path& folder)
{
    std::error_code error;
    path made = std::filesystem::absolute(folder, error);
    made = error ? folder : made;
    return made.has_filename() || made == made.root_path() ? made : made.parent_path();
}

path firstFolder(const std::vector<std::optional<path>>& candidates)
{
    for (const std::optional<path>& candidate : candidates) {
        if (candidate && !candidate->empty()) {
            return absoluteFolder(*candidate);
        }
    }
    return "/";
}

path applicationOf(const path& executable)
{
    const path bundle = executable.parent_path().parent_path().parent_path();
    const bool inBundle = executable.parent_path().filename() == "MacOS" && bundle.extension() == ".app";
    return inBundle ? bundle : executable;
}

std::optional<path> resourcesOf(const path& executable)
{
    const path above = executable.parent_path().parent_path();
    for (const path& folder : {above / "share/code-manager", above / "Resources"}) {
        if (Posix::exists(folder)) {
            return folder;
        }
    }
    return std::nullopt;
}

bool exists(const path& file) { return ::access(file.c_str(), F_OK) == 0; }

bool areOnOneDevice(int file, int other)
{
    struct stat one {};
    struct stat two {};
    return ::fstat(file, &one) == 0 && ::fstat(other, &two) == 0 && one.st_dev == two.st_dev;
}

int openClone(int folder, const char* name)
{
    constexpr int flags = O_NOFOLLOW | O_CLOEXEC;
    const int writable = ::openat(folder, name, O_RDWR | flags);
    return writable >= 0 ? writable : ::openat(folder, name, O_RDONLY | flags);
}

bool closeOnExec(int descriptor) { return ::fcntl(descriptor, F_SETFD, FD_CLOEXEC) == 0; }

int addSpawnFlag(posix_spawnattr_t& attributes, int flag)
{
    short flags = 0;
    const int error = ::posix_spawnattr_getflags(&attributes, &flags);
    return error != 0 ? error : ::posix_spawnattr_setflags(&attributes, static_cast<short>(flags | flag));
}

} // namespace Posix

// Not pipe2, which not all systems have: children close all descriptors but their streams anyway.
bool makePipe(std::array<UniqueFd, 2>& ends)
{
    std::array<int, 2> made {};
    if (::pipe(made.data()) != 0) {
        return false;
    }
    ends = {UniqueFd(made[0]), UniqueFd(made[1])};
    return Posix::closeOnExec(made[0]) && Posix::closeOnExec(made[1]);
}

} // namespace ManagerCore::Platform
