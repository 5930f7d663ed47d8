#include "ManagerCore/Foundation/WholeFile.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "ManagerCore/Platform/ErrorText.h"

namespace ManagerCore::WholeFile
{

namespace
{

namespace ErrorText = Platform::ErrorText;

// 0 or an errno.
int writeAll(int descriptor, std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
        if (written < 0 && errno != EINTR) {
            return errno;
        }
        bytes.remove_prefix(written > 0 ? static_cast<std::size_t>(written) : 0);
    }
    return 0;
}

int writeDurably(const std::filesystem::path& file, std::string_view bytes, mode_t mode)
{
    ::unlink(file.c_str());
    const int made = ::open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
    if (made < 0) {
        return errno;
    }
    int error = writeAll(made, bytes);
    if (error == 0 && ::fsync(made) != 0) {
        error = errno;
    }
    // Interrupted or not, the descriptor is gone afterwards: closing it again could hit another one.
    if (::close(made) != 0 && errno != EINTR && error == 0) {
        error = errno;
    }
    return error;
}

} // namespace

std::filesystem::path besideName(const std::filesystem::path& file)
{
    return file.parent_path() / ("." + file.filename().string() + ".new");
}

std::optional<std::string> write(const std::filesystem::path& file, std::string_view bytes, mode_t mode)
{
    const std::filesystem::path beside = besideName(file);
    int error = writeDurably(beside, bytes, mode);
    if (error == 0 && ::rename(beside.c_str(), file.c_str()) != 0) {
        error = errno;
    }
    if (error == 0) {
        return std::nullopt;
    }
    ::unlink(beside.c_str());
    return ErrorText::saving(error, file);
}

std::optional<std::string> makeFolders(const std::filesystem::path& folder, mode_t mode)
{
    struct stat found {};
    if (::stat(folder.c_str(), &found) == 0) {
        return S_ISDIR(found.st_mode) ? std::nullopt : std::optional(ErrorText::saving(EEXIST, folder));
    }
    if (folder.has_parent_path() && folder.parent_path() != folder) {
        if (auto failure = makeFolders(folder.parent_path(), mode)) {
            return failure;
        }
    }
    // Another process may have made it meanwhile.
    if (::mkdir(folder.c_str(), mode) == 0) {
        return std::nullopt;
    }
    const int error = errno;
    if (error == EEXIST && ::stat(folder.c_str(), &found) == 0 && S_ISDIR(found.st_mode)) {
        return std::nullopt;
    }
    return ErrorText::saving(error, folder);
}

} // namespace ManagerCore::WholeFile
