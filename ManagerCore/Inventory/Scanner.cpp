#include "ManagerCore/Inventory/Scanner.h"

#include <algorithm>
#include <functional>
#include <string>
#include <tuple>
#include <unordered_set>

#include "ManagerCore/Foundation/FilePath.h"
#include "ManagerCore/Foundation/Parallel.h"
#include "ManagerCore/Foundation/Size.h"
#include "ManagerCore/Inventory/FolderSweep.h"
#include "ManagerCore/Inventory/StraySweep.h"

namespace ManagerCore::Scanner
{

namespace
{

constexpr unsigned measuringLanes = 4; // each walks a large folder with threads of its own

void addDeclared(std::vector<FoundItem>& items, const std::vector<std::string>& paths, ArtifactCategory category)
{
    for (const std::string& path : paths) {
        items.push_back({.url = FilePath::expandHome(path), .category = category});
    }
}

// The locations that the descriptor names, and the two that follow from the product's name. Where a model's location is
// a link into a store of weights, it is the store that holds them.
std::vector<FoundItem> declaredLocations(const Identity& identity)
{
    std::vector<FoundItem> items;
    addDeclared(items, identity.appPaths, ArtifactCategory::application);
    addDeclared(items, identity.binaries, ArtifactCategory::executables);
    addDeclared(items, identity.configDirs, ArtifactCategory::configuration);
    addDeclared(items, identity.modelPaths, ArtifactCategory::model);
    for (const std::string& location : identity.modelLocations) {
        items.push_back(
            {.url = FilePath::resolvedLinkTarget(FilePath::expandHome(location)), .category = ArtifactCategory::model});
    }
    addDeclared(items, {"~/Library/Application Support/" + identity.name}, ArtifactCategory::configuration);
    addDeclared(items, {"~/Library/Logs/" + identity.name}, ArtifactCategory::logs);
    return items;
}

// In the order in which a path is claimed.
std::vector<FoundItem> candidates(const Identity& identity)
{
    std::vector<FoundItem> all = declaredLocations(identity);
    for (const auto sweep : {&FolderSweep::library,
                             &FolderSweep::temporaryFolders,
                             &FolderSweep::editorExtensions,
                             &StraySweep::executables}) {
        std::vector<FoundItem> found = sweep(identity);
        all.reserve(all.size() + found.size());
        std::ranges::move(found, std::back_inserter(all));
    }
    return all;
}

// Those of the items that exist and that no earlier one has claimed, in their own place. What was claimed is known by
// its index: a second copy of each path, or of the list, would take much of all the memory that the list itself takes.
std::vector<FoundItem> accepted(std::vector<FoundItem> items)
{
    const auto pathAt = [&items](std::size_t index) -> const std::string& { return items[index].url.native(); };
    const auto hash = [&pathAt](std::size_t index) { return std::hash<std::string> {}(pathAt(index)); };
    const auto same = [&pathAt](std::size_t one, std::size_t other) { return pathAt(one) == pathAt(other); };
    std::unordered_set<std::size_t, decltype(hash), decltype(same)> claimed(items.size(), hash, same);
    std::size_t kept = 0;
    for (std::size_t index = 0; index < items.size(); index++) {
        if (claimed.contains(index) || !FilePath::exists(items[index].url)) {
            continue;
        }
        if (kept != index) {
            items[kept] = std::move(items[index]);
        }
        claimed.insert(kept);
        kept++;
    }
    items.resize(kept);
    return items;
}

void measure(std::vector<FoundItem>& items)
{
    Parallel::forEach(items.size(), measuringLanes, [&items](std::size_t index, unsigned /*lane*/) {
        items[index].sizeBytes = Size::of(items[index].url);
    });
}

bool comesBefore(const FoundItem& one, const FoundItem& other)
{
    return std::tie(one.category, other.sizeBytes, one.url.native())
        < std::tie(other.category, one.sizeBytes, other.url.native());
}

} // namespace

std::vector<FoundItem> scan(const Identity& identity)
{
    std::vector<FoundItem> items = accepted(candidates(identity));
    measure(items);
    std::ranges::sort(items, comesBefore);
    return items;
}

} // namespace ManagerCore::Scanner
