#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ManagerCore/Models/CatalogModel.h"

// The models that an install-models folder offers: one "model.toml" for each, in a folder at any depth below its
// "catalog". Unreadable files are skipped, except by entries(). Reads the whole catalog: not for the interface thread.
namespace ManagerCore::ModelCatalog
{

// The released entries by name, those of one name by slug.
std::vector<CatalogModel> scan(const std::string& installModelsDir);

// What a file of the catalog says, offered or not.
struct Entry {
    std::filesystem::path file;
    std::optional<std::string> fault; // one sentence why it cannot be used
    bool hasKeys = false;
    bool released = false;
    std::string repo;
};

// Every file of the catalog, also those that cannot be read and one directly in the catalog, which is no entry.
std::vector<Entry> entries(const std::string& installModelsDir);

// The first entry by slug whose repository ends with "/" and `model`, released or not. Reads the line alone, stricter
// than `scan`: only what stands in double quotes counts. Absent when there is none.
std::optional<std::string> slugFor(std::string_view model, const std::string& installModelsDir);

} // namespace ManagerCore::ModelCatalog
