#include "Tests/ManagerCore/RandomWalk/Walk.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <iostream>
#include <linux/securebits.h>
#include <sstream>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <thread>

#include "ManagerCore/Crucible/CrucibleBackup.h"
#include "ManagerCore/Crucible/CrucibleHealth.h"
#include "ManagerCore/Crucible/CrucibleMove.h"
#include "ManagerCore/Crucible/CrucibleProbe.h"
#include "ManagerCore/Crucible/CrucibleRestore.h"
#include "ManagerCore/Crucible/CrucibleRoots.h"
#include "ManagerCore/Crucible/CrucibleServing.h"
#include "ManagerCore/Foundation/FilePath.h"
#include "ManagerCore/Foundation/Remover.h"
#include "ManagerCore/Installers/DatabaseCatalog.h"
#include "ManagerCore/Installers/DatabaseInstaller.h"
#include "ManagerCore/Inventory/Scanner.h"
#include "Tests/Support/Leaks.h"
#include "Tests/Support/Permissions.h"
#include "Tests/Support/Sandbox.h"

namespace RandomWalk
{

namespace
{

using namespace ManagerCore;

constexpr std::size_t remembered = 25; // of what was done last
constexpr std::size_t fullTrash = 60;
constexpr std::size_t wholeCheckEvery = 250;
constexpr const char* linkNotUpdated = "Could not update the link: ";
constexpr const char* linkNotReplaced = "Could not replace the existing link: ";

// Children that are started while this lives get none of root's rights.
class PlainChildren
{
public:
    PlainChildren() { ::prctl(PR_SET_SECUREBITS, SECBIT_NOROOT); }
    ~PlainChildren() { ::prctl(PR_SET_SECUREBITS, 0); }
    PlainChildren(const PlainChildren&) = delete;
    PlainChildren& operator=(const PlainChildren&) = delete;
};

// The program's part of a step: modes hold for it and its children, as they do for who is not root.
template <class Function> auto held(Function function)
{
    [[maybe_unused]] const TestSupport::LeaksOfOthers leaks; // of the Trash, when it refuses
    const PlainChildren children;
    const TestSupport::PermissionsHold hold;
    return function();
}

// The topmost places at which something else stands now, or nothing any more.
std::vector<std::string> changedPlaces(const Snapshot& before, const Snapshot& after)
{
    std::vector<std::string> changed;
    for (const auto& [path, entry] : before.places) {
        const auto now = after.places.find(path);
        const bool same = now != after.places.end() && now->second == entry;
        if (!same && std::ranges::none_of(changed, [&](const std::string& top) { return liesIn(path, top); })) {
            changed.push_back(path);
        }
    }
    return changed;
}

std::string described(const Snapshot& snapshot, const std::string& path)
{
    const auto found = snapshot.places.find(path);
    if (found == snapshot.places.end()) {
        return "nothing";
    }
    std::ostringstream text;
    text << std::oct << found->second.mode << std::dec << " " << found->second.what;
    return text.str();
}

std::string firstDifference(const Snapshot& before, const Snapshot& after)
{
    const auto changed = changedPlaces(before, after);
    if (!changed.empty()) {
        return changed.front() + " was " + described(before, changed.front()) + " and is "
            + described(after, changed.front());
    }
    for (const auto& [path, entry] : after.places) {
        if (!before.places.contains(path)) {
            return path + " came to stand";
        }
    }
    for (const auto& [path, item] : after.trash) {
        if (!before.trash.contains(path)) {
            return path + " came into the Trash";
        }
    }
    return "something in the Trash";
}

std::string firstDifference(const Tree& expected, const Tree& found)
{
    const auto told = [](const Tree& tree, const std::string& path) {
        const auto entry = tree.find(path);
        std::ostringstream text;
        if (entry == tree.end()) {
            return std::string("nothing");
        }
        text << std::oct << entry->second.mode << std::dec << " " << entry->second.modified << " "
             << entry->second.what;
        return text.str();
    };
    for (const Tree& tree : {expected, found}) {
        for (const auto& [path, entry] : tree) {
            if (told(expected, path) != told(found, path)) {
                return ": “" + path + "” was " + told(expected, path) + " and is " + told(found, path);
            }
        }
    }
    return {};
}

// All of the first is in the second.
bool holdsAll(const Tree& part, const Tree& whole)
{
    return std::ranges::all_of(part, [&whole](const auto& entry) {
        const auto found = whole.find(entry.first);
        return found != whole.end() && found->second == entry.second;
    });
}

// Each file and link of the tree is in one of these items of the Trash, or stands somewhere yet.
bool liesInParts(const Tree& tree, const Snapshot& after, const std::set<std::string>& items)
{
    const auto has = [](const auto& entries, const Entry& wanted) {
        return std::ranges::any_of(entries, [&wanted](const auto& entry) { return entry.second == wanted; });
    };
    return std::ranges::all_of(tree, [&](const auto& entry) {
        return entry.second.isFolder() || has(after.places, entry.second)
            || std::ranges::any_of(
                   items, [&](const std::string& item) { return has(after.trash.at(item).tree, entry.second); });
    });
}

// One that has a single name, so that nothing else changes with it.
auto firstFileIn(const Snapshot& now, const std::string& folder)
{
    return std::ranges::find_if(now.places, [&folder](const auto& entry) {
        std::error_code error;
        return entry.second.isFile() && liesIn(entry.first, folder) && fs::hard_link_count(entry.first, error) == 1;
    });
}

bool cameFrom(const TrashItem& item, const std::string& place)
{
    return item.origin == place || placeOf(item.origin) == place
        || fs::path(item.origin).filename() == fs::path(place).filename();
}

std::size_t entriesIn(const char* folder)
{
    std::error_code error;
    return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder, error), fs::directory_iterator()));
}

