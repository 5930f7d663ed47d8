#pragma once

#include <cstdint>
#include <deque>
#include <filesystem>
#include <map>
#include <random>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

#include "ManagerCore/Foundation/Identity.h"
#include "ManagerCore/Foundation/ManagerActions.h"
#include "Tests/Support/Sandbox.h"

// A home with a product in it, its weights on several drives, and what its owner does to them.
namespace RandomWalk
{

namespace fs = std::filesystem;

// Gives the same numbers for the same seed on every machine.
class Dice
{
public:
    explicit Dice(std::uint64_t seed)
        : engine_(seed)
    {
    }
    std::size_t below(std::size_t count) { return static_cast<std::size_t>(engine_() % count); }
    bool chance(unsigned percent) { return below(100) < percent; }
    template <class Container> const auto& pick(const Container& from) { return from[below(from.size())]; }

private:
    std::mt19937_64 engine_;
};

struct Entry {
    mode_t mode = 0;
    std::int64_t modified = 0; // nanoseconds; 0 for folders, which change with their entries
    std::string content; // a file's length and hash, a link's destination
    bool dangling = false; // not compared: it depends on other entries

    bool operator==(const Entry& other) const
    {
        return mode == other.mode && modified == other.modified && content == other.content;
    }
    [[nodiscard]] bool isFolder() const;
    [[nodiscard]] bool isFile() const;
    [[nodiscard]] bool isLink() const;
};

using Tree = std::map<std::string, Entry>;

struct Snapshot {
    Tree places; // by path, without the Trash
    Tree trash; // by path, the notes included

    bool operator==(const Snapshot&) const = default;
    // The entries at and below a path, by their path relative to it.
    [[nodiscard]] Tree treeAt(const std::string& path) const;
};

bool isInside(std::string_view path, std::string_view folder);

// The path with the links of its parent folders resolved, as a snapshot has it.
std::string placeOf(const fs::path& path);

// A file system that can be disconnected while it is in use.
class Drive
{
public:
    Drive(fs::path mountPoint, const fs::path& media, const std::string& type);
    ~Drive();
    Drive(const Drive&) = delete;
    Drive& operator=(const Drive&) = delete;

    [[nodiscard]] const fs::path& top() const { return mountPoint_; }
    [[nodiscard]] bool isConnected() const { return connected_; }
    [[nodiscard]] bool isReadOnly() const { return readOnly_; }
    [[nodiscard]] bool isFull() const;
    void connect();
    void disconnect();
    void setReadOnly(bool readOnly);
    void fill() const;
    void makeRoom() const;

private:
    TestSupport::MountedVolume medium_; // mounted out of sight; a bind mount shows it at the mount point
    fs::path mountPoint_;
    bool connected_ = false;
    bool readOnly_ = false;
};

class World
{
public:
    World(fs::path home, fs::path scratch, Dice& dice);
    ~World();
    World(const World&) = delete;
    World& operator=(const World&) = delete;

    [[nodiscard]] Snapshot snapshot() const;
    [[nodiscard]] fs::path rootLink() const { return home_ / ".zyn/crucible"; }
    [[nodiscard]] fs::path servedLink() const { return home_ / ".zyn/served-model"; }
    [[nodiscard]] std::vector<fs::path> stores() const;
    [[nodiscard]] Drive* driveOf(const fs::path& path);
    [[nodiscard]] bool contains(const std::string& path) const;
    [[nodiscard]] ManagerCore::Identity identity() const;
    [[nodiscard]] ManagerCore::ManagerActions actions() const { return {.modelServed = servedLink().string()}; }

    // One random act of the owner, as a line of the log; empty when it was not possible.
    std::string ownerActs(const Snapshot& now);
    // Fails where a file exists.
    bool addFile(const fs::path& file, std::size_t size);

private:
    [[nodiscard]] fs::path volumes() const { return scratch_ / "Volumes"; }
    std::string makeModel();
    std::string makeProductItem();
    std::string putBack(const Snapshot& now);
    std::string removeCopy(const Snapshot& now);
    std::string changeMode(const Snapshot& now);
    std::string restoreModes(const Snapshot& now);
    std::string makeLink(const Snapshot& now);
    std::string resetLinks(const Snapshot& now);
    std::string handleDrive();
    void makeModelAt(const fs::path& folder);
    void describeDatabase(const std::string& id, const fs::path& source, const std::string& destination);

    fs::path home_;
    fs::path scratch_;
    Dice& dice_;
    std::deque<Drive> drives_;
    std::size_t made_ = 0;
};

} // namespace RandomWalk
