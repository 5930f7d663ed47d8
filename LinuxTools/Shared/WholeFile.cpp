#include "LinuxTools/Shared/WholeFile.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "LinuxTools/Shared/Descriptor.h"
#include "ManagerCore/Platform/ErrorText.h"

namespace LinuxTools
{

namespace
{

namespace ErrorText = ManagerCore::Platform::ErrorText;

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
    Descriptor made(::open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode));
    if (!made.isOpen()) {
        return errno;
    }
    if (const int error = writeAll(made.get(), bytes); error != 0) {
        return error;
    }
    return ::fsync(made.get()) == 0 && made.close() ? 0 : errno;
}

} // namespace

std::filesystem::path besideName(const std::filesystem::path& file)
{
    return file.parent_path() / ("." + file.filename().string() + ".new");
}

std::optional<std::string> writeWhole(const std::filesystem::path& file, std::string_view bytes, mode_t mode)
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
    if (::mkdir(folder.c_str(), mode) == 0 || (errno == EEXIST && std::filesystem::is_directory(folder))) {
        return std::nullopt;
    }
    return ErrorText::saving(errno, folder);
}

} // namespace LinuxTools
