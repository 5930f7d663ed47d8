#include "LinuxTools/Ditto/Attributes.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <string>
#include <string_view>
#include <sys/xattr.h>
#include <unistd.h>
#include <vector>

namespace LinuxTools::Attributes
{

namespace
{

constexpr std::array accessLists {"system.posix_acl_access", "system.posix_acl_default"};

// An entry by a path that the calls for extended attributes take; links are not followed.
std::string pathAt(int folder, const char* name) { return "/proc/self/fd/" + std::to_string(folder) + "/" + name; }

// The calls for open files and for paths, under one name each.
class Entry
{
public:
    explicit Entry(int descriptor)
        : descriptor_(descriptor)
    {
    }
    explicit Entry(std::string path)
        : path_(std::move(path))
    {
    }

    [[nodiscard]] ssize_t list(char* buffer, std::size_t size) const
    {
        return isOpen() ? ::flistxattr(descriptor_, buffer, size) : ::llistxattr(path_.c_str(), buffer, size);
    }
    [[nodiscard]] ssize_t get(const char* name, void* buffer, std::size_t size) const
    {
        return isOpen() ? ::fgetxattr(descriptor_, name, buffer, size) : ::lgetxattr(path_.c_str(), name, buffer, size);
    }
    [[nodiscard]] int set(const char* name, const std::vector<char>& value) const
    {
        return isOpen() ? ::fsetxattr(descriptor_, name, value.data(), value.size(), 0)
                        : ::lsetxattr(path_.c_str(), name, value.data(), value.size(), 0);
    }
    void remove(const char* name) const
    {
        // Not being there is what is wanted.
        [[maybe_unused]] const int result
            = isOpen() ? ::fremovexattr(descriptor_, name) : ::lremovexattr(path_.c_str(), name);
    }

private:
    [[nodiscard]] bool isOpen() const { return descriptor_ >= 0; }

    int descriptor_ = -1;
    std::string path_;
};

// Asks for the size first; asks again when it has grown meanwhile. Empty where there is nothing.
template <class Ask> std::vector<char> answer(Ask ask)
{
    std::vector<char> buffer;
    for (int attempt = 0; attempt < 5; attempt++) {
        const ssize_t size = ask(nullptr, 0);
        if (size <= 0) {
            return {};
        }
        buffer.resize(static_cast<std::size_t>(size));
        const ssize_t got = ask(buffer.data(), buffer.size());
        if (got >= 0) {
            buffer.resize(static_cast<std::size_t>(got));
            return buffer;
        }
    }
    return {};
}

std::vector<std::string> namesOf(const Entry& entry)
{
    const auto list = answer([&entry](char* buffer, std::size_t size) { return entry.list(buffer, size); });
    std::vector<std::string> names;
    for (auto at = list.begin(); at != list.end();) {
        const auto end = std::find(at, list.end(), '\0');
        names.emplace_back(at, end);
        at = end == list.end() ? end : end + 1;
    }
    return names;
}

// What the system keeps for itself may be refused to this user; only what users and programs write counts.
void takeNote(Outcome& outcome, std::string_view name, int error)
{
    const bool ofUser = name.starts_with("user.");
    if (error == ENOTSUP) {
        outcome.unsupported = outcome.unsupported || ofUser || name.starts_with("system.posix_acl");
    } else if (ofUser || (error != EPERM && error != EACCES && error != EINVAL)) {
        outcome.error = error;
    }
}

Outcome keepExtended(const Entry& source, const Entry& destination)
{
    Outcome outcome;
    const auto names = namesOf(source);
    for (const std::string& name : names) {
        const auto value
            = answer([&](char* buffer, std::size_t size) { return source.get(name.c_str(), buffer, size); });
        if (destination.set(name.c_str(), value) != 0) {
            takeNote(outcome, name, errno);
        }
    }
    // A folder's default list gives new entries one that the source does not have.
    for (const char* list : accessLists) {
        if (std::ranges::find(names, list) == names.end()) {
            destination.remove(list);
        }
    }
    return outcome;
}

// The mode without the bits whose owner could not be kept.
template <class ChangeOwner, class Look> mode_t modeAfterOwner(const struct stat& from, ChangeOwner change, Look look)
{
    if (change(from.st_uid, from.st_gid) != 0) {
        change(static_cast<uid_t>(-1), from.st_gid);
    }
    struct stat made {};
    mode_t mode = from.st_mode & 07777U;
    if (look(made) != 0 || made.st_uid != from.st_uid) {
        mode &= ~static_cast<mode_t>(S_ISUID);
    }
    if (made.st_gid != from.st_gid) {
        mode &= ~static_cast<mode_t>(S_ISGID);
    }
    return mode;
}

// File systems without modes or owners of their own refuse to change them.
void takeResult(Outcome& outcome, int result)
{
    if (result != 0 && (errno == EPERM || errno == ENOTSUP)) {
        outcome.unsupported = true;
    } else if (result != 0) {
        outcome.error = errno;
    }
}

std::array<timespec, 2> timesOf(const struct stat& from) { return {from.st_atim, from.st_mtim}; }

} // namespace

Outcome keep(int source, int destination, const struct stat& from)
{
    const mode_t mode = modeAfterOwner(
        from,
        [destination](uid_t user, gid_t group) { return ::fchown(destination, user, group); },
        [destination](struct stat& made) { return ::fstat(destination, &made); });
    Outcome outcome = keepExtended(Entry(source), Entry(destination));
    const auto times = timesOf(from);
    takeResult(outcome, ::fchmod(destination, mode));
    takeResult(outcome, ::futimens(destination, times.data()));
    return outcome;
}

Outcome keepAt(int sourceFolder, const char* sourceName, int folder, const char* name, const struct stat& from)
{
    const mode_t mode = modeAfterOwner(
        from,
        [=](uid_t user, gid_t group) { return ::fchownat(folder, name, user, group, AT_SYMLINK_NOFOLLOW); },
        [=](struct stat& made) { return ::fstatat(folder, name, &made, AT_SYMLINK_NOFOLLOW); });
    Outcome outcome = keepExtended(Entry(pathAt(sourceFolder, sourceName)), Entry(pathAt(folder, name)));
    const auto times = timesOf(from);
    if (!S_ISLNK(from.st_mode)) { // which has no mode of its own
        takeResult(outcome, ::fchmodat(folder, name, mode, 0));
    }
    takeResult(outcome, ::utimensat(folder, name, times.data(), AT_SYMLINK_NOFOLLOW));
    return outcome;
}

} // namespace LinuxTools::Attributes
