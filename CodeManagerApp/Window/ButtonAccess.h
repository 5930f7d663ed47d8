#pragma once

#include <QAccessible>

namespace CodeManagerApp
{

// Makes what assistive tools are told of the window's buttons and check boxes; to be given to QAccessible. Qt Quick 6.4
// tells of none of them that it is disabled, and of every one that it is a button, whatever the view says. Name,
// description, role, ticks and actions are those set on the control.
QAccessibleInterface* buttonAccess(const QString& className, QObject* object);

} // namespace CodeManagerApp
