#include "ManagerCore/Platform/Platform.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <expected>
#include <fcntl.h>
#include <memory>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

// The names of the functions on mounts change with 2.84, which then warns of those that 2.74 has.
#define GLIB_VERSION_MIN_REQUIRED GLIB_VERSION_2_74
#include <gio/gunixmounts.h>
#include <glib.h>

#include "ManagerCore/Platform/ErrorText.h"
#include "ManagerCore/Platform/UniqueFd.h"

// The Trash as freedesktop.org lays it out for all desktops. Not through g_file_trash: that replaces an item in the
// Trash that has no note, and refuses while another process is making the Trash.
namespace ManagerCore::Platform
{

namespace
{

using std::filesystem::path;

struct Trash {
    path top; // the mount point for a volume's own Trash, where notes name relative paths; else empty
    UniqueFd files; // the items
    UniqueFd notes; // for each item one: where it came from and when
};

// The item's folder is held open, so that the item stays reachable whatever becomes of the way there.
struct Item {
    UniqueFd folder;
    path folderPath; // without links
    std::string name;
    dev_t device = 0;
};

// -1 with errno when it can be neither made nor opened; a link is not followed.
UniqueFd makeAndOpen(int parent, const char* name)
{
    if (::mkdirat(parent, name, S_IRWXU) != 0 && errno != EEXIST) {
        return {};
    }
    return UniqueFd(::openat(parent, name, O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

// Makes the folder and those above it, but never the home: one that is missing may only be away for now.
bool makeFolders(const path& folder)
{
    const auto make = [&folder] { return ::mkdir(folder.c_str(), S_IRWXU) == 0 || errno == EEXIST; };
    const path above = folder.parent_path();
    return make() || (errno == ENOENT && above != homeFolder() && makeFolders(above) && make());
}

std::expected<Trash, int> trashIn(UniqueFd folder, path top)
{
    Trash trash {.top = std::move(top), .files = {}, .notes = {}};
    if (folder.isOpen()) {
        trash.files = makeAndOpen(folder.get(), "files");
    }
    if (trash.files.isOpen()) {
        trash.notes = makeAndOpen(folder.get(), "info");
    }
    return trash.notes.isOpen() ? std::expected<Trash, int>(std::move(trash)) : std::unexpected(errno);
}

path homeTrash()
{
    const char* given = std::getenv("XDG_DATA_HOME");
    const path data = given != nullptr && *given == '/' ? path(given) : homeFolder() / ".local/share";
    return data / "Trash";
}

// Whether the folder, which need not exist yet, lies on the device.
bool liesOn(dev_t device, path folder)
{
    struct stat status {};
    while (::stat(folder.c_str(), &status) != 0 && folder.has_relative_path()) {
        folder = folder.parent_path();
    }
    return status.st_dev == device;
}

std::expected<Trash, int> openHomeTrash()
{
    const path folder = homeTrash();
    if (!makeFolders(folder)) {
        return std::unexpected(errno);
    }
    return trashIn(UniqueFd(::open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)), {});
}

// The desktop's own rule. Its Trash shows nothing that lies elsewhere.
bool mayHaveTrash(const path& mountPoint)
{
    const std::unique_ptr<GUnixMountEntry, decltype(&g_unix_mount_free)> mount(
        g_unix_mount_at(mountPoint.c_str(), nullptr), &g_unix_mount_free);
    if (!mount) {
        return false;
    }
    const char* options = g_unix_mount_get_options(mount.get());
    const std::string_view given = options != nullptr ? options : "";
    return given.contains("x-gvfs-trash")
        || (!given.contains("x-gvfs-notrash") && g_unix_mount_is_system_internal(mount.get()) == FALSE);
}

bool isSticky(const UniqueFd& folder)
{
    struct stat status {};
    return ::fstat(folder.get(), &status) == 0 && (status.st_mode & S_ISVTX) != 0;
}

// Another user's folder would hand the items over.
bool isOwn(const UniqueFd& folder)
{
    struct stat status {};
    return ::fstat(folder.get(), &status) == 0 && status.st_uid == ::getuid();
}

// The one that the administrator set up for all users, else the user's own.
std::expected<Trash, int> openVolumeTrash(const path& mountPoint)
{
    const std::string user = std::to_string(::getuid());
    const UniqueFd top(::open(mountPoint.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    const UniqueFd shared(::openat(top.get(), ".Trash", O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (shared.isOpen() && isSticky(shared)) {
        if (UniqueFd folder = makeAndOpen(shared.get(), user.c_str()); folder.isOpen() && isOwn(folder)) {
            return trashIn(std::move(folder), mountPoint);
        }
    }
    UniqueFd folder = makeAndOpen(top.get(), (".Trash-" + user).c_str());
    if (!folder.isOpen() && errno != EACCES && errno != EPERM && errno != ENOTDIR) {
        return std::unexpected(errno);
    }
    return folder.isOpen() && isOwn(folder) ? trashIn(std::move(folder), mountPoint) : std::unexpected(ENOTSUP);
}

std::string noteFor(const Item& item, const Trash& trash)
{
    const path original = item.folderPath / item.name;
    const path named = trash.top.empty() ? original : original.lexically_relative(trash.top);
    const std::unique_ptr<char, decltype(&g_free)> escaped(g_uri_escape_string(named.c_str(), "/", FALSE), &g_free);
    const std::time_t now = std::time(nullptr);
    std::tm local {};
    ::localtime_r(&now, &local);
    std::array<char, 40> date {};
    const std::size_t length = std::strftime(date.data(), date.size(), "%Y-%m-%dT%H:%M:%S", &local);
    return "[Trash Info]\nPath=" + std::string(escaped.get()) + "\nDeletionDate=" + std::string(date.data(), length)
        + "\n";
}

// 0, or an errno and no note: EEXIST when there is one of that name.
int writeNote(const Trash& trash, const std::string& name, const std::string& text)
{
    const UniqueFd file(::openat(trash.notes.get(), name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (!file.isOpen()) {
        return errno;
    }
    const ssize_t written = ::write(file.get(), text.data(), text.size());
    const bool whole = written == static_cast<ssize_t>(text.size());
    if (whole && ::fsync(file.get()) == 0) {
        return 0;
    }
    const int error = written < 0 || whole ? errno : ENOSPC;
    ::unlinkat(trash.notes.get(), name.c_str(), 0);
    return error;
}

// 0 or an errno: EEXIST when there is an item of that name in the Trash.
int moveInto(const Trash& trash, const Item& item, const std::string& name)
{
    const int from = item.folder.get();
    const int to = trash.files.get();
    if (::renameat2(from, item.name.c_str(), to, name.c_str(), RENAME_NOREPLACE) == 0) {
        return 0;
    }
    if (errno != EINVAL) {
        return errno;
    }
    // Some network file systems can only replace.
    struct stat status {};
    if (::fstatat(to, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0) {
        return EEXIST;
    }
    return ::renameat(from, item.name.c_str(), to, name.c_str()) == 0 ? 0 : errno;
}

// The note comes first: its name, made exclusively, reserves that of the item against every other program.
int put(const Item& item, const Trash& trash)
{
    const std::string text = noteFor(item, trash);
    int error = EEXIST;
    for (int number = 1; error == EEXIST; number++) {
        const std::string name = number == 1 ? item.name : item.name + "." + std::to_string(number);
        const std::string note = name + ".trashinfo";
        error = writeNote(trash, note, text);
        if (error != 0) {
            continue;
        }
        error = moveInto(trash, item, name);
        if (error != 0) {
            ::unlinkat(trash.notes.get(), note.c_str(), 0);
        }
    }
    return error == EXDEV ? ENOTSUP : error;
}

std::expected<Item, int> itemAt(const path& path)
{
    std::error_code unresolved;
    Item item {.folder = UniqueFd(::open(path.parent_path().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)),
               .folderPath = std::filesystem::canonical(path.parent_path(), unresolved),
               .name = path.filename()};
    struct stat status {};
    if (!item.folder.isOpen() || ::fstat(item.folder.get(), &status) != 0) {
        return std::unexpected(errno);
    }
    if (unresolved) {
        return std::unexpected(unresolved.value());
    }
    item.device = status.st_dev;
    return item.name.empty() ? std::expected<Item, int>(std::unexpected(EBUSY)) : std::move(item); // "/"
}

int putIntoVolumeTrash(const Item& item, const std::optional<Volume>& volume)
{
    if (!volume || !mayHaveTrash(volume->mountPoint)) {
        return ENOTSUP;
    }
    const auto trash = openVolumeTrash(volume->mountPoint);
    return trash ? put(item, *trash) : trash.error();
}

} // namespace

std::optional<std::string> moveToTrash(const path& path)
{
    const auto item = itemAt(path);
    if (!item) {
        return ErrorText::trashing(item.error(), path);
    }
    int error = 0;
    std::optional<Volume> volume;
    if (liesOn(item->device, homeTrash())) {
        const auto trash = openHomeTrash();
        if (!trash) {
            return ErrorText::makingTrash(trash.error(), path, homeTrash());
        }
        error = put(*item, *trash);
    } else {
        volume = volumeOf(item->folderPath);
        error = putIntoVolumeTrash(*item, volume);
    }
    return error == 0 ? std::nullopt : std::optional(ErrorText::trashing(error, path, volume ? volume->name : "/"));
}

} // namespace ManagerCore::Platform
