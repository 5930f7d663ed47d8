#include "ManagerCore/Doctor/Report.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <functional>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace ManagerCore::Doctor
{

namespace
{

constexpr std::size_t listed = 20;

std::string whatIsLeftOut(std::size_t count, State worst)
{
    return counted(count, "more finding", "more findings") + " of this kind "
        + (worst == State::ok ? "passed." : "are not shown: fix those above and check again.");
}

} // namespace

Report::Report(std::string check)
    : check_(std::move(check))
{
}

void Report::ok(std::string sentence) { add(State::ok, std::move(sentence)); }

void Report::warn(std::string sentence) { add(State::warning, std::move(sentence)); }

void Report::fail(std::string sentence) { add(State::error, std::move(sentence)); }

void Report::lacks(Standing standing, std::string sentence)
{
    add(standing == Standing::missing ? State::warning : State::error, std::move(sentence));
}

void Report::add(State state, std::string sentence)
{
    findings_.push_back({.check = check_, .state = state, .message = std::move(sentence)});
}

std::vector<Finding> Report::take()
{
    if (findings_.size() > listed + 1) {
        std::ranges::stable_sort(findings_, std::ranges::greater {}, &Finding::state);
        const std::size_t left = findings_.size() - listed;
        const State worst = findings_[listed].state;
        findings_.resize(listed);
        add(worst, whatIsLeftOut(left, worst));
    }
    return std::move(findings_);
}

std::string joined(const std::vector<std::string>& words)
{
    std::string text;
    for (std::size_t index = 0; index < words.size(); index++) {
        if (index > 0) {
            text += index + 1 == words.size() ? " and " : ", ";
        }
        text += words[index];
    }
    return text;
}

std::string counted(std::size_t count, const std::string& one, const std::string& several)
{
    return std::to_string(count) + " " + (count == 1 ? one : several);
}

std::string advised(std::string sentence, const std::string& advice)
{
    if (sentence.ends_with('.')) {
        sentence.pop_back();
    }
    return sentence + ": " + advice + ".";
}

Standing standingOf(const std::filesystem::path& path)
{
    struct stat facts {};
    if (::stat(path.c_str(), &facts) == 0) {
        if (S_ISDIR(facts.st_mode)) {
            return Standing::folder;
        }
        return S_ISREG(facts.st_mode) ? Standing::file : Standing::device;
    }
    switch (errno) {
    case ELOOP:
        return Standing::circle;
    case EACCES:
    case EPERM:
        return Standing::hidden;
    default:
        return ::lstat(path.c_str(), &facts) == 0 ? Standing::dangling : Standing::missing;
    }
}

std::string told(Standing standing)
{
    switch (standing) {
    case Standing::file:
        return "is a file";
    case Standing::folder:
        return "is a folder";
    case Standing::device:
        return "is neither a file nor a folder";
    case Standing::dangling:
        return "is a link that leads nowhere";
    case Standing::circle:
        return "is reached over links that lead in a circle";
    case Standing::hidden:
        return "lies where you may not look";
    case Standing::missing:
        break;
    }
    return "is not there";
}

bool isAllowed(const std::filesystem::path& path, int mode)
{
    return ::faccessat(AT_FDCWD, path.c_str(), mode, AT_EACCESS) == 0;
}

std::optional<std::string> faultOfFolder(const std::filesystem::path& path)
{
    const Standing standing = standingOf(path);
    if (standing == Standing::file) {
        return "is no folder";
    }
    if (standing != Standing::folder) {
        return told(standing);
    }
    return isAllowed(path, R_OK | X_OK) ? std::nullopt : std::optional<std::string>("may not be looked into");
}

std::optional<std::string> faultOfProgram(const std::filesystem::path& path)
{
    if (const Standing standing = standingOf(path); standing != Standing::file) {
        return told(standing);
    }
    return isAllowed(path, X_OK) ? std::nullopt : std::optional<std::string>("may not be executed");
}

} // namespace ManagerCore::Doctor
