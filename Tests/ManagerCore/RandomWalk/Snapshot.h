#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <utility>
#include <vector>

// What stands in the world of a walk at one moment, read from the disk.
namespace RandomWalk
{

struct Entry {
    mode_t mode = 0;
    std::int64_t modified = 0; // in nanoseconds; 0 for folders, which change with what lies in them
    std::string what; // a file's sum, a link's destination
    bool resolves = true; // only a link may not; no matter of the entry's own

    bool operator==(const Entry& other) const
    {
        return mode == other.mode && modified == other.modified && what == other.what;
    }
    [[nodiscard]] bool isFolder() const;
    [[nodiscard]] bool isFile() const;
    [[nodiscard]] bool isLink() const;
};

// Entries by their path below a root, whose own is empty.
using Tree = std::map<std::string, Entry>;

struct TrashItem {
    std::string origin; // where its note says that it came from; empty when it has none
    std::string note; // the note's file
    Tree tree;

    bool operator==(const TrashItem&) const = default;
};

struct Snapshot {
    std::map<std::string, Entry> places; // by path, without the Trash
    std::map<std::string, TrashItem> trash; // by the path of the item

    bool operator==(const Snapshot&) const = default;

    // What stands at the path; empty when nothing does.
    [[nodiscard]] Tree treeAt(const std::string& path) const;
    // The sums of all files, wherever they are.
    [[nodiscard]] std::set<std::string> sums() const;
};

bool liesIn(std::string_view path, std::string_view folder);

// The path with the links of the folders above resolved, the item's own name kept: as a snapshot has it.
std::string placeOf(const std::filesystem::path& path);

std::string sumOf(std::string_view bytes);

// Takes snapshots of some folders. Reads each file once for as long as the system says that it is the same.
class Observer
{
public:
    explicit Observer(std::vector<std::filesystem::path> tops)
        : tops_(std::move(tops))
    {
    }

    Snapshot look();
    // The next look reads every file again.
    void forget() { known_.clear(); }

private:
    struct Known {
        std::int64_t modified = 0;
        std::int64_t changed = 0;
        off_t size = 0;
        std::string sum;
    };

    Entry entryAt(const std::string& path, const struct stat& facts);
    template <class Take> void lookBelow(const std::string& folder, Take take);
    void lookInto(const std::string& folder, Snapshot& snapshot);
    void lookIntoTrash(const std::string& folder, Snapshot& snapshot);

    std::vector<std::filesystem::path> tops_;
    std::map<std::pair<dev_t, ino_t>, Known> known_;
};

} // namespace RandomWalk
