#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "ManagerCore/Crucible/CrucibleAdmin.h"
#include "ManagerCore/Crucible/CrucibleRepair.h"
#include "ManagerCore/Crucible/TreeCopier.h"
#include "Tests/ManagerCore/RandomWalk/Snapshot.h"
#include "Tests/ManagerCore/RandomWalk/World.h"

namespace RandomWalk
{

// What an operation of the program said, and what it may have changed with that.
struct Report {
    std::string told; // for people; empty when nothing was done
    std::set<std::string> places; // where something may have gone to the Trash or come to stand
    bool unchanged = false; // nothing at all may have changed
    bool keepsLinks = false; // no link that led somewhere may dangle now
    std::string part; // of a copy that failed
    bool many = false; // places that lie in one another, changed one after the other
    std::function<void(const Snapshot& before, const Snapshot& after)> thenCheck;
};

// Does random things to a world, the program's and its owner's, and looks after each whether what must always hold
// does.
class Walk
{
public:
    Walk(const fs::path& home, const fs::path& scratch, std::uint64_t seed);

    // False as soon as something does not hold, which `complaint` tells with the last things that were done.
    bool take(std::size_t steps);
    [[nodiscard]] std::string complaint() const;

    // How often each kind of thing was done and how often it was refused.
    [[nodiscard]] std::string summary() const;

private:
    using Outcome = ManagerCore::CrucibleAdmin::Outcome;
    using Results = std::vector<ManagerCore::CrucibleRepair::Result>;

    struct Traces {
        std::size_t descriptors = 0;
        std::size_t threads = 0;
    };

    struct Way {
        fs::path node;
        fs::path from;
        fs::path to;
    };

    bool step();
    std::string ownersDoing();
    void removePart(const Report& report);
    Report programsDoing();
    void complain(const std::string& what);
    void note(const std::string& told);
    void countDone(const std::string& kind, bool good);

    // ---- the program's operations ----
    Report move();
    Report setRoot();
    Report serve();
    Report repair();
    Report backUp();
    Report restore();
    Report scanAndTrash();
    Report trashSomething();
    Report installDatabase();
    Report removeDatabase();
    Report look();

    // ---- what must hold ----
    void check(const Snapshot& before, const Snapshot& after, const Report& report);
    void checkNothingLost(const Snapshot& before, const Snapshot& after, const Report& report);
    void checkTrash(const Snapshot& before, const Snapshot& after, std::set<std::string>& gained);
    void checkAdded(const Snapshot& before, const Snapshot& after, const Report& report);
    void checkLinks(const Snapshot& before, const Snapshot& after);
    void checkTraces();
    [[nodiscard]] Traces traces() const;

    [[nodiscard]] Report reportOf(const std::string& told, const Outcome& outcome, const Outcome& foretold);
    void checkForetold(const std::string& told, const Outcome& foretold, const Outcome& outcome);
    Report
    reportOf(const std::string& told, Results results, const Results& foretold, std::vector<std::string> placesBefore);
    void checkUntouched(const std::string& what);
    [[nodiscard]] std::vector<fs::path> roots() const;
    [[nodiscard]] fs::path somePathIn(const fs::path& folder);
    [[nodiscard]] Way someMove();
    Report trash(const std::string& told, std::vector<fs::path> paths);

    Dice dice_;
    World world_;
    Observer observer_;
    Snapshot now_;
    Traces atFirst_;
    std::uint64_t seed_;
    std::size_t steps_ = 0;
    std::deque<std::string> last_;
    std::vector<std::string> complaints_;
    std::vector<std::string> documents_;
    std::map<std::string, std::pair<std::size_t, std::size_t>> done_;
};

} // namespace RandomWalk
