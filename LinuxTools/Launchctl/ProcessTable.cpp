#include "LinuxTools/Launchctl/ProcessTable.h"

#include <charconv>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

#include "ManagerCore/Foundation/Text.h"

namespace LinuxTools::ProcessTable
{

namespace
{

// Reading fails when the process ends meanwhile. operator<< does not throw then, as a stream iterator does.
std::string read(const std::string& file)
{
    std::ostringstream text;
    text << std::ifstream(file, std::ios::binary).rdbuf();
    return text.str();
}

} // namespace

std::optional<Process> find(pid_t pid)
{
    const std::string line = read("/proc/" + std::to_string(pid) + "/stat");
    // The second field is the name in parentheses, which may contain spaces and parentheses.
    const std::size_t nameEnd = line.rfind(')');
    if (nameEnd == std::string::npos) {
        return std::nullopt;
    }
    const auto fields = ManagerCore::Text::pieces(std::string_view(line).substr(nameEnd + 1), ' ');
    constexpr std::size_t sessionField = 3;
    constexpr std::size_t startField = 19;
    if (fields.size() <= startField) {
        return std::nullopt;
    }
    Process process {.pid = pid, .alive = fields[0] != "Z" && fields[0] != "X"};
    std::istringstream(std::string(fields[sessionField])) >> process.session;
    std::istringstream(std::string(fields[startField])) >> process.startTime;
    return process;
}

std::vector<Process> inSession(pid_t session)
{
    std::vector<Process> members;
    std::error_code error;
    std::filesystem::directory_iterator folder("/proc", error);
    for (; !error && folder != std::filesystem::directory_iterator(); folder.increment(error)) {
        const std::string name = folder->path().filename().string();
        pid_t pid = 0;
        std::from_chars(name.data(), name.data() + name.size(), pid);
        const auto process = pid > 0 ? find(pid) : std::nullopt;
        if (process && process->session == session && process->alive) {
            members.push_back(*process);
        }
    }
    return members;
}

bool hasEnvironment(pid_t pid, const std::string& entry)
{
    const std::string zero(1, '\0');
    return (zero + read("/proc/" + std::to_string(pid) + "/environ")).contains(zero + entry + zero);
}

std::string bootId()
{
    // A container keeps the boot_id of its host; its first process is new after each start.
    const auto first = find(1);
    return read("/proc/sys/kernel/random/boot_id") + std::to_string(first ? first->startTime : 0);
}

} // namespace LinuxTools::ProcessTable