// The whole line that the place lies in.
void eraseLine(std::string& text, std::size_t place)
{
    const std::size_t before = place == 0 ? std::string::npos : text.rfind('\n', place - 1);
    const std::size_t begin = before == std::string::npos ? 0 : before + 1;
    const std::size_t end = text.find('\n', begin);
    text.erase(begin, end == std::string::npos ? end : end - begin + 1);
}

std::vector<std::string> placesOf(const std::vector<CrucibleRepair::Result>& results)
{
    std::vector<std::string> places;
    places.reserve(results.size());
    for (const CrucibleRepair::Result& result : results) {
        places.push_back(placeOf(result.link));
    }
    return places;
}

} // namespace

Walk::Walk(const fs::path& home, const fs::path& scratch, std::uint64_t seed)
    : dice_(seed)
    , world_(home, scratch, dice_)
    , observer_({home, world_.volumes(), world_.projects(), world_.temporary()})
    , seed_(seed)
{
    // What the system's libraries keep once they were used is there from now on.
    TestSupport::write(home / "first", "first");
    Remover::trash({home / "first"});
    now_ = observer_.look();
    atFirst_ = traces();
}

std::string Walk::complaint() const
{
    std::ostringstream text;
    text << "seed " << seed_ << ", step " << steps_ << ":\n";
    for (const std::string& complaint : complaints_) {
        text << "  " << complaint << "\n";
    }
    text << "The last steps were:\n";
    for (const std::string& told : last_) {
        text << "  " << told << "\n";
    }
    return text.str();
}

std::string Walk::summary() const
{
    std::ostringstream text;
    for (const auto& [kind, counts] : done_) {
        text << kind << " " << counts.first << " done " << counts.second << " refused; ";
    }
    return text.str();
}

void Walk::complain(const std::string& what) { complaints_.push_back(what); }

void Walk::note(const std::string& told)
{
    last_.push_back(std::to_string(steps_) + " " + told);
    if (std::getenv("CODE_MANAGER_WALK_LOG") != nullptr) {
        std::cerr << last_.back() << "\n";
    }
    if (last_.size() > remembered) {
        last_.pop_front();
    }
}

void Walk::countDone(const std::string& kind, bool good)
{
    auto& counts = done_[kind];
    (good ? counts.first : counts.second)++;
}

bool Walk::take(std::size_t steps)
{
    for (std::size_t count = 0; count < steps; count++) {
        steps_++;
        if (!step()) {
            return false;
        }
    }
    observer_.forget();
    if (observer_.look() != now_) {
        complain("reading everything anew shows something else than was known");
    }
    return complaints_.empty();
}

