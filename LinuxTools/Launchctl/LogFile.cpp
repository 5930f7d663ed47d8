#include "LinuxTools/Launchctl/LogFile.h"
#include "ManagerCore/Foundation/WholeFile.h"

#include <cerrno>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace LinuxTools::LogFile
{

std::optional<std::string> prepare(const std::string& file)
{
    const std::filesystem::path path = file;
    struct stat found {};
    if (::stat(path.c_str(), &found) == 0) {
        if (S_ISDIR(found.st_mode)) {
            return "is a folder";
        }
        if (S_ISFIFO(found.st_mode) || S_ISSOCK(found.st_mode)) {
            return "is no file";
        }
        return ::access(path.c_str(), W_OK) == 0 ? std::nullopt : std::optional<std::string>("cannot be written");
    }
    if (errno != ENOENT) {
        return "cannot be reached";
    }
    if (ManagerCore::WholeFile::makeFolders(path.parent_path(), 0777)
        || ::access(path.parent_path().c_str(), W_OK | X_OK) != 0) {
        return "lies in a folder that cannot be written";
    }
    return std::nullopt;
}

} // namespace LinuxTools::LogFile
