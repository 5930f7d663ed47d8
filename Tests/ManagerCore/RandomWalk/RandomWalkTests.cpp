// Random operations of the program and its owner, after each of which the rules below must hold. The number of steps
// comes from CODE_MANAGER_WALK_STEPS (300), the seed from CODE_MANAGER_WALK_SEED.

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <linux/securebits.h>
#include <optional>
#include <set>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <thread>

#include "ManagerCore/Crucible/CrucibleBackup.h"
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
#include "Tests/ManagerCore/RandomWalk/World.h"
#include "Tests/Support/Permissions.h"

namespace
{

using namespace ManagerCore;
using RandomWalk::Entry;
using RandomWalk::isInside;
using RandomWalk::placeOf;
using RandomWalk::Snapshot;
using RandomWalk::Tree;
using Outcome = CrucibleAdmin::Outcome;
using Results = std::vector<CrucibleRepair::Result>;
namespace fs = std::filesystem;

// What an operation may have changed, and what must be true after it.
struct Report {
    std::string text; // empty when nothing was done
    std::set<std::string> places; // may be moved to the Trash or created; none: nothing may have changed
    bool keepsLinks = false; // no link may have become dangling
    std::function<void(const Snapshot& before, const Snapshot& after)> check;
};

// Runs the program's part of a step without root's exemption from permissions, for children too.
template <class Function> auto asProgram(Function function)
{
    const TestSupport::PermissionsHold hold;
    ::prctl(PR_SET_SECUREBITS, SECBIT_NOROOT);
    auto result = function();
    ::prctl(PR_SET_SECUREBITS, 0);
    return result;
}

std::set<std::string> contents(const Snapshot& snapshot)
{
    std::set<std::string> all;
    for (const Tree& tree : {snapshot.places, snapshot.trash}) {
        for (const auto& [path, entry] : tree) {
            if (entry.isFile() && !path.ends_with(".trashinfo")) {
                all.insert(entry.content);
            }
        }
    }
    return all;
}

std::ptrdiff_t entriesIn(const char* folder)
{
    return std::distance(fs::directory_iterator(folder), fs::directory_iterator());
}

class RandomWalkTest : public TestSupport::SandboxTest
{
protected:
    void SetUp() override
    {
        if (!TestSupport::isRoot()) {
            GTEST_SKIP() << "mounts drives, which takes root";
        }
        TestSupport::write(home() / "first", "first");
        Remover::trash({home() / "first"}); // GIO keeps a thread and descriptors from its first use on
        world_.emplace(home(), scratch(), dice_);
        now_ = world_->snapshot();
        descriptors_ = entriesIn("/proc/self/fd");
        threads_ = entriesIn("/proc/self/task");
    }

    static std::uint64_t number(const char* variable, std::uint64_t otherwise)
    {
        const char* given = std::getenv(variable);
        return given != nullptr ? std::strtoull(given, nullptr, 10) : otherwise;
    }

    void step()
    {
        if (dice_.chance(38)) {
            log_.push_back("the owner " + world_->ownerActs(now_));
            now_ = world_->snapshot();
            return;
        }
        const Report report = programActs();
        if (report.text.empty()) {
            return;
        }
        log_.push_back(report.text);
        const Snapshot after = world_->snapshot();
        checkPlaces(now_, after, report);
        checkTrash(now_, after);
        if (report.keepsLinks) {
            checkLinks(now_, after);
        }
        if (report.check) {
            report.check(now_, after);
        }
        checkProcess();
        now_ = world_->snapshot(); // without a partial copy
    }

    // The last steps, for a failure.
    [[nodiscard]] std::string log() const
    {
        std::string text;
        for (std::size_t at = log_.size() - std::min<std::size_t>(log_.size(), 25); at < log_.size(); at++) {
            text += std::to_string(at) + " " + log_[at] + "\n";
        }
        return text;
    }

private:
    Report programActs()
    {
        const std::size_t turn = dice_.below(100);
        return turn < 34 ? move()
            : turn < 42  ? setRoot()
            : turn < 53  ? serve()
            : turn < 63  ? repair()
            : turn < 68  ? backUp()
            : turn < 76  ? restore()
            : turn < 89  ? trash()
                         : database();
    }

