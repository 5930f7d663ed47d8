#pragma once

#include <cstdint>
#include <deque>
#include <filesystem>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "ManagerCore/Foundation/Identity.h"
#include "ManagerCore/Foundation/ManagerActions.h"
#include "Tests/ManagerCore/RandomWalk/Snapshot.h"

// A made home with a product in it, its weights on several drives, and what its owner does to all that.
namespace RandomWalk
{

namespace fs = std::filesystem;

// The same numbers for the same seed, wherever it runs.
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

// A drive that can be taken away and brought back. For root a file system of its own, else a folder.
class Drive
{
public:
    enum class Kind : std::uint8_t { ext4, tmpfs, folder };

    // Makes it and brings it. `store` is where its medium is kept.
    Drive(fs::path mountPoint, const fs::path& store, Kind kind);
    ~Drive();
    Drive(const Drive&) = delete;
    Drive& operator=(const Drive&) = delete;

    [[nodiscard]] const fs::path& top() const { return mountPoint_; }
    [[nodiscard]] bool isHere() const { return here_; }
    [[nodiscard]] bool hasTrash() const { return kind_ != Kind::tmpfs; }
    [[nodiscard]] bool isReadOnly() const { return readOnly_; }
    // Also while it is used: at once.
    bool takeAway();
    bool bringBack();
    bool setReadOnly(bool readOnly);
    // Leaves no room, or makes room again.
    void fill() const;
    void empty() const;
    [[nodiscard]] bool isFilled() const;

private:
    [[nodiscard]] bool plugIn() const;

    fs::path mountPoint_;
    fs::path medium_; // where it is mounted, or lies, for nobody to see
    Kind kind_;
    bool here_ = false;
    bool readOnly_ = false;
};

class World
{
public:
    World(const fs::path& home, const fs::path& scratch, Dice& dice);
    ~World();
    World(const World&) = delete;
    World& operator=(const World&) = delete;

    [[nodiscard]] const fs::path& home() const { return home_; }
    [[nodiscard]] fs::path volumes() const { return scratch_ / "Volumes"; }
    [[nodiscard]] fs::path projects() const { return scratch_ / "projects"; }
    [[nodiscard]] fs::path descriptors() const { return scratch_ / "descriptors"; }
    [[nodiscard]] fs::path temporary() const { return scratch_ / "temporary"; }
    [[nodiscard]] fs::path rootLink() const { return home_ / ".zyn/crucible"; }
    [[nodiscard]] fs::path servedLink() const { return home_ / ".zyn/served-model"; }
    // The stores of weights, each by the path of its folder.
    [[nodiscard]] std::vector<fs::path> stores() const;
    [[nodiscard]] std::deque<Drive>& drives() { return drives_; }
    // Whether the place is one that is looked at.
    [[nodiscard]] bool holds(const std::string& place) const;
    [[nodiscard]] Drive* driveOf(const fs::path& path);
    [[nodiscard]] ManagerCore::Identity identity() const;
    [[nodiscard]] ManagerCore::ManagerActions actions() const;

    // Each does something of its kind, decided by the dice, to what the snapshot shows, and says what.
    std::string makeModel();
    std::string makeProductItem();
    std::string putBack(const Snapshot& now);
    std::string emptyTrash(const Snapshot& now);
    std::string removeCopy(const Snapshot& now);
    std::string changeMode(const Snapshot& now);
    std::string makeLinkByHand(const Snapshot& now);
    std::string handleDrive();
    // The stores are folders again and the two links lead into them.
    std::string tidyUp(const Snapshot& now);
    // The source of a database is not what was installed from it any more.
    std::string changeDatabase();
    // Every folder and file can be written to by its owner again.
    std::string restoreModes(const Snapshot& now);
    // A new file where none stands; false when it cannot be made.
    bool addFile(const fs::path& file, std::size_t size);
    // Writes other bytes into a file, as many as it has; gives what it is then.
    std::optional<Entry> rewrite(const fs::path& file, const Entry& entry);

    // Which contents there must be somewhere, as far as their drives are here.
    [[nodiscard]] std::set<std::string> missingIn(const Snapshot& now) const;

private:
    std::string contents(std::size_t size);
    void makeLinks();
    void makeDatabases();
    void makeModelAt(const fs::path& folder);
    bool takeAway(Drive& drive);
    bool bringBack(Drive& drive);
    // Whether the drive that the path leads to is.
    [[nodiscard]] bool isHere(const fs::path& path);
    [[nodiscard]] bool canBeSpared(const Snapshot& now, const std::string& path) const;

    fs::path home_;
    fs::path scratch_;
    Dice& dice_;
    std::deque<Drive> drives_;
    std::set<std::string> ledger_; // of all files that were made
    std::map<std::string, std::set<std::string>> away_; // by the drive's top, what is on it
    std::size_t made_ = 0;
};

} // namespace RandomWalk
