#include "ManagerCore/Installers/DatabaseCatalog.h"

#include <algorithm>
#include <cstdlib>
#include <string>
#include <utility>

#include "ManagerCore/Foundation/FilePath.h"
#include "ManagerCore/Foundation/TreeWalk.h"
#include "ManagerCore/Platform/Platform.h"

namespace ManagerCore::DatabaseCatalog
{

namespace
{

std::vector<std::string> descriptorsIn(const std::filesystem::path& folder)
{
    std::vector<std::string> names;
    TreeWalk::walk(folder, [&names](const TreeWalk::Folder& listed, unsigned) {
        for (TreeWalk::Entry& entry : listed.entries) {
            entry.descend = false; // so the walk has a single folder, visited by a single thread
            if (std::filesystem::path(entry.name).extension() == ".toml") {
                names.emplace_back(entry.name);
            }
        }
    });
    std::ranges::sort(names);
    return names;
}

} // namespace

std::optional<std::filesystem::path> folder()
{
    if (const char* given = std::getenv("CM_DATABASES_DIR")) {
        return FilePath::fromText(given);
    }
    const auto resources = Platform::resourceFolder();
    return resources ? std::optional(FilePath::appending(*resources, "databases")) : std::nullopt;
}

std::vector<Database> load()
{
    const auto place = folder();
    std::vector<Database> databases;
    if (!place || place->empty()) {
        return databases;
    }
    for (const std::string& name : descriptorsIn(*place)) {
        if (auto database = Database::load(FilePath::appending(*place, name))) {
            databases.push_back(std::move(*database));
        }
    }
    std::ranges::stable_sort(databases, {}, &Database::name);
    return databases;
}

} // namespace ManagerCore::DatabaseCatalog
