#include "ManagerCore/Foundation/Size.h"

#include <array>
#include <atomic>
#include <fcntl.h>
#include <sys/stat.h>

#include "ManagerCore/Foundation/TreeWalk.h"
#include "ManagerCore/Platform/Platform.h"

namespace ManagerCore::Size
{

namespace
{

std::int64_t ofFiles(const TreeWalk::Folder& folder)
{
    std::int64_t bytes = 0;
    for (const TreeWalk::Entry& entry : folder.entries) {
        struct stat info {};
        if (entry.kind == TreeWalk::Kind::file
            && ::fstatat(folder.descriptor, entry.terminatedName(), &info, AT_SYMLINK_NOFOLLOW) == 0
            && S_ISREG(info.st_mode)) {
            bytes += Platform::allocatedSize(info);
        }
    }
    return bytes;
}

std::int64_t ofTree(const std::filesystem::path& root)
{
    std::atomic<std::int64_t> bytes = 0;
    TreeWalk::walk(root, [&bytes](const TreeWalk::Folder& folder, unsigned) { bytes += ofFiles(folder); });
    return bytes;
}

// A link adds nothing, even one to a file.
std::int64_t ofFile(const std::filesystem::path& path)
{
    struct stat info {};
    return ::lstat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode) ? Platform::allocatedSize(info) : 0;
}

struct Unit {
    const char* name;
    std::uint64_t bytes;
    std::uint64_t step; // the smallest part of it that is shown
};
constexpr std::array<Unit, 3> units {{
    {.name = " KB", .bytes = 1'000, .step = 1'000},
    {.name = " MB", .bytes = 1'000'000, .step = 100'000},
    {.name = " GB", .bytes = 1'000'000'000, .step = 10'000'000},
}};

std::string grouped(std::uint64_t number)
{
    std::string digits = std::to_string(number);
    for (std::size_t at = digits.size(); at > 3;) {
        at -= 3;
        digits.insert(at, ",");
    }
    return digits;
}

// `steps` of a unit as a decimal number without trailing zeros.
std::string decimal(std::uint64_t steps, std::uint64_t stepsPerUnit)
{
    std::string text = grouped(steps / stepsPerUnit);
    std::uint64_t rest = steps % stepsPerUnit;
    if (rest != 0) {
        text.push_back('.');
    }
    for (std::uint64_t place = stepsPerUnit / 10; rest != 0; place /= 10) {
        text.push_back(static_cast<char>('0' + rest / place));
        rest %= place;
    }
    return text;
}

} // namespace

std::int64_t of(const std::filesystem::path& path)
{
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0) {
        return 0;
    }
    return S_ISDIR(info.st_mode) ? ofTree(path) : ofFile(path);
}

std::string human(std::int64_t bytes)
{
    if (bytes == 0) {
        return "Zero KB";
    }
    const std::uint64_t magnitude = bytes < 0 ? -static_cast<std::uint64_t>(bytes) : static_cast<std::uint64_t>(bytes);
    std::string text;
    for (const Unit& unit : units) {
        const std::uint64_t steps = magnitude / unit.step + (magnitude % unit.step * 2 >= unit.step ? 1 : 0);
        const std::uint64_t stepsPerUnit = unit.bytes / unit.step;
        text = (bytes < 0 && steps != 0 ? "-" : "") + decimal(steps, stepsPerUnit) + unit.name;
        if (steps < 1000 * stepsPerUnit) {
            break;
        }
    }
    return text;
}

} // namespace ManagerCore::Size