bool Walk::step()
{
    if (dice_.chance(38)) {
        if (const std::string told = ownersDoing(); !told.empty()) {
            note(told);
        }
        now_ = observer_.look();
    } else {
        const Report report = programsDoing();
        if (!report.told.empty()) {
            note(report.told);
            if (steps_ % wholeCheckEvery < 2) {
                observer_.forget();
            }
            Snapshot after = observer_.look();
            check(now_, after, report);
            now_ = std::move(after);
            checkTraces();
            removePart(report);
        }
    }
    for (const std::string& sum : world_.missingIn(now_)) {
        complain("the contents " + sum + " are nowhere any more");
    }
    return complaints_.empty();
}

// How much of a copy there is when it fails depends on its threads: what follows must not.
void Walk::removePart(const Report& report)
{
    if (!report.part.empty()) {
        std::error_code error;
        fs::remove_all(report.part, error);
        now_ = observer_.look();
    }
}

std::string Walk::ownersDoing()
{
    if (now_.trash.size() > fullTrash || dice_.chance(1)) {
        return world_.emptyTrash(now_);
    }
    const std::size_t turn = dice_.below(100);
    if (turn < 22) {
        return world_.makeModel();
    }
    if (turn < 34) {
        return world_.makeProductItem();
    }
    if (turn < 56) {
        return world_.putBack(now_);
    }
    if (turn < 66) {
        return world_.removeCopy(now_);
    }
    if (turn < 71) {
        return world_.changeMode(now_);
    }
    if (turn < 78) {
        return world_.restoreModes(now_);
    }
    if (turn < 82) {
        return world_.makeLinkByHand(now_);
    }
    if (turn < 86) {
        return world_.tidyUp(now_);
    }
    if (turn < 90) {
        return world_.changeDatabase();
    }
    return world_.handleDrive();
}

Report Walk::programsDoing()
{
    using Doing = Report (Walk::*)();
    static constexpr std::array<std::pair<Doing, std::size_t>, 11> doings {{{&Walk::move, 32},
                                                                            {&Walk::setRoot, 8},
                                                                            {&Walk::serve, 10},
                                                                            {&Walk::repair, 9},
                                                                            {&Walk::backUp, 5},
                                                                            {&Walk::restore, 8},
                                                                            {&Walk::scanAndTrash, 7},
                                                                            {&Walk::trashSomething, 7},
                                                                            {&Walk::installDatabase, 7},
                                                                            {&Walk::removeDatabase, 4},
                                                                            {&Walk::look, 3}}};
    std::size_t turn = dice_.below(100);
    for (const auto& [doing, weight] : doings) {
        if (turn < weight) {
            return (this->*doing)();
        }
        turn -= weight;
    }
    return {};
}

// ---- the program's operations ----

std::vector<fs::path> Walk::roots() const
{
    std::vector<fs::path> all = world_.stores();
    all.push_back(world_.rootLink());
    return all;
}

fs::path Walk::somePathIn(const fs::path& folder)
{
    const std::string base = FilePath::resolved(folder).string();
    if (dice_.chance(5)) {
        return folder / "models/none";
    }
    std::vector<std::string> models;
    std::vector<std::string> others;
    for (auto entry = now_.places.lower_bound(base + "/"); entry != now_.places.end() && liesIn(entry->first, base);
         ++entry) {
        const std::string below = entry->first.substr(base.size() + 1);
        (below.starts_with("models/") && std::ranges::count(below, '/') < 3 ? models : others).push_back(below);
    }
    const auto& chosen = models.empty() || dice_.chance(15) ? others : models;
    return chosen.empty() ? folder : folder / dice_.pick(chosen);
}

void Walk::checkUntouched(const std::string& what)
{
    if (const Snapshot now = observer_.look(); now != now_) {
        complain(what + " changed something: " + firstDifference(now_, now));
    }
}

void Walk::checkForetold(const std::string& told, const Outcome& foretold, const Outcome& outcome)
{
    if (!foretold.ok && outcome != foretold) {
        complain(told + ": foretold was \"" + foretold.message + "\"");
    }
    if (outcome.message.empty()) {
        complain(told + " said nothing");
    }
}

