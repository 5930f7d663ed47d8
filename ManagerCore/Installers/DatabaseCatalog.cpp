#include "ManagerCore/Installers/DatabaseCatalog.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "ManagerCore/Foundation/FilePath.h"
#include "ManagerCore/Foundation/TreeWalk.h"
#include "ManagerCore/Platform/Platform.h"

namespace ManagerCore::DatabaseCatalog
{

std::optional<std::filesystem::path> folder()
{
    if (const char* given = std::getenv("CM_DATABASES_DIR")) {
        return FilePath::fromText(given);
    }
    const auto resources = Platform::resourceFolder();
    return resources ? std::optional(FilePath::appending(*resources, "databases")) : std::nullopt;
}

std::vector<std::filesystem::path> descriptorsIn(const std::filesystem::path& folder)
{
    std::vector<std::filesystem::path> files;
    TreeWalk::walk(folder, [&](const TreeWalk::Folder& listed, unsigned) {
        for (TreeWalk::Entry& entry : listed.entries) {
            entry.descend = false; // so the walk has a single folder, visited by a single thread
            if (std::filesystem::path(entry.name).extension() == ".toml") {
                files.push_back(FilePath::appending(folder, entry.name));
            }
        }
    });
    std::ranges::sort(files);
    return files;
}

std::vector<Database> load()
{
    const auto place = folder();
    std::vector<Database> databases;
    if (!place || place->empty()) {
        return databases;
    }
    for (const std::filesystem::path& file : descriptorsIn(*place)) {
        if (auto database = Database::load(file)) {
            databases.push_back(std::move(*database));
        }
    }
    std::ranges::stable_sort(databases, {}, &Database::name);
    return databases;
}

} // namespace ManagerCore::DatabaseCatalog
