#include "ManagerCore/Platform/Platform.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <gio/gio.h>

#include "ManagerCore/Platform/ErrorText.h"

namespace ManagerCore::Platform
{

namespace
{

// The errno that says the same as GIO's error; 0 where only GIO's own words tell.
int errnoOf(const GError& error)
{
    if (error.domain != G_IO_ERROR) {
        return 0;
    }
    switch (error.code) {
    case G_IO_ERROR_NOT_FOUND:
        return ENOENT;
    case G_IO_ERROR_PERMISSION_DENIED:
        return EACCES;
    case G_IO_ERROR_NOT_SUPPORTED:
        return ENOTSUP;
    case G_IO_ERROR_READ_ONLY:
        return EROFS;
    case G_IO_ERROR_NO_SPACE:
        return ENOSPC;
    default:
        return 0;
    }
}

bool isFull(const std::filesystem::path& folder)
{
    struct statvfs facts {};
    return ::statvfs(folder.c_str(), &facts) == 0
        && (facts.f_bavail == 0 || (facts.f_files > 0 && facts.f_favail == 0));
}

std::string sentenceOf(const GError& error, const std::filesystem::path& path)
{
    int known = errnoOf(error);
    if (known == ENOTSUP && isFull(path.parent_path())) {
        known = ENOSPC; // no folder for a Trash could be made
    }
    if (known == 0) {
        return "“" + path.filename().string() + "” couldn’t be moved to the trash (" + error.message + ").";
    }
    const auto volume = known == ENOTSUP ? volumeOf(path.parent_path()) : std::nullopt;
    return ErrorText::trashing(known, path, volume ? volume->name : "/");
}

// Where an item lies in a Trash, and the note that says where it came from.
struct Place {
    std::filesystem::path item;
    std::filesystem::path note;
};

bool isThere(const std::filesystem::path& path, const struct stat& item)
{
    struct stat facts {};
    return ::lstat(path.c_str(), &facts) == 0 && facts.st_dev == item.st_dev && facts.st_ino == item.st_ino;
}

// Under its own name or, where that was taken, another.
std::optional<Place> placeIn(const std::filesystem::path& trash, const std::string& name, const struct stat& item)
{
    const auto place = [&trash](const std::string& called) {
        return Place {.item = trash / "files" / called, .note = trash / "info" / (called + ".trashinfo")};
    };
    if (isThere(place(name).item, item)) {
        return place(name);
    }
    std::optional<Place> found;
    const int folder = ::open((trash / "files").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder >= 0) {
        readFolder(folder, [&](std::string_view called, FileKind) {
            const Place candidate = place(std::string(called));
            if (!found && isThere(candidate.item, item)) {
                found = candidate;
            }
        });
        ::close(folder);
    }
    return found;
}

std::optional<Place>
placeOf(const struct stat& item, const std::string& name, const std::optional<std::filesystem::path>& mountPoint)
{
    const std::string user = std::to_string(::getuid());
    const std::filesystem::path top = mountPoint.value_or("/");
    for (const std::filesystem::path& trash : std::array {
             std::filesystem::path(g_get_user_data_dir()) / "Trash", top / ".Trash" / user, top / (".Trash-" + user)}) {
        if (const auto place = placeIn(trash, name, item)) {
            return place;
        }
    }
    return std::nullopt;
}

// The folder that an item is taken from, held open: the way to it may lead through the item itself.
class Origin
{
public:
    explicit Origin(const std::filesystem::path& path)
        : folder_(::open(path.parent_path().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC))
        , name_(path.filename())
    {
    }
    ~Origin()
    {
        if (folder_ >= 0) {
            ::close(folder_);
        }
    }
    Origin(const Origin&) = delete;
    Origin& operator=(const Origin&) = delete;

    [[nodiscard]] bool takeBack(const std::filesystem::path& item) const
    {
        return folder_ >= 0 && ::renameat2(AT_FDCWD, item.c_str(), folder_, name_.c_str(), RENAME_NOREPLACE) == 0;
    }

private:
    int folder_;
    std::filesystem::path name_;
};

// GIO does not tell when there was no room for the note: the item would lie in the Trash and could not be put back.
// Then it is put back here. True when it was.
bool putBackWithoutNote(const Place& place, const Origin& origin)
{
    struct stat note {};
    if (::stat(place.note.c_str(), &note) == 0 && note.st_size > 0) {
        return false;
    }
    if (!origin.takeBack(place.item)) {
        return false;
    }
    ::unlink(place.note.c_str());
    return true;
}

} // namespace

std::optional<std::string> moveToTrash(const std::filesystem::path& path)
{
    struct stat facts {};
    if (::lstat(path.c_str(), &facts) != 0) {
        return ErrorText::trashing(errno, path);
    }
    // The local file system itself: the default one would talk to the desktop's daemons for a plain rename.
    const std::unique_ptr<GFile, decltype(&g_object_unref)> file(
        g_vfs_get_file_for_path(g_vfs_get_local(), path.c_str()), &g_object_unref);
    GError* error = nullptr;
    const auto volume = volumeOf(path.parent_path());
    const Origin origin(path);
    if (g_file_trash(file.get(), nullptr, &error) != FALSE) {
        const auto mountPoint = volume ? std::optional(volume->mountPoint) : std::nullopt;
        const auto place = placeOf(facts, path.filename().string(), mountPoint);
        return place && putBackWithoutNote(*place, origin) ? std::optional(ErrorText::trashing(ENOSPC, path))
                                                           : std::nullopt;
    }
    const std::unique_ptr<GError, decltype(&g_error_free)> owner(error, &g_error_free);
    return sentenceOf(*error, path);
}

} // namespace ManagerCore::Platform