// Of what changes links alone.
Report Walk::reportOf(const std::string& told, const Outcome& outcome, const Outcome& foretold)
{
    Report report {.told = told + " => " + (outcome.ok ? "" : "REFUSED ") + outcome.message};
    checkForetold(report.told, foretold, outcome);
    const bool half = outcome.message.starts_with(linkNotUpdated);
    if (foretold.ok && !outcome.ok && !half && !outcome.message.starts_with(linkNotReplaced)) {
        complain(report.told + ": nothing of that was foretold");
    }
    report.unchanged = !outcome.ok && (!foretold.ok || !half);
    return report;
}

// Mostly one that can be done.
Walk::Way Walk::someMove()
{
    Way way;
    const bool any = dice_.chance(25);
    for (int tries = 12; tries > 0; tries--) {
        way.from = dice_.pick(roots());
        way.to = dice_.pick(roots());
        way.node = somePathIn(dice_.chance(95) ? way.from : dice_.pick(roots()));
        const std::string place = placeOf(way.node);
        const auto found = now_.places.find(place);
        const Drive* const drive = world_.driveOf(place);
        const auto relative = CrucibleAdmin::relativePath(way.node, way.from);
        if (any
            || (found != now_.places.end() && !found->second.isLink() && relative
                && (drive == nullptr || drive->hasTrash())
                && !now_.places.contains(placeOf(FilePath::appending(way.to, *relative))))) {
            break;
        }
    }
    return way;
}

Report Walk::move()
{
    enum class Trouble : std::uint8_t { none, stop, fill, pullSource, pullDestination, addition, rewriting };
    static constexpr std::array<const char*, 7> names {"",
                                                       " stopped",
                                                       " destination filled",
                                                       " source pulled",
                                                       " destination pulled",
                                                       " file added",
                                                       " file rewritten"};
    const auto [node, from, to] = someMove();
    const auto trouble = dice_.chance(65) ? Trouble::none : static_cast<Trouble>(1 + dice_.below(6));
    const std::size_t moment = dice_.below(6);
    Drive* const source = world_.driveOf(FilePath::resolved(from));
    Drive* const destination = world_.driveOf(FilePath::resolved(to));
    Drive* const pulled = trouble == Trouble::pullSource ? source
        : trouble == Trouble::pullDestination            ? destination
                                                         : nullptr;
    const fs::path addition = node / ("added " + std::to_string(steps_));
    const auto relative = CrucibleAdmin::relativePath(node, from);
    const fs::path copy = relative ? FilePath::appending(to, *relative) : fs::path();
    const std::string nodePlace = placeOf(node);
    const std::string copyPlace = relative ? placeOf(copy) : std::string();

    const Outcome foretold = held([&] { return CrucibleMove::foretell(node, from, to); });
    checkUntouched("foretelling a move");
    std::size_t pieces = 0;
    bool taken = false;
    std::optional<Entry> rewritten;
    const auto victim = firstFileIn(now_, nodePlace);
    TreeCopier::Watcher watcher([&](const TreeCopier::Progress&) {
        if (pieces++ != moment) {
            return;
        }
        if (trouble == Trouble::stop) {
            watcher.stop();
        } else if (trouble == Trouble::fill && destination != nullptr) {
            destination->fill();
        } else if (pulled != nullptr) {
            taken = pulled->takeAway();
        } else if (trouble == Trouble::addition) {
            world_.addFile(addition, 50);
        } else if (trouble == Trouble::rewriting && victim != now_.places.end()) {
            rewritten = world_.rewrite(victim->first, victim->second);
        }
    });
    const Outcome outcome = held([&] { return CrucibleMove::relocate(node, from, to, &watcher); });
    if (taken && !pulled->bringBack()) {
        complain("the drive does not come back");
    }
    if (rewritten) {
        now_.places[victim->first] = *rewritten;
    }
    countDone("move", outcome.ok);
    Report report {.told = "move " + node.string() + " from " + from.string() + " to " + to.string()
                       + names.at(static_cast<std::size_t>(trouble)) + " => " + (outcome.ok ? "" : "REFUSED ")
                       + outcome.message};
    checkForetold(report.told, foretold, outcome);
    report.unchanged = !foretold.ok;
    report.keepsLinks = outcome.ok;
    report.places = {nodePlace};
    if (relative) {
        report.places.insert(copyPlace);
    }
    if (!outcome.ok && relative && !now_.places.contains(copyPlace) && !outcome.message.starts_with("Copy is good ")
        && !outcome.message.starts_with(linkNotUpdated)) {
        report.part = copyPlace;
    }
    report.thenCheck = [=, this](const Snapshot& before, const Snapshot& after) {
        const Tree original = before.treeAt(nodePlace);
        const bool half = outcome.message.starts_with(linkNotUpdated);
        if (outcome.ok && described(after, nodePlace).find(copy.string()) == std::string::npos) {
            complain("no link to the copy stands at the old place, but " + described(after, nodePlace));
        }
        if ((outcome.ok || half) && after.treeAt(copyPlace) != original) {
            complain("the copy is not what the original was" + firstDifference(original, after.treeAt(copyPlace)));
        }
        if (!outcome.ok && !half && !holdsAll(original, after.treeAt(nodePlace))) {
            complain("the original is not as it was" + firstDifference(original, after.treeAt(nodePlace)));
        }
    };
    return report;
}

