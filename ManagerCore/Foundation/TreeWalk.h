#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "ManagerCore/Platform/Platform.h"

// The one walker of all trees: several threads, calls relative to the open folder, a handful of descriptors however
// deep or wide the tree is.
namespace ManagerCore::TreeWalk
{

using Kind = Platform::FileKind; // never `unknown` here

struct Entry {
    std::string_view name;
    Kind kind = Kind::other;
    bool descend = true; // for folders: set to false to leave out what is inside

    // The name as system calls take it: a zero byte stands behind it.
    [[nodiscard]] const char* terminatedName() const { return &*name.begin(); }
};

// Some of the entries of one folder, while it is open. A large folder comes in several pieces.
struct Folder {
    int descriptor = -1;
    const std::string& path; // relative to the root, "/" between names, empty for the root
    std::span<Entry> entries;
};

// Visits every folder of the tree at `root`, the root included. A root that is a link is followed; links inside are
// yielded and never followed; mount points are crossed; hidden entries are included. `visit` is called from several
// threads at once, in no order: sort what it gathers. `lane`, below `lanes`, tells the threads apart and is never used
// by two at once; a visit uses no descriptor but the folder's and those that it opens itself, for its thread may see no
// other. A folder that cannot be opened is passed over. False when the root cannot be opened as a folder.
//
// Two threads for each processor walk what the system has in memory. Where they find themselves waiting for the drive,
// more of them start: a drive that is asked for more at once answers sooner.
inline constexpr unsigned lanes = 16;
using Visit = std::function<void(const Folder& folder, unsigned lane)>;
bool walk(const std::filesystem::path& root, const Visit& visit);

// Opens the folder at `path`, relative to the open folder `root` and of any length, without following a link on the
// way; the root itself for the empty path. -1 with errno when it cannot be opened. The caller closes it.
int openBelow(int root, const std::string& path);

// The entry's path relative to the root.
std::string pathOf(const Folder& folder, const Entry& entry);

} // namespace ManagerCore::TreeWalk