    // ---- what must hold after each operation ----

    // No content is lost, and nothing changes outside the places of the operation.
    void checkPlaces(const Snapshot& before, const Snapshot& after, const Report& report)
    {
        if (report.places.empty()) {
            expectSame(before.trash, after.trash);
        }
        const std::set<std::string> left = contents(after);
        for (const std::string& content : contents(before)) {
            EXPECT_TRUE(left.contains(content)) << content << " is lost";
        }
        const auto expectAllowed = [&report](const Tree& from, const Tree& to) {
            for (const auto& [path, entry] : from) {
                const auto other = to.find(path);
                const bool allowed = std::ranges::any_of(report.places, [&path](const std::string& place) {
                    return isInside(path, place) || isInside(place, path);
                });
                EXPECT_TRUE(allowed || (other != to.end() && other->second == entry)) << path << " changed";
            }
        };
        expectAllowed(before.places, after.places);
        expectAllowed(after.places, before.places);
    }

    // Items in the Trash stay as they are, and each new one has a note.
    static void checkTrash(const Snapshot& before, const Snapshot& after)
    {
        for (const auto& [path, entry] : before.trash) {
            const auto found = after.trash.find(path);
            EXPECT_TRUE(found != after.trash.end() && found->second == entry) << path << " changed in the Trash";
        }
        for (const auto& [path, entry] : after.trash) {
            const fs::path item = path;
            if (item.parent_path().filename() == "files" && !before.trash.contains(path)) {
                const std::string note
                    = item.parent_path().parent_path() / "info" / (item.filename().string() + ".trashinfo");
                EXPECT_TRUE(after.trash.contains(note)) << path << " has no note";
            }
        }
    }

    static void checkLinks(const Snapshot& before, const Snapshot& after)
    {
        for (const auto& [path, entry] : before.places) {
            const auto found = after.places.find(path);
            // A destination with ".." depends on the folder that the link is in.
            const bool movable = entry.content.find("..") == std::string::npos;
            if (entry.isLink() && !entry.dangling && movable && found != after.places.end()) {
                EXPECT_FALSE(found->second.isLink() && found->second.dangling) << path << " has become dangling";
            }
        }
    }

    void checkProcess() const
    {
        const auto latest = std::chrono::steady_clock::now() + std::chrono::seconds(5);
        while (entriesIn("/proc/self/task") > threads_ && std::chrono::steady_clock::now() < latest) {
            std::this_thread::yield(); // a joined thread is listed a moment longer
        }
        EXPECT_LE(entriesIn("/proc/self/task"), threads_) << "threads are left";
        EXPECT_LE(entriesIn("/proc/self/fd"), descriptors_) << "descriptors are left";
        EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "a child is left";
    }

    static void expectSame(const Tree& before, const Tree& after)
    {
        for (const Tree& tree : {before, after}) {
            for (const auto& [path, entry] : tree) {
                EXPECT_TRUE(before.contains(path) && after.contains(path) && before.at(path) == after.at(path)) << path;
            }
        }
    }

    void expectUnchanged(const char* what) const
    {
        SCOPED_TRACE(what);
        const Snapshot now = world_->snapshot();
        expectSame(now_.places, now.places);
        expectSame(now_.trash, now.trash);
    }

    // A refusal is the same in the dry run and the run.
    static void expectSame(const Outcome& dryRun, const Outcome& outcome)
    {
        EXPECT_FALSE(outcome.message.empty());
        if (!dryRun.ok) {
            EXPECT_EQ(dryRun.message, outcome.message);
            EXPECT_FALSE(outcome.ok);
        }
    }

    // ---- the program's operations ----

    [[nodiscard]] std::vector<fs::path> roots() const
    {
        std::vector<fs::path> all = world_->stores();
        all.push_back(world_->rootLink());
        return all;
    }