Report Walk::setRoot()
{
    const fs::path link = dice_.chance(85) ? world_.rootLink() : somePathIn(dice_.pick(roots()));
    const fs::path to = dice_.chance(70) ? dice_.pick(roots()) : somePathIn(dice_.pick(roots()));
    const std::string place = placeOf(link);
    const Outcome foretold = held([&] { return CrucibleAdmin::foretellSetRoot(link, to); });
    checkUntouched("foretelling the root");
    const Outcome outcome = held([&] { return CrucibleAdmin::setRoot(link, to); });
    countDone("setRoot", outcome.ok);
    Report report = reportOf("set root " + link.string() + " -> " + to.string(), outcome, foretold);
    report.places = {place};
    report.thenCheck = [=, this](const Snapshot& /*before*/, const Snapshot& after) {
        const auto now = after.places.find(place);
        if (outcome.ok
            && (now == after.places.end() || !now->second.isLink() || now->second.what != to.string()
                || !now->second.resolves)) {
            complain("the root link does not lead to the folder: " + described(after, place));
        }
    };
    return report;
}

Report Walk::serve()
{
    const CrucibleTopology topology = held([&] { return CrucibleProbe::layout(world_.identity(), world_.actions()); });
    const CrucibleSite& site = topology.sites[dice_.below(topology.sites.size())];
    const std::string place = placeOf(world_.servedLink());
    const Outcome foretold = held([&] { return CrucibleServing::foretell(topology, site); });
    checkUntouched("foretelling what is served");
    const Outcome outcome = held([&] { return CrucibleServing::serve(topology, site); });
    countDone("serve", outcome.ok);
    Report report = reportOf("serve " + site.declared, outcome, foretold);
    report.places = {place};
    report.keepsLinks = outcome.ok;
    report.thenCheck = [=, this](const Snapshot& /*before*/, const Snapshot& after) {
        const auto now = after.places.find(place);
        if (outcome.ok && (now == after.places.end() || !now->second.isLink() || !now->second.resolves)) {
            complain("the served link leads nowhere: " + described(after, place));
        }
    };
    return report;
}

// Of what works on one link after the other.
Report
Walk::reportOf(const std::string& told, Results results, const Results& foretold, std::vector<std::string> placesBefore)
{
    Report report {.told = told};
    bool any = false;
    for (const CrucibleRepair::Result& result : results) {
        report.told += "\n      " + std::string(result.repaired ? "" : "REFUSED ") + result.link.string() + ": "
            + result.message;
        any = any || result.repaired || result.message.starts_with(linkNotUpdated);
        report.places.insert(placeOf(result.link));
        if (result.message.empty()) {
            complain(result.link.string() + " got no message");
        }
    }
    if (results.size() != foretold.size()) {
        complain("there are " + std::to_string(results.size()) + " results, foretold were "
                 + std::to_string(foretold.size()));
    }
    report.places.insert(placesBefore.begin(), placesBefore.end());
    placesBefore.resize(results.size());
    report.unchanged = !any;
    report.thenCheck = [this, results, placesBefore](const Snapshot& /*before*/, const Snapshot& after) {
        const std::vector<std::string> places = placesOf(results);
        for (std::size_t index = 0; index < results.size(); index++) {
            // What a later link took the place of may have been on the way to this one.
            const bool wasLast = places[index] == placesBefore.at(index)
                && std::none_of(results.begin() + static_cast<std::ptrdiff_t>(index) + 1,
                                results.end(),
                                [](const CrucibleRepair::Result& later) {
                                    return later.repaired || later.message.starts_with(linkNotUpdated);
                                });
            const auto now = after.places.find(places[index]);
            if (results[index].repaired && wasLast && (now == after.places.end() || !now->second.isLink())) {
                complain("no link stands at " + places[index] + ", but " + described(after, places[index]));
            }
        }
    };
    return report;
}

