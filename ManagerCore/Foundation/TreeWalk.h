#pragma once

#include <algorithm>
#include <array>
#include <filesystem>
#include <functional>
#include <iterator>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "ManagerCore/Platform/Platform.h"

// Walks trees with several threads, by calls relative to the open folder. A walk has at most two descriptors open for
// each thread, however deep or wide the tree is.
namespace ManagerCore::TreeWalk
{

using Kind = Platform::FileKind; // never `unknown` here

struct Entry {
    std::string_view name;
    Kind kind = Kind::other;
    bool descend = true; // for folders: set to false to skip its contents

    // The name as system calls take it, with a zero byte at its end.
    [[nodiscard]] const char* terminatedName() const { return &*name.begin(); }
};

// Some of the entries of one folder, while it is open. A large folder comes in several chunks.
struct Folder {
    int descriptor = -1;
    const std::string& path; // relative to the root, "/" between names, empty for the root
    std::span<Entry> entries;
};

// Visits every folder of the tree at `root`, the root included. A root that is a link is followed; links inside are
// yielded and never followed; mount points are crossed; hidden entries are included. `visit` is called from several
// threads at once, in no order: sort the results. `worker`, below `workers`, identifies the thread: no two threads have
// the same at once. A visit uses only the folder's descriptor and those that it opens itself, because its thread may
// have a descriptor table of its own. True when all was read; false when the root cannot be opened as a folder or when
// a folder below it could not be read, whose entries are then missing.
//
// More threads than most machines have processors, because a drive answers sooner when it is asked for more at once; at
// lowered priority, so that they do not delay the interface.
inline constexpr unsigned workers = 8;
using Visit = std::function<void(const Folder& folder, unsigned worker)>;
bool walk(const std::filesystem::path& root, const Visit& visit);

// The same with a list for each worker: returns all that the visits appended to theirs, in no order.
template <class T>
std::vector<T> gather(const std::filesystem::path& root,
                      const std::function<void(const Folder& folder, std::vector<T>& found)>& visit)
{
    struct alignas(64) Share { // a cache line for each worker
        std::vector<T> found;
    };
    std::array<Share, workers> shares;
    walk(root, [&](const Folder& folder, unsigned worker) { visit(folder, shares.at(worker).found); });
    std::vector<T> all;
    for (Share& share : shares) {
        std::ranges::move(share.found, std::back_inserter(all));
    }
    return all;
}

// Opens the folder at `path`, relative to the open folder `root` and of any length, without following a link on the
// way; the root itself for the empty path. -1 with errno when it cannot be opened. The caller closes it.
int openBelow(int root, const std::string& path);

// The entry's path relative to the root.
std::string pathOf(const Folder& folder, const Entry& entry);

} // namespace ManagerCore::TreeWalk
