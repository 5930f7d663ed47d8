#include "ManagerCore/Crucible/CrucibleRepair.h"

#include <algorithm>
#include <optional>

#include "ManagerCore/Foundation/FilePath.h"

namespace ManagerCore::CrucibleRepair
{

namespace
{

namespace fs = std::filesystem;

std::optional<fs::path> firstCopy(const std::string& relative, const std::vector<fs::path>& candidateRoots)
{
    for (const fs::path& root : candidateRoots) {
        fs::path candidate = FilePath::appending(root, relative);
        if (FilePath::exists(candidate)) {
            return candidate;
        }
    }
    return std::nullopt;
}

Result repairOne(const fs::path& link, const fs::path& linkRoot, const std::vector<fs::path>& roots, Repoint repoint)
{
    const auto kept = [&link](std::string message) {
        return Result {.link = link, .repaired = false, .message = std::move(message)};
    };
    const auto relative = CrucibleAdmin::relativePath(link, linkRoot);
    if (!relative) {
        return kept("not under " + linkRoot.string() + " — skipped");
    }
    const auto copy = firstCopy(*relative, roots);
    if (!copy) {
        return kept("no drive has " + *relative + " — cannot repair without inventing a path");
    }
    // What took the link's place since it was found is no business of a repair.
    if (const auto refusal = CrucibleAdmin::refusalOfRealItem(link)) {
        return kept(*refusal);
    }
    CrucibleAdmin::Outcome outcome = repoint(link, *copy, "repaired");
    return {.link = link, .repaired = outcome.ok, .message = std::move(outcome.message)};
}

} // namespace

std::vector<Result> repair(const std::vector<CrucibleHealth::Finding>& findings,
                           const fs::path& linkRoot,
                           const std::vector<fs::path>& candidateRoots,
                           Repoint repoint)
{
    std::vector<Result> results;
    for (const CrucibleHealth::Finding& finding : findings) {
        if (!finding.resolves) {
            results.push_back(repairOne(finding.link, linkRoot, candidateRoots, repoint));
        }
    }
    return results;
}

} // namespace ManagerCore::CrucibleRepair
