#pragma once

#include <QString>

// Why an action cannot be taken now, where several panes say so.
namespace CodeManagerApp::Reasons
{

inline QString anotherOperation() { return QStringLiteral("Another operation is running."); }

} // namespace CodeManagerApp::Reasons
