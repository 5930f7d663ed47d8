#pragma once

#include <vector>

#include <QList>
#include <QString>

#include "CodeManagerApp/Model/ViewRecords.h"
#include "ManagerCore/Doctor/Doctor.h"

// What the Overview pane shows of a check.
namespace CodeManagerApp::CheckList
{

// What is wrong first; otherwise in the order of the checks.
QList<FindingValue> rows(const std::vector<ManagerCore::Doctor::Finding>& findings);

// "1 error, 2 warnings, 9 ok"
QString summary(const std::vector<ManagerCore::Doctor::Finding>& findings);

} // namespace CodeManagerApp::CheckList