    fs::path somePathIn(const fs::path& folder)
    {
        const std::string base = FilePath::resolved(folder).string();
        std::vector<std::string> found {"/models/none"};
        for (const auto& [path, entry] : now_.treeAt(base)) {
            if (!path.empty() && (std::ranges::count(path, '/') < 4 || dice_.chance(5))) {
                found.push_back(path);
            }
        }
        return folder.string() + dice_.pick(found);
    }

    struct Move {
        fs::path node;
        fs::path from;
        fs::path to;
    };

    // Mostly one that is possible.
    Move someMove()
    {
        Move move;
        for (int tries = 12; tries > 0; tries--) {
            move.from = dice_.pick(roots());
            move.to = dice_.pick(roots());
            move.node = somePathIn(dice_.chance(95) ? move.from : dice_.pick(roots()));
            const auto relative = CrucibleAdmin::relativePath(move.node, move.from);
            const auto found = now_.places.find(placeOf(move.node));
            const bool possible = relative && found != now_.places.end() && !found->second.isLink()
                && !now_.places.contains(placeOf(FilePath::appending(move.to, *relative)));
            if (possible || dice_.chance(5)) {
                break;
            }
        }
        return move;
    }

    Report move()
    {
        enum Disturbance : std::uint8_t { stop = 1, fill, disconnectSource, disconnectDestination, addFile };
        const auto [node, from, to] = someMove();
        const std::size_t disturbance = dice_.chance(65) ? 0 : 1 + dice_.below(5);
        const std::size_t moment = dice_.below(6);
        RandomWalk::Drive* const destination = world_->driveOf(FilePath::resolved(to));
        RandomWalk::Drive* const pulled = disturbance == disconnectSource ? world_->driveOf(FilePath::resolved(from))
            : disturbance == disconnectDestination                        ? destination
                                                                          : nullptr;
        const auto relative = CrucibleAdmin::relativePath(node, from);
        const std::string original = placeOf(node);
        const std::string copy = relative ? placeOf(FilePath::appending(to, *relative)) : original;

        const Outcome dryRun = asProgram([&] { return CrucibleMove::foretell(node, from, to); });
        expectUnchanged("the dry run of a move");
        std::size_t chunks = 0;
        bool disconnected = false;
        TreeCopier::Watcher watcher([&](const TreeCopier::Progress&) {
            if (chunks++ != moment) {
                return;
            }
            if (disturbance == stop) {
                watcher.stop();
            } else if (disturbance == fill && destination != nullptr) {
                destination->fill();
            } else if (pulled != nullptr) {
                pulled->disconnect();
                disconnected = true;
            } else if (disturbance == addFile) {
                world_->addFile(node / "added meanwhile", 50);
            }
        });
        const Outcome outcome = asProgram([&] { return CrucibleMove::relocate(node, from, to, &watcher); });
        if (disconnected) {
            pulled->connect();
        }
        expectSame(dryRun, outcome);
        Report report {.text = "move " + node.string() + " from " + from.string() + " to " + to.string()
                           + " disturbed by " + std::to_string(disturbance) + " => " + outcome.message};
        report.places = dryRun.ok ? std::set<std::string> {original, copy} : std::set<std::string> {};
        report.keepsLinks = outcome.ok;
        report.check = [=, this](const Snapshot& before, const Snapshot& after) {
            const Tree whole = before.treeAt(original);
            const bool moved = outcome.ok || outcome.message.starts_with("Could not update the link: ");
            if (moved) {
                EXPECT_TRUE(after.treeAt(copy) == whole) << "the copy differs";
            } else {
                const Tree left = after.treeAt(original);
                const bool same = std::ranges::all_of(whole, [&left](const auto& entry) {
                    const auto found = left.find(entry.first);
                    return found != left.end() && found->second == entry.second;
                });
                EXPECT_TRUE(same) << "the original changed";
                removePartialCopy(before, copy);
            }
            if (outcome.ok) {
                EXPECT_TRUE(after.places.at(original).isLink() && !after.places.at(original).dangling);
            }
        };
        return report;
    }

