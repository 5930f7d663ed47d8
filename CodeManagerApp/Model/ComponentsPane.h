#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <QString>

#include "ManagerCore/Foundation/Remover.h"

// The wording of the Components pane.
namespace CodeManagerApp::ComponentsPane
{

QString nothingInstalled(const std::string& name);

// The totals bar: what is ticked, or an invitation.
QString totals(std::size_t count, std::int64_t bytes);

QString confirmationTitle(std::size_t count);

// What the console says of a move: how many were moved, then each.
QString outcome(const std::vector<ManagerCore::Remover::Result>& results);

} // namespace CodeManagerApp::ComponentsPane
