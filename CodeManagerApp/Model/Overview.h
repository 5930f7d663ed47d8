#pragma once

#include <optional>
#include <vector>

#include <QList>

#include "CodeManagerApp/Model/ViewRecords.h"
#include "ManagerCore/Foundation/ManagerActions.h"
#include "ManagerCore/Health/Status.h"
#include "ManagerCore/Inventory/FoundItem.h"

// What the Overview pane shows.
namespace CodeManagerApp::Overview
{

// The five rows; before the first snapshot each with a dash and neutral.
QList<StatRowValue> rows(const std::optional<ManagerCore::Status>& status, const ManagerCore::ManagerActions& actions);

// The categories by the space that their items take, the largest first; what is too small for a part of its own is one
// part at the end. Empty when the items take no space.
QList<SpaceShare> spaceShares(const std::vector<ManagerCore::FoundItem>& items);

QString spaceTotal(const std::vector<ManagerCore::FoundItem>& items);

} // namespace CodeManagerApp::Overview
