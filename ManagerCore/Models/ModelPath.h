#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "ManagerCore/Foundation/Identity.h"
#include "ManagerCore/Foundation/ManagerActions.h"

namespace ManagerCore
{

struct ModelResolution {
    std::filesystem::path url; // exists
    bool catalogInstalled = false; // it came from a place that catalog installs use

    bool operator==(const ModelResolution&) const = default;
};

// Which folder (or file) holds the model that the product serves. Reads only; a source that is missing or malformed
// has no say. May walk the model locations: not for the interface thread.
namespace ModelPath
{

// The first that exists of: the backend's --model argument, the configured model's final weights under the model
// locations, the served model, LM Studio's copies, the identity's model paths. Absent when none does.
std::optional<ModelResolution> resolve(const Identity& identity, const ManagerActions& actions);

// The first "model:" value in the "mlx:" block of the product's defaults file.
std::optional<std::string> configuredModel(const std::string& defaultsPath);

// What a model's name and its folder's name have in common: lower case, no publisher, no "-4bit".
std::string modelKey(std::string_view name);

} // namespace ModelPath

} // namespace ManagerCore
