#include "ManagerCore/Crucible/TreeMeasure.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <iterator>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <utility>
#include <vector>

#include <fcntl.h>

#include "ManagerCore/Crucible/FileCopier.h"
#include "ManagerCore/Foundation/TreeWalk.h"
#include "ManagerCore/Platform/UniqueFd.h"

namespace ManagerCore::TreeMeasure
{

namespace
{

struct Measured {
    std::string path; // below the root, empty for the root itself
    std::int64_t length = 0;
    std::int64_t data = 0; // whole units with data in them
};

std::int64_t roundedUp(std::int64_t bytes, std::int64_t unit) { return (bytes + unit - 1) / unit * unit; }

// The units of an open file with data in them; absent when it cannot be read.
std::optional<std::int64_t> dataIn(int file, std::int64_t length, std::int64_t unit)
{
    std::int64_t data = 0;
    std::int64_t counted = 0; // all units up to here
    for (off_t offset = 0; offset < length;) {
        const auto extent = FileCopier::nextData(file, offset, length);
        if (!extent) {
            return std::nullopt;
        }
        if (extent->end > extent->begin) {
            const std::int64_t begin = std::max<std::int64_t>(extent->begin / unit * unit, counted);
            counted = std::max(roundedUp(extent->end, unit), begin);
            data += counted - begin;
        }
        offset = std::max<off_t>(extent->end, offset + 1);
    }
    return data;
}

// Absent when the file cannot be read.
std::optional<Measured> measure(int folder, const char* name, std::string path, std::int64_t unit)
{
    constexpr int flags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    const Platform::UniqueFd file(::openat(folder, name, flags));
    struct stat facts {};
    if (!file.isOpen() || ::fstat(file.get(), &facts) != 0) {
        return std::nullopt;
    }
    const auto data = dataIn(file.get(), facts.st_size, unit);
    return data ? std::optional(Measured {.path = std::move(path), .length = facts.st_size, .data = *data})
                : std::nullopt;
}

// Of one thread of the walk; on a cache line of its own.
struct alignas(64) Share {
    std::vector<Measured> files;
    bool complete = true;

    void add(std::optional<Measured> file)
    {
        complete = complete && file;
        if (file) {
            files.push_back(std::move(*file));
        }
    }
};

// Every file of a tree in the order of the paths; absent when one cannot be read.
std::optional<std::vector<Measured>> filesOf(const std::filesystem::path& root, std::int64_t unit)
{
    std::array<Share, TreeWalk::workers> shares;
    struct stat facts {};
    if (::lstat(root.c_str(), &facts) != 0) {
        return std::nullopt;
    }
    if (S_ISREG(facts.st_mode)) {
        shares.front().add(measure(AT_FDCWD, root.c_str(), {}, unit));
    } else if (S_ISDIR(facts.st_mode)) {
        shares.front().complete = TreeWalk::walk(root, [&](const TreeWalk::Folder& folder, unsigned worker) {
            for (const TreeWalk::Entry& entry : folder.entries) {
                if (entry.kind == TreeWalk::Kind::file) {
                    shares.at(worker).add(
                        measure(folder.descriptor, entry.terminatedName(), TreeWalk::pathOf(folder, entry), unit));
                }
            }
        });
    }
    std::vector<Measured> files;
    for (Share& share : shares) {
        if (!share.complete) {
            return std::nullopt;
        }
        std::ranges::move(share.files, std::back_inserter(files));
    }
    std::ranges::sort(files, {}, &Measured::path);
    return files;
}

std::int64_t unitAt(const std::filesystem::path& path)
{
    struct statvfs facts {};
    if (::statvfs(path.c_str(), &facts) != 0) {
        return 4096;
    }
    return std::max<std::int64_t>(static_cast<std::int64_t>(facts.f_frsize != 0 ? facts.f_frsize : facts.f_bsize), 512);
}

} // namespace

bool isComplete(const std::filesystem::path& copy, const std::filesystem::path& original)
{
    const std::int64_t unit = std::max(unitAt(original), unitAt(copy));
    const auto before = filesOf(original, unit);
    const auto after = filesOf(copy, unit);
    return before && after && std::ranges::equal(*before, *after, [](const Measured& file, const Measured& copied) {
               return file.path == copied.path && file.length == copied.length && file.data <= copied.data;
           });
}

} // namespace ManagerCore::TreeMeasure
