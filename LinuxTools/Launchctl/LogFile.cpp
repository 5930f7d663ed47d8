#include "LinuxTools/Launchctl/LogFile.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>

#include "ManagerCore/Foundation/WholeFile.h"
#include "ManagerCore/Platform/ErrorText.h"
#include "ManagerCore/Platform/UniqueFd.h"

namespace LinuxTools
{

std::vector<std::string> prepareLogs(Job& job)
{
    std::vector<std::string> warnings;
    for (std::string* log : {&job.outputPath, &job.errorPath}) {
        if (log->empty()) {
            continue;
        }
        const std::filesystem::path file = *log;
        auto error = ManagerCore::WholeFile::makeFolders(file.parent_path(), 0777);
        // O_NONBLOCK: the path may name a FIFO.
        constexpr int flags = O_WRONLY | O_APPEND | O_CREAT | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
        if (!error && !ManagerCore::Platform::UniqueFd(::open(file.c_str(), flags, 0666)).isOpen()) {
            error = ManagerCore::Platform::ErrorText::saving(errno, file);
        }
        if (error) {
            warnings.push_back(*error);
            log->clear();
        }
    }
    return warnings;
}

} // namespace LinuxTools
