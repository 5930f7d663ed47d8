#include "ManagerCore/Inventory/StraySweep.h"

#include <cstdlib>
#include <set>
#include <string>
#include <unordered_set>

#include "ManagerCore/Foundation/FilePath.h"
#include "ManagerCore/Foundation/Text.h"
#include "ManagerCore/Inventory/MarkerSearch.h"

namespace ManagerCore::StraySweep
{

namespace
{

// Without duplicates, in string order.
std::set<std::string> foldersToSearch(const Identity& identity)
{
    std::set<std::string> folders;
    const char* searchPath = std::getenv("PATH");
    for (const std::string_view folder : Text::pieces(searchPath == nullptr ? "" : searchPath, ':')) {
        folders.insert(FilePath::fromText(folder).string());
    }
    for (const std::string& folder : identity.sweepDirs) {
        folders.insert(FilePath::expandHome(folder).string());
    }
    folders.erase(""); // what no folder can be called
    return folders;
}

std::unordered_set<std::string> declaredExecutables(const Identity& identity)
{
    std::unordered_set<std::string> paths;
    for (const std::string& binary : identity.binaries) {
        paths.insert(FilePath::expandHome(binary).string());
    }
    return paths;
}

// What the candidates of the search path lead to, in their order; a declared executable is none.
std::vector<std::filesystem::path> targets(const Identity& identity)
{
    const std::unordered_set<std::string> declared = declaredExecutables(identity);
    std::vector<std::filesystem::path> found;
    for (const std::string& folder : foldersToSearch(identity)) {
        for (const std::string& name : identity.sweepNames) {
            const std::filesystem::path candidate = FilePath::appending(folder, name);
            std::filesystem::path target = FilePath::resolvedLinkTarget(candidate);
            if (!declared.contains(candidate.string()) && !declared.contains(target.string())) {
                found.push_back(std::move(target));
            }
        }
    }
    return found;
}

} // namespace

std::vector<FoundItem> executables(const Identity& identity)
{
    std::vector<FoundItem> found;
    if (identity.marker.empty() || identity.sweepNames.empty()) {
        return found;
    }
    const std::vector<std::filesystem::path> files = targets(identity);
    const std::vector<bool> marked = MarkerSearch::holds(files, identity.marker);
    std::unordered_set<std::string> taken;
    for (std::size_t index = 0; index < files.size(); index++) {
        if (marked[index] && taken.insert(files[index].string()).second) {
            found.push_back({.url = files[index], .category = ArtifactCategory::executables});
        }
    }
    return found;
}

} // namespace ManagerCore::StraySweep
