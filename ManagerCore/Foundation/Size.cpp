#include "ManagerCore/Foundation/Size.h"

#include <algorithm>
#include <array>
#include <fcntl.h>
#include <numeric>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include "ManagerCore/Foundation/TreeWalk.h"

namespace ManagerCore::Size
{

namespace
{

constexpr std::int64_t bytesPerBlock = 512; // the unit of st_blocks, whatever the file system's own is

// What one thread of the walk has counted. On a cache line of its own.
struct alignas(64) Tally {
    std::int64_t bytes = 0;
    dev_t device = 0;
    std::int64_t blockSize = 0; // of the file system on `device`; 0 before the first look
};

// What the file occupies, without what the file system keeps for itself: ext4 counts blocks of its extent tree and xfs
// what it set aside beyond the end, which differ between two good copies of a file.
std::int64_t allocated(const struct stat& facts, std::int64_t blockSize)
{
    const std::int64_t blocks = static_cast<std::int64_t>(facts.st_blocks) * bytesPerBlock;
    const std::int64_t length = (static_cast<std::int64_t>(facts.st_size) + blockSize - 1) / blockSize * blockSize;
    return std::min(blocks, length);
}

std::int64_t blockSizeOf(const struct statvfs& facts)
{
    const auto size = static_cast<std::int64_t>(facts.f_frsize != 0 ? facts.f_frsize : facts.f_bsize);
    return std::max(size, bytesPerBlock);
}

void lookAtDevice(Tally& tally, int folder, dev_t device)
{
    struct statvfs facts {};
    tally.blockSize = ::fstatvfs(folder, &facts) == 0 ? blockSizeOf(facts) : 4096;
    tally.device = device;
}

void count(Tally& tally, const TreeWalk::Folder& folder)
{
    for (const TreeWalk::Entry& entry : folder.entries) {
        struct stat facts {};
        if (entry.kind != TreeWalk::Kind::file
            || ::fstatat(folder.descriptor, entry.terminatedName(), &facts, AT_SYMLINK_NOFOLLOW) != 0
            || !S_ISREG(facts.st_mode)) {
            continue;
        }
        if (tally.blockSize == 0 || tally.device != facts.st_dev) {
            lookAtDevice(tally, folder.descriptor, facts.st_dev);
        }
        tally.bytes += allocated(facts, tally.blockSize);
    }
}

std::int64_t ofTree(const std::filesystem::path& root)
{
    std::array<Tally, TreeWalk::lanes> tallies {};
    TreeWalk::walk(root, [&tallies](const TreeWalk::Folder& folder, unsigned lane) { count(tallies[lane], folder); });
    return std::accumulate(tallies.begin(), tallies.end(), std::int64_t {0}, [](std::int64_t sum, const Tally& tally) {
        return sum + tally.bytes;
    });
}

// A file by itself. A link adds nothing, even one to a file.
std::int64_t ofFile(const std::filesystem::path& path)
{
    struct stat facts {};
    struct statvfs volume {};
    const bool regular = ::lstat(path.c_str(), &facts) == 0 && S_ISREG(facts.st_mode);
    return regular && ::statvfs(path.c_str(), &volume) == 0 ? allocated(facts, blockSizeOf(volume)) : 0;
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
    struct stat facts {};
    if (::stat(path.c_str(), &facts) != 0) {
        return 0;
    }
    return S_ISDIR(facts.st_mode) ? ofTree(path) : ofFile(path);
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
