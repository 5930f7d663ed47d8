#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ManagerCore/Models/CatalogModel.h"

// The models that an install-models folder offers: one "model.toml" for each, at any depth below its "catalog". What
// cannot be read has no say. Reads the whole catalog: not for the interface thread.
namespace ManagerCore::ModelCatalog
{

// The released entries by name, those of one name by slug.
std::vector<CatalogModel> scan(const std::string& installModelsDir);

// The first entry by slug whose repository ends with "/" and `model`, released or not. Reads the line alone, stricter
// than `scan`: only what stands in double quotes counts. Absent when there is none.
std::optional<std::string> slugFor(std::string_view model, const std::string& installModelsDir);

} // namespace ManagerCore::ModelCatalog
