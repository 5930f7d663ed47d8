#include "ManagerCore/Inventory/ArtifactCategory.h"

#include <algorithm>
#include <cstddef>

namespace ManagerCore
{

namespace
{

struct Look {
    std::string_view title;
    std::string_view symbol;
};

constexpr std::array<Look, allArtifactCategories.size()> looks {{
    {.title = "Application", .symbol = "app.dashed"},
    {.title = "Executables", .symbol = "terminal"},
    {.title = "Configuration & Data", .symbol = "folder"},
    {.title = "Caches", .symbol = "shippingbox"},
    {.title = "Containers", .symbol = "cube.box"},
    {.title = "HTTP Storage & WebKit", .symbol = "network"},
    {.title = "Preferences", .symbol = "slider.horizontal.3"},
    {.title = "Saved Application State", .symbol = "clock.arrow.circlepath"},
    {.title = "Logs", .symbol = "doc.text"},
    {.title = "Launch Agents", .symbol = "bolt.badge.clock"},
    {.title = "Editor Extensions", .symbol = "puzzlepiece.extension"},
    {.title = "AI Model", .symbol = "brain"},
}};

const Look& lookOf(ArtifactCategory category) { return looks.at(static_cast<std::size_t>(category)); }

} // namespace

std::string_view title(ArtifactCategory category) { return lookOf(category).title; }

std::string_view symbol(ArtifactCategory category) { return lookOf(category).symbol; }

std::optional<ArtifactCategory> artifactCategory(std::string_view title)
{
    const auto* const found = std::ranges::find(looks, title, &Look::title);
    if (found == looks.end()) {
        return std::nullopt;
    }
    return allArtifactCategories.at(static_cast<std::size_t>(found - looks.begin()));
}

} // namespace ManagerCore
