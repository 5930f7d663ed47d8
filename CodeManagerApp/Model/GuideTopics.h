#pragma once

#include <QList>

#include "CodeManagerApp/Model/ViewRecords.h"

namespace CodeManagerApp
{

// The topics of the Guide pane for a product that people know as `display`, built anew with new identifiers.
QList<GuideTopic> guideTopics(const QString& display);

} // namespace CodeManagerApp