Report Walk::repair()
{
    const auto scanned = dice_.chance(70) ? CrucibleRoots::all() : std::vector {dice_.pick(roots())};
    const fs::path linkRoot = dice_.chance(60) || scanned.empty() ? dice_.pick(roots()) : scanned.front();
    std::vector<fs::path> candidates = CrucibleRoots::all();
    for (std::size_t count = dice_.below(3); count > 0; count--) {
        candidates.push_back(dice_.pick(roots()));
    }
    const auto findings = held([&] { return CrucibleHealth::scanAll(scanned); });
    const Results foretold
        = held([&] { return CrucibleRepair::repair(findings, linkRoot, candidates, &CrucibleAdmin::foretellRepoint); });
    checkUntouched("foretelling a repair");
    auto placesBefore = placesOf(foretold);
    Results results = held([&] { return CrucibleRepair::repair(findings, linkRoot, candidates); });
    for (const CrucibleRepair::Result& result : results) {
        countDone("repair", result.repaired);
        if (result.repaired && !FilePath::exists(result.link)) {
            complain("the repaired link " + result.link.string() + " leads nowhere");
        }
    }
    Report report
        = reportOf("repair below " + linkRoot.string(), std::move(results), foretold, std::move(placesBefore));
    report.keepsLinks = true;
    return report;
}

Report Walk::backUp()
{
    const auto scanned = dice_.chance(60) ? CrucibleRoots::all() : roots();
    documents_.push_back(held([&] { return CrucibleBackup::exported(scanned, CrucibleRoots::configPath()); }));
    if (documents_.size() > 6) {
        documents_.erase(documents_.begin());
    }
    countDone("backUp", true);
    return {.told = "back up", .unchanged = true, .keepsLinks = true};
}

Report Walk::restore()
{
    if (documents_.empty()) {
        return {};
    }
    std::string document = dice_.pick(documents_);
    if (dice_.chance(20)) {
        document += dice_.pick(documents_);
    }
    for (std::size_t count = dice_.below(3); count > 0; count--) {
        eraseLine(document, dice_.below(document.size()));
    }
    const Results foretold = held([&] { return CrucibleRestore::restore(document, &CrucibleAdmin::foretellRepoint); });
    checkUntouched("foretelling a restoration");
    auto placesBefore = placesOf(foretold);
    // What is written elsewhere nobody would look at.
    if (!std::ranges::all_of(placesBefore, [this](const std::string& place) { return world_.holds(place); })) {
        complain("the document leads out of the world");
        return {.told = "restore"};
    }
    Results results = held([&] { return CrucibleRestore::restore(document); });
    for (const CrucibleRepair::Result& result : results) {
        countDone("restore", result.repaired);
    }
    Report report = reportOf("restore", std::move(results), foretold, std::move(placesBefore));
    report.many = true;
    return report;
}

