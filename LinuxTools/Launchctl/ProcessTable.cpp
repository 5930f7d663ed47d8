#include "LinuxTools/Launchctl/ProcessTable.h"

#include <array>
#include <charconv>
#include <fcntl.h>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <unistd.h>

#include "LinuxTools/Shared/Descriptor.h"
#include "ManagerCore/Foundation/Text.h"

namespace LinuxTools::ProcessTable
{

namespace
{

// Files of /proc are read with one call: they have no size.
std::string readSmall(const std::string& file)
{
    const Descriptor opened(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
    std::array<char, 4096> buffer {};
    const ssize_t count = opened.isOpen() ? ::read(opened.get(), buffer.data(), buffer.size()) : -1;
    return count > 0 ? std::string(buffer.data(), static_cast<std::size_t>(count)) : std::string();
}

template <class Number> Number numberIn(std::string_view text)
{
    Number value {};
    std::from_chars(text.data(), text.data() + text.size(), value);
    return value;
}

} // namespace

std::optional<Entry> entryOf(pid_t pid)
{
    const std::string line = readSmall("/proc/" + std::to_string(pid) + "/stat");
    // The second field is the program's name in parentheses, which may hold spaces and parentheses itself.
    const std::size_t end = line.rfind(')');
    if (end == std::string::npos) {
        return std::nullopt;
    }
    const auto fields = ManagerCore::Text::pieces(std::string_view(line).substr(end + 1), ' ');
    constexpr std::size_t firstField = 3;
    constexpr std::size_t sessionField = 6 - firstField;
    constexpr std::size_t startField = 22 - firstField;
    if (fields.size() <= startField) {
        return std::nullopt;
    }
    return Entry {.pid = pid,
                  .state = fields.front().front(),
                  .session = numberIn<pid_t>(fields[sessionField]),
                  .startTime = numberIn<std::uint64_t>(fields[startField])};
}

std::vector<Entry> membersOf(pid_t session)
{
    std::vector<Entry> members;
    std::error_code error;
    std::filesystem::directory_iterator folder("/proc", error);
    for (; !error && folder != std::filesystem::directory_iterator(); folder.increment(error)) {
        const auto pid = numberIn<pid_t>(folder->path().filename().string());
        const auto entry = pid > 0 ? entryOf(pid) : std::nullopt;
        if (entry && entry->session == session && entry->isAlive()) {
            members.push_back(*entry);
        }
    }
    return members;
}

std::string boot()
{
    const std::string identifier = readSmall("/proc/sys/kernel/random/boot_id");
    const auto first = entryOf(1);
    return std::string(ManagerCore::Text::trimWhiteSpaceAndLineBreaks(identifier)) + "+"
        + std::to_string(first ? first->startTime : 0);
}

} // namespace LinuxTools::ProcessTable
