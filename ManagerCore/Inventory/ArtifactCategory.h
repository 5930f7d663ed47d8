#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

namespace ManagerCore
{

// What kind of thing the product put on disk, in the order in which the kinds are shown.
enum class ArtifactCategory : std::uint8_t {
    application,
    executables,
    configuration,
    caches,
    containers,
    httpStorage,
    preferences,
    savedState,
    logs,
    launchAgents,
    editorExtensions,
    model,
};

inline constexpr std::array allArtifactCategories {
    ArtifactCategory::application,
    ArtifactCategory::executables,
    ArtifactCategory::configuration,
    ArtifactCategory::caches,
    ArtifactCategory::containers,
    ArtifactCategory::httpStorage,
    ArtifactCategory::preferences,
    ArtifactCategory::savedState,
    ArtifactCategory::logs,
    ArtifactCategory::launchAgents,
    ArtifactCategory::editorExtensions,
    ArtifactCategory::model,
};

// The title under which people see it; also how it is written in documents.
std::string_view title(ArtifactCategory category);

// The name of its icon.
std::string_view symbol(ArtifactCategory category);

// The category of exactly this title; absent for any other text.
std::optional<ArtifactCategory> artifactCategory(std::string_view title);

} // namespace ManagerCore
