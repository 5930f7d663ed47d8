#include "ManagerCore/Crucible/CrucibleMove.h"

#include <cerrno>
#include <cstdint>
#include <optional>
#include <string>
#include <sys/stat.h>

#include "ManagerCore/Crucible/CrucibleMoveGuard.h"
#include "ManagerCore/Crucible/TreeMeasure.h"
#include "ManagerCore/Foundation/FilePath.h"
#include "ManagerCore/Foundation/Remover.h"
#include "ManagerCore/Foundation/Size.h"
#include "ManagerCore/Foundation/WholeFile.h"
#include "ManagerCore/Platform/ErrorText.h"

namespace ManagerCore::CrucibleMove
{

namespace
{

namespace fs = std::filesystem;
using CrucibleAdmin::Outcome;
using CrucibleMoveGuard::Verdict;

Outcome refused(std::string message) { return {.ok = false, .message = std::move(message)}; }

Outcome copyFailed(const std::string& reason) { return refused("Copy failed (original untouched): " + reason); }

// Absent when the item went to the Trash, else why not.
std::optional<std::string> notTrashed(const fs::path& path)
{
    const auto results = Remover::trash({path});
    if (!results.empty() && results.front().trashed) {
        return std::nullopt;
    }
    return results.empty() ? "?" : results.front().error.value_or("?");
}

// The way a move goes, as far as looking tells.
struct Way {
    std::optional<std::string> refusal;
    fs::path destination;
    Verdict verdict;
};

Way wayOf(const fs::path& node, const fs::path& from, const fs::path& to)
{
    Way way;
    if (FilePath::isLink(node)) {
        way.refusal = node.string() + " is already a link — nothing to move.";
        return way;
    }
    if (!FilePath::exists(node)) {
        way.refusal = "No such node: " + node.string();
        return way;
    }
    const auto relative = CrucibleAdmin::relativePath(node, from);
    if (!relative) {
        way.refusal = node.string() + " is not under " + from.string() + ".";
        return way;
    }
    // The link to the copy could not be made there.
    way.refusal = CrucibleAdmin::refusalOfNamelessPath(node);
    if (way.refusal) {
        return way;
    }
    way.destination = FilePath::appending(to, *relative);
    way.verdict = CrucibleMoveGuard::verdict(way.destination, node);
    if (way.verdict.kind == Verdict::Kind::occupied) {
        way.refusal = way.verdict.message;
    }
    return way;
}

std::optional<std::string> copy(TreeCopier& copier, const fs::path& destination, TreeCopier::Watcher* watcher)
{
    if (auto error = WholeFile::makeFolders(destination.parent_path(), S_IRWXU | S_IRWXG | S_IRWXO)) {
        return error;
    }
    return copier.copy(watcher);
}

// What there is to say against taking the original away now that it is copied.
std::optional<Outcome> notVerified(const fs::path& node,
                                   const fs::path& destination,
                                   std::int64_t size,
                                   const TreeCopier& copier,
                                   const TreeCopier::Watcher* watcher)
{
    // By blocks the two need not be equal: file systems count some of their own among them.
    if (!TreeMeasure::isComplete(destination, node)) {
        return refused("Copy verification FAILED (" + Size::human(size) + " vs " + Size::human(Size::of(destination))
                       + ").\nOriginal kept at " + node.string() + "; inspect " + destination.string() + " yourself.");
    }
    if (const auto difference = copier.difference()) {
        return copyFailed(*difference);
    }
    if (watcher != nullptr && watcher->stopRequested()) {
        return copyFailed(TreeCopier::stopped);
    }
    return std::nullopt;
}

Outcome carryOut(const fs::path& node, const Way& way, TreeCopier& copier, TreeCopier::Watcher* watcher)
{
    const fs::path& destination = way.destination;
    if (way.verdict.kind == Verdict::Kind::shimToTrash) {
        if (const auto error = notTrashed(way.verdict.shim)) {
            return refused("Could not clear the old back-link: " + *error);
        }
    }
    if (const auto error = copy(copier, destination, watcher)) {
        return copyFailed(*error);
    }
    const std::int64_t size = Size::of(node);
    if (auto failure = notVerified(node, destination, size, copier, watcher)) {
        return *std::move(failure);
    }
    if (const auto error = notTrashed(node)) {
        return refused("Copy is good but the original could not be trashed: " + *error);
    }
    return CrucibleAdmin::repoint(node, destination, "Moved (" + Size::human(size) + ") and linked");
}

} // namespace

Outcome relocate(const fs::path& node, const fs::path& from, const fs::path& to, TreeCopier::Watcher* watcher)
{
    const Way way = wayOf(node, from, to);
    if (way.refusal) {
        return refused(*way.refusal);
    }
    // Looked at before the first change: what cannot be copied leaves the disk as it was.
    auto copier = TreeCopier::prepare(node, way.destination);
    return copier ? carryOut(node, way, *copier, watcher) : copyFailed(copier.error());
}

Outcome foretell(const fs::path& node, const fs::path& from, const fs::path& to)
{
    const Way way = wayOf(node, from, to);
    if (way.refusal) {
        return refused(*way.refusal);
    }
    const auto copier = TreeCopier::prepare(node, way.destination);
    if (!copier) {
        return copyFailed(copier.error());
    }
    return {.ok = true,
            .message = "Would move (" + Size::human(Size::of(node)) + ") and link:\n" + way.destination.string()};
}

} // namespace ManagerCore::CrucibleMove