Report Walk::trash(const std::string& told, std::vector<fs::path> paths)
{
    std::vector<std::string> places;
    std::erase_if(paths, [&places](const fs::path& path) {
        const std::string place = placeOf(path);
        const bool nested = std::ranges::any_of(
            places, [&place](const std::string& other) { return liesIn(place, other) || liesIn(other, place); });
        if (!nested) {
            places.push_back(place);
        }
        return nested;
    });
    const auto results = held([&] { return Remover::trash(paths); });
    Report report {.told = told, .places = {places.begin(), places.end()}, .unchanged = true};
    for (const Remover::Result& result : results) {
        report.told += "\n      " + result.path + ": " + result.error.value_or("trashed");
        report.unchanged = report.unchanged && !result.trashed;
        countDone("trash", result.trashed);
        if (result.trashed == result.error.has_value() || (result.error && result.error->empty())) {
            complain("the Trash said nothing of " + result.path);
        }
    }
    report.thenCheck = [=, this](const Snapshot& before, const Snapshot& after) {
        for (std::size_t index = 0; index < places.size(); index++) {
            const bool trashed = index < results.size() && results[index].trashed;
            const Tree now = after.treeAt(places[index]);
            if (trashed ? !now.empty() : now != before.treeAt(places[index])) {
                complain(places[index] + (trashed ? " is still there" : " is not as it was"));
            }
        }
    };
    return report;
}

Report Walk::scanAndTrash()
{
    const Identity identity = world_.identity();
    const auto stores = world_.stores();
    const auto items = held([&] { return Scanner::scan(identity); });
    checkUntouched("the scan");
    std::vector<fs::path> chosen;
    for (std::size_t count = 1 + dice_.below(3); count > 0 && !items.empty(); count--) {
        const fs::path& url = dice_.pick(items).url;
        const bool isStore = std::ranges::count(stores, url) > 0 || url == world_.rootLink().parent_path();
        if (!isStore || dice_.chance(15)) {
            chosen.push_back(url);
        }
    }
    return trash("scan, tick and trash", std::move(chosen));
}

Report Walk::trashSomething()
{
    std::vector<fs::path> chosen;
    for (std::size_t count = 1 + dice_.below(2); count > 0; count--) {
        chosen.push_back(somePathIn(dice_.chance(20) ? world_.home() : dice_.pick(roots())));
    }
    return trash("trash", std::move(chosen));
}

Report Walk::installDatabase()
{
    const Database database = dice_.pick(DatabaseCatalog::load());
    const std::string place = placeOf(database.destPath());
    const std::string source = placeOf(database.sourcePath());
    const Proc::Out out = held([&] { return DatabaseInstaller::install(database); });
    countDone("install database", out.ok());
    Report report {.told = "install " + database.id + " => " + std::to_string(out.code) + " " + out.stderr};
    report.places = {place};
    report.keepsLinks = out.ok();
    const auto begins = [&out](const char* words) { return out.stderr.starts_with(words); };
    report.unchanged = !out.ok() && (begins("source not found") || begins("The source ") || begins("What stands at "));
    if (!out.ok() && out.stderr.empty()) {
        complain("a database was refused without a word");
    }
    report.thenCheck = [=, this](const Snapshot& before, const Snapshot& after) {
        if (out.ok() && after.treeAt(place) != before.treeAt(source)) {
            complain("the database is not what its source is"
                     + firstDifference(before.treeAt(source), after.treeAt(place)));
        }
    };
    return report;
}

Report Walk::removeDatabase()
{
    const Database database = dice_.pick(DatabaseCatalog::load());
    const std::string place = placeOf(database.destPath());
    const auto results = held([&] { return DatabaseInstaller::uninstall(database); });
    const bool trashed = results.size() == 1 && results.front().trashed;
    countDone("remove database", trashed);
    Report report {
        .told = "remove " + database.id + (trashed ? "" : " => REFUSED"), .places = {place}, .unchanged = !trashed};
    report.thenCheck = [=, this](const Snapshot& /*before*/, const Snapshot& after) {
        if (trashed && after.places.contains(place)) {
            complain("the removed database is still there");
        }
    };
    return report;
}

Report Walk::look()
{
    held([&] {
        CrucibleProbe::topology(world_.identity(), world_.actions());
        CrucibleHealth::scanAll(roots());
        return DatabaseCatalog::load();
    });
    countDone("look", true);
    return {.told = "look", .unchanged = true, .keepsLinks = true};
}

// ---- what must hold ----

void Walk::check(const Snapshot& before, const Snapshot& after, const Report& report)
{
    if (report.unchanged) {
        if (before != after) {
            complain("nothing should have changed: " + firstDifference(before, after));
        }
        return;
    }
    checkNothingLost(before, after, report);
    checkAdded(before, after, report);
    if (report.keepsLinks) {
        checkLinks(before, after);
    }
    if (report.thenCheck) {
        report.thenCheck(before, after);
    }
}