    // How much a failed copy holds depends on its threads; what follows must not.
    void removePartialCopy(const Snapshot& before, const std::string& copy)
    {
        if (!before.places.contains(copy) && !before.treeAt(copy).contains("")) {
            std::error_code error;
            fs::remove_all(copy, error);
        }
    }

    // For operations that set one link.
    Report reportOnLink(const std::string& text, const fs::path& link, const Outcome& dryRun, const Outcome& outcome)
    {
        expectSame(dryRun, outcome);
        const std::string place = placeOf(link);
        Report report {.text = text + " => " + outcome.message, .places = {}, .keepsLinks = false, .check = {}};
        if (dryRun.ok) {
            report.places = {place};
        }
        report.check = [place, outcome](const Snapshot& /*before*/, const Snapshot& after) {
            if (outcome.ok) {
                const auto found = after.places.find(place);
                EXPECT_TRUE(found != after.places.end() && found->second.isLink() && !found->second.dangling) << place;
            }
        };
        return report;
    }

    Report setRoot()
    {
        const fs::path link = dice_.chance(85) ? world_->rootLink() : somePathIn(dice_.pick(roots()));
        const fs::path to = dice_.chance(70) ? dice_.pick(roots()) : somePathIn(dice_.pick(roots()));
        const Outcome dryRun = asProgram([&] { return CrucibleAdmin::foretellSetRoot(link, to); });
        expectUnchanged("the dry run of a root");
        const Outcome outcome = asProgram([&] { return CrucibleAdmin::setRoot(link, to); });
        return reportOnLink("set root " + link.string() + " -> " + to.string(), link, dryRun, outcome);
    }

    Report serve()
    {
        const CrucibleTopology topology
            = asProgram([&] { return CrucibleProbe::layout(world_->identity(), world_->actions()); });
        const CrucibleSite& site = dice_.pick(topology.sites);
        const Outcome dryRun = asProgram([&] { return CrucibleServing::foretell(topology, site); });
        expectUnchanged("the dry run of serving");
        const Outcome outcome = asProgram([&] { return CrucibleServing::serve(topology, site); });
        return reportOnLink("serve " + site.declared, world_->servedLink(), dryRun, outcome);
    }

    // For operations that set a list of links, each of which may be on the path of a later one.
    Report reportOnLinks(const std::string& text, const Results& dryRun, const Results& results)
    {
        Report report {.text = text};
        EXPECT_EQ(dryRun.size(), results.size());
        for (const Results& list : {dryRun, results}) {
            for (const CrucibleRepair::Result& result : list) {
                EXPECT_FALSE(result.message.empty());
                EXPECT_TRUE(world_->contains(placeOf(result.link))) << result.link;
                if (std::ranges::any_of(dryRun, &CrucibleRepair::Result::repaired)) {
                    report.places.insert(placeOf(result.link));
                }
            }
        }
        if (!results.empty() && results.back().repaired) {
            EXPECT_TRUE(FilePath::isLink(results.back().link)) << results.back().link;
        }
        return report;
    }

    Report repair()
    {
        const auto findings = asProgram([&] { return CrucibleHealth::scanAll(CrucibleRoots::all()); });
        const fs::path linkRoot = dice_.pick(roots());
        const std::vector<fs::path> candidates {dice_.pick(roots()), dice_.pick(roots())};
        const Results dryRun = asProgram(
            [&] { return CrucibleRepair::repair(findings, linkRoot, candidates, &CrucibleAdmin::foretellRepoint); });
        expectUnchanged("the dry run of a repair");
        const Results results = asProgram([&] { return CrucibleRepair::repair(findings, linkRoot, candidates); });
        Report report = reportOnLinks("repair below " + linkRoot.string(), dryRun, results);
        report.keepsLinks = true;
        return report;
    }

    Report backUp()
    {
        documents_.push_back(asProgram([&] { return CrucibleBackup::exported(roots(), CrucibleRoots::configPath()); }));
        return {.text = "back up", .places = {}, .keepsLinks = true, .check = {}};
    }

