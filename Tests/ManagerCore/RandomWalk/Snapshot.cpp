#include "Tests/ManagerCore/RandomWalk/Snapshot.h"

#include <array>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <functional>
#include <sys/stat.h>
#include <unistd.h>

#include "ManagerCore/Foundation/FilePath.h"
#include "Tests/Support/Permissions.h"
#include "Tests/Support/Sandbox.h"

namespace RandomWalk
{

namespace
{

namespace fs = std::filesystem;

std::int64_t nanoseconds(const timespec& time) { return time.tv_sec * 1'000'000'000LL + time.tv_nsec; }

std::string withoutPercents(std::string_view text)
{
    std::string plain;
    for (std::size_t at = 0; at < text.size(); at++) {
        if (text[at] == '%' && at + 2 < text.size()) {
            plain.push_back(static_cast<char>(std::strtol(std::string(text.substr(at + 1, 2)).c_str(), nullptr, 16)));
            at += 2;
        } else {
            plain.push_back(text[at]);
        }
    }
    return plain;
}

// What is said of the item behind "Path=", which a drive's own Trash says from the drive's top.
std::string originIn(const std::string& note, const fs::path& top)
{
    const std::size_t begin = note.find("\nPath=");
    if (begin == std::string::npos) {
        return {};
    }
    const std::size_t end = note.find('\n', begin + 1);
    const std::string path = withoutPercents(std::string_view(note).substr(begin + 6, end - begin - 6));
    return path.empty() || path.front() == '/' ? path : (top / path).string();
}

bool isTrashOfDrive(std::string_view name) { return name.starts_with(".Trash-"); }

} // namespace

bool Entry::isFolder() const { return S_ISDIR(mode); }
bool Entry::isFile() const { return S_ISREG(mode); }
bool Entry::isLink() const { return S_ISLNK(mode); }

Tree Snapshot::treeAt(const std::string& path) const
{
    Tree tree;
    if (const auto root = places.find(path); root != places.end()) {
        tree.emplace("", root->second);
        const std::string prefix = path + "/";
        for (auto entry = places.lower_bound(prefix); entry != places.end() && entry->first.starts_with(prefix);
             ++entry) {
            tree.emplace(entry->first.substr(prefix.size()), entry->second);
        }
    }
    return tree;
}

std::set<std::string> Snapshot::sums() const
{
    std::set<std::string> all;
    const auto take = [&all](const Tree& tree) {
        for (const auto& [path, entry] : tree) {
            if (entry.isFile()) {
                all.insert(entry.what);
            }
        }
    };
    take(places);
    for (const auto& [path, item] : trash) {
        take(item.tree);
    }
    return all;
}

bool liesIn(std::string_view path, std::string_view folder)
{
    return path == folder || (path.starts_with(folder) && path[folder.size()] == '/');
}

std::string placeOf(const fs::path& path)
{
    std::error_code error;
    const fs::path above = fs::weakly_canonical(path.parent_path(), error);
    return ((error ? path.parent_path() : above) / path.filename()).string();
}

std::string sumOf(std::string_view bytes)
{
    return std::to_string(bytes.size()) + ":" + std::to_string(std::hash<std::string_view> {}(bytes));
}

Entry Observer::entryAt(const std::string& path, const struct stat& facts)
{
    Entry entry {.mode = facts.st_mode};
    if (entry.isFolder()) {
        return entry;
    }
    entry.modified = nanoseconds(facts.st_mtim);
    if (entry.isLink()) {
        std::error_code error;
        entry.what = fs::read_symlink(path, error).string();
        const TestSupport::PermissionsHold hold; // as the program sees it
        entry.resolves = ::faccessat(AT_FDCWD, path.c_str(), F_OK, AT_EACCESS) == 0;
    } else if (entry.isFile()) {
        Known& known = known_[{facts.st_dev, facts.st_ino}];
        const std::int64_t changed = nanoseconds(facts.st_ctim);
        if (known.sum.empty() || known.modified != entry.modified || known.changed != changed
            || known.size != facts.st_size) {
            known = {.modified = entry.modified,
                     .changed = changed,
                     .size = facts.st_size,
                     .sum = sumOf(TestSupport::read(path))};
        }
        entry.what = known.sum;
    }
    return entry;
}

// Hands over the path of each entry of a folder, and what it is.
template <class Take> void Observer::lookBelow(const std::string& folder, Take take)
{
    DIR* const stream = ::opendir(folder.c_str());
    if (stream == nullptr) {
        return;
    }
    while (const dirent* entry = ::readdir(stream)) {
        const std::string_view name = static_cast<const char*>(entry->d_name);
        struct stat facts {};
        const std::string path = folder + "/" + std::string(name);
        if (name != "." && name != ".." && ::lstat(path.c_str(), &facts) == 0) {
            take(path, name, facts);
        }
    }
    ::closedir(stream);
}

void Observer::lookInto(const std::string& folder, Snapshot& snapshot)
{
    lookBelow(folder, [&](const std::string& path, std::string_view name, const struct stat& facts) {
        if (isTrashOfDrive(name) || path.ends_with("/.local/share/Trash")) {
            lookIntoTrash(path, snapshot);
        } else if (name != "lost+found" && name != "filler") {
            snapshot.places.emplace(path, entryAt(path, facts));
            if (S_ISDIR(facts.st_mode)) {
                lookInto(path, snapshot);
            }
        }
    });
}

void Observer::lookIntoTrash(const std::string& folder, Snapshot& snapshot)
{
    const fs::path top = fs::path(folder).parent_path();
    lookBelow(folder + "/files", [&](const std::string& path, std::string_view name, const struct stat& facts) {
        TrashItem item {.note = folder + "/info/" + std::string(name) + ".trashinfo"};
        item.origin = originIn(TestSupport::read(item.note), top);
        item.tree.emplace("", entryAt(path, facts));
        if (S_ISDIR(facts.st_mode)) {
            Snapshot below;
            lookInto(path, below);
            for (auto& [inside, entry] : below.places) {
                item.tree.emplace(inside.substr(path.size() + 1), std::move(entry));
            }
        }
        snapshot.trash.emplace(path, std::move(item));
    });
}

Snapshot Observer::look()
{
    Snapshot snapshot;
    for (const fs::path& top : tops_) {
        lookInto(top.string(), snapshot);
    }
    return snapshot;
}

} // namespace RandomWalk