// What is in the Trash stays there as it is, and each new item can be put back.
void Walk::checkTrash(const Snapshot& before, const Snapshot& after, std::set<std::string>& gained)
{
    for (const auto& [path, item] : before.trash) {
        const auto now = after.trash.find(path);
        if (now == after.trash.end() || now->second != item) {
            complain(path + " is not in the Trash as it was");
        }
    }
    for (const auto& [path, item] : after.trash) {
        if (!before.trash.contains(path)) {
            gained.insert(path);
            if (item.origin.empty()) {
                complain(path + " has no note that tells where it came from");
            }
        }
    }
}

// Whatever stands no more where it stood went to the Trash as it was.
void Walk::checkNothingLost(const Snapshot& before, const Snapshot& after, const Report& report)
{
    std::set<std::string> gained;
    checkTrash(before, after, gained);
    std::set<std::string> changed;
    for (const std::string& place : changedPlaces(before, after)) {
        // What took the whole place may be the same but for this.
        const auto whole = std::ranges::find_if(
            report.places, [&place](const std::string& allowed) { return liesIn(place, allowed); });
        changed.insert(report.places.contains(place) || whole == report.places.end() ? place : *whole);
    }
    for (const std::string& place : changed) {
        if (!report.places.contains(place)) {
            complain(place + " was none of its business: was " + described(before, place) + ", is "
                     + described(after, place));
        }
        const Tree tree = before.treeAt(place);
        const auto found = std::ranges::find_if(gained, [&](const std::string& path) {
            const TrashItem& item = after.trash.at(path);
            return cameFrom(item, place) && item.tree == tree;
        });
        if (found != gained.end()) {
            gained.erase(found);
        } else if (!report.many || !liesInParts(tree, after, gained)) {
            complain(place + " is gone and not in the Trash as it was");
        }
    }
    for (const std::string& path : gained) {
        const Tree& tree = after.trash.at(path).tree;
        // What came to stand at its place may be the same.
        const bool wasThere = std::ranges::any_of(
            report.places, [&](const std::string& place) { return before.treeAt(place) == tree; });
        // Of places that lie in one another the outer one goes there without what went before.
        if (!wasThere && !report.many) {
            complain(path + " came into the Trash from nowhere");
        }
    }
}

void Walk::checkAdded(const Snapshot& before, const Snapshot& after, const Report& report)
{
    for (const auto& [path, entry] : after.places) {
        const bool known
            = before.places.contains(path) || std::ranges::any_of(report.places, [&path](const std::string& place) {
                  return liesIn(path, place) || liesIn(place, path);
              });
        if (!known) {
            complain(path + " came to stand where nothing was to be made");
        }
    }
}

void Walk::checkLinks(const Snapshot& before, const Snapshot& after)
{
    for (const auto& [path, entry] : before.places) {
        const auto now = after.places.find(path);
        // A link that leads up through a folder's own name is lost with every move of the folder.
        const bool leadsUp = entry.what.find("..") != std::string::npos;
        if (entry.isLink() && entry.resolves && !leadsUp && now != after.places.end() && now->second.isLink()
            && !now->second.resolves) {
            complain("the link " + path + " leads nowhere any more: " + now->second.what);
        }
    }
}

Walk::Traces Walk::traces() const
{
    return {.descriptors = entriesIn("/proc/self/fd"), .threads = entriesIn("/proc/self/task")};
}

void Walk::checkTraces()
{
    Traces now = traces();
    // A thread that was joined is in the system's list for a moment yet.
    const auto latest = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (now.threads > atFirst_.threads && std::chrono::steady_clock::now() < latest) {
        std::this_thread::yield();
        now = traces();
    }
    if (now.descriptors > atFirst_.descriptors) {
        complain(std::to_string(now.descriptors - atFirst_.descriptors) + " descriptors were left open");
    }
    if (now.threads > atFirst_.threads) {
        complain(std::to_string(now.threads - atFirst_.threads) + " threads go on");
    }
    if (::waitpid(-1, nullptr, WNOHANG) != -1) {
        complain("a child process was left");
    }
}

} // namespace RandomWalk
