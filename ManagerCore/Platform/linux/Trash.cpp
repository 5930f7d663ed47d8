#include "ManagerCore/Platform/Platform.h"

#include <cerrno>
#include <memory>
#include <sys/stat.h>

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

std::string sentenceOf(const GError& error, const std::filesystem::path& path)
{
    const int known = errnoOf(error);
    if (known == 0) {
        return "“" + path.filename().string() + "” couldn’t be moved to the trash (" + error.message + ").";
    }
    const auto volume = known == ENOTSUP ? volumeOf(path.parent_path()) : std::nullopt;
    return ErrorText::trashing(known, path, volume ? volume->name : "/");
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
    if (g_file_trash(file.get(), nullptr, &error) != FALSE) {
        return std::nullopt;
    }
    const std::unique_ptr<GError, decltype(&g_error_free)> owner(error, &g_error_free);
    return sentenceOf(*error, path);
}

} // namespace ManagerCore::Platform
