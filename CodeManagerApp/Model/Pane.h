#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include <QString>

namespace CodeManagerApp
{

// The panes of the window, in the order of the sidebar.
enum class Pane : std::uint8_t { overview, components, install, model, crucible, services, databases, guide };

inline constexpr std::array allPanes {Pane::overview,
                                      Pane::components,
                                      Pane::install,
                                      Pane::model,
                                      Pane::crucible,
                                      Pane::services,
                                      Pane::databases,
                                      Pane::guide};

QString title(Pane pane);
QString symbol(Pane pane);

// The pane of this title, upper and lower case alike; absent for any other text.
std::optional<Pane> paneNamed(const QString& text);

} // namespace CodeManagerApp
