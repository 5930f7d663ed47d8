#include "CodeManagerApp/Model/Pane.h"

#include <algorithm>

namespace CodeManagerApp
{

namespace
{

struct Look {
    const char* title;
    const char* symbol;
};

constexpr std::array<Look, allPanes.size()> looks {{
    {.title = "Overview", .symbol = "gauge.with.dots.needle.33percent"},
    {.title = "Components", .symbol = "shippingbox"},
    {.title = "Install", .symbol = "arrow.down.circle"},
    {.title = "Model", .symbol = "brain"},
    {.title = "Crucible", .symbol = "flame"},
    {.title = "Services", .symbol = "bolt.horizontal.circle"},
    {.title = "Databases", .symbol = "cylinder.split.1x2"},
    {.title = "Guide", .symbol = "book"},
}};

} // namespace

QString title(Pane pane) { return QString::fromLatin1(looks.at(static_cast<std::size_t>(pane)).title); }

QString symbol(Pane pane) { return QString::fromLatin1(looks.at(static_cast<std::size_t>(pane)).symbol); }

std::optional<Pane> paneNamed(const QString& text)
{
    const QString wanted = text.toLower();
    const auto found = std::ranges::find_if(allPanes, [&wanted](Pane pane) { return title(pane).toLower() == wanted; });
    return found == allPanes.end() ? std::nullopt : std::optional(*found);
}

} // namespace CodeManagerApp