    Report restore()
    {
        if (documents_.empty()) {
            return {};
        }
        std::string document = dice_.pick(documents_) + (dice_.chance(20) ? dice_.pick(documents_) : std::string());
        document.erase(dice_.below(document.size() + 1), dice_.below(20)); // often in the middle of a line
        const Results dryRun
            = asProgram([&] { return CrucibleRestore::restore(document, &CrucibleAdmin::foretellRepoint); });
        expectUnchanged("the dry run of a restoration");
        const bool inside = std::ranges::all_of(
            dryRun, [this](const CrucibleRepair::Result& result) { return world_->contains(placeOf(result.link)); });
        if (!inside) {
            return {}; // the damaged document names a path that the snapshots do not cover
        }
        const Results results = asProgram([&] { return CrucibleRestore::restore(document); });
        return reportOnLinks("restore", dryRun, results);
    }

    Report trash()
    {
        const auto items = asProgram([&] { return Scanner::scan(world_->identity()); });
        expectUnchanged("the scan");
        const fs::path path
            = items.empty() || dice_.chance(50) ? somePathIn(dice_.pick(roots())) : dice_.pick(items).url;
        const std::string place = placeOf(path);
        if (std::ranges::any_of(world_->stores(), [&](const fs::path& store) { return store == place; })) {
            return {};
        }
        const auto results = asProgram([&] { return Remover::trash({path}); });
        const bool trashed = results.at(0).trashed;
        EXPECT_NE(trashed, results.at(0).error.has_value());
        Report report {.text = "trash " + path.string() + " => " + results.at(0).error.value_or("trashed")};
        if (trashed) {
            report.places = {place};
        }
        report.check = [place, trashed](const Snapshot& /*before*/, const Snapshot& after) {
            EXPECT_TRUE(!trashed || after.treeAt(place).empty()) << place << " is still there";
        };
        return report;
    }

    Report database()
    {
        const Database database = dice_.pick(DatabaseCatalog::load());
        const std::string place = placeOf(database.destPath());
        if (dice_.chance(35)) {
            const bool trashed = asProgram([&] { return DatabaseInstaller::uninstall(database); }).at(0).trashed;
            return {.text = "remove " + database.id,
                    .places = trashed ? std::set<std::string> {place} : std::set<std::string> {},
                    .keepsLinks = false,
                    .check = {}};
        }
        const std::string source = placeOf(database.sourcePath());
        const Proc::Out out = asProgram([&] { return DatabaseInstaller::install(database); });
        Report report {.text = "install " + database.id + " => " + out.stderr};
        EXPECT_NE(out.ok(), !out.stderr.empty()) << "a refusal has a message";
        report.places = {place};
        report.check = [=](const Snapshot& before, const Snapshot& after) {
            EXPECT_TRUE(!out.ok() || after.treeAt(place) == before.treeAt(source)) << "the database differs";
        };
        return report;
    }

    TestSupport::EnvironmentVariable databases_ {"CM_DATABASES_DIR", (scratch() / "descriptors").string()};
    TestSupport::EnvironmentVariable temporary_ {"TMPDIR", (scratch() / "temporary").string()};
    TestSupport::EnvironmentVariable path_ {"PATH", "/usr/bin:/bin:/usr/sbin:/sbin"};
    RandomWalk::Dice dice_ {number("CODE_MANAGER_WALK_SEED", 20261121)};
    std::optional<RandomWalk::World> world_;
    Snapshot now_;
    std::vector<std::string> log_;
    std::vector<std::string> documents_;
    std::ptrdiff_t descriptors_ = 0;
    std::ptrdiff_t threads_ = 0;
};

TEST_F(RandomWalkTest, losesNothing)
{
    const std::uint64_t steps = number("CODE_MANAGER_WALK_STEPS", 300);
    for (std::uint64_t count = 0; count < steps && !HasFailure(); count++) {
        step();
    }
    if (HasFailure()) {
        std::cerr << log();
    }
}

} // namespace
