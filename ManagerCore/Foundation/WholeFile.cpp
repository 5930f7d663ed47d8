#include "ManagerCore/Foundation/WholeFile.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "ManagerCore/Platform/ErrorText.h"
#include "ManagerCore/Platform/UniqueFd.h"

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

// Creates the file, durable. 0, or an errno and nothing is left behind.
int create(const std::filesystem::path& file, std::string_view bytes, mode_t mode)
{
    Platform::UniqueFd made(::open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode));
    if (!made.isOpen()) {
        return errno;
    }
    int error = writeAll(made.get(), bytes);
    if (error == 0 && ::fsync(made.get()) != 0) {
        error = errno;
    }
    // Interrupted or not, the descriptor is gone afterwards: closing it again could hit another one.
    if (::close(made.release()) != 0 && errno != EINTR && error == 0) {
        error = errno;
    }
    if (error != 0) {
        ::unlink(file.c_str());
    }
    return error;
}

std::optional<std::string> failure(int error, const std::filesystem::path& file)
{
    return error == 0 ? std::nullopt : std::optional(ErrorText::saving(error, file));
}

} // namespace

std::filesystem::path besideName(const std::filesystem::path& file)
{
    return file.parent_path() / ("." + file.filename().string() + ".new");
}

std::optional<std::string> write(const std::filesystem::path& file, std::string_view bytes, mode_t mode)
{
    const std::filesystem::path beside = besideName(file);
    ::unlink(beside.c_str());
    int error = create(beside, bytes, mode);
    if (error == 0 && ::rename(beside.c_str(), file.c_str()) != 0) {
        error = errno;
        ::unlink(beside.c_str());
    }
    return failure(error, file);
}

std::optional<std::string> writeNew(const std::filesystem::path& file, std::string_view bytes, mode_t mode)
{
    return failure(create(file, bytes, mode), file);
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
