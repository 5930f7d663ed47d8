#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include <QList>

#include "CodeManagerApp/Model/ViewRecords.h"
#include "ManagerCore/Foundation/ManagerActions.h"
#include "ManagerCore/Foundation/Proc.h"
#include "ManagerCore/Health/Status.h"

namespace CodeManagerApp
{

enum class ServiceOp : std::uint8_t { start, stop, restart };

inline constexpr std::array allServiceOps {ServiceOp::start, ServiceOp::stop, ServiceOp::restart};

// The action's display word: "Start", "Stop", "Restart".
QString word(ServiceOp op);

// What the Services pane shows, and others while an action runs.
namespace ServicePane
{

// The backend's state by the last snapshot; a dash before the first.
QString state(const std::optional<ManagerCore::Status>& status, const ManagerCore::ManagerActions& actions);

// The actions in their order, each with the reason why it cannot be taken now.
QList<ActionState>
actions(const std::optional<ManagerCore::Status>& status, const ManagerCore::ManagerActions& actions, bool busy);

// "Open Log": like the actions above, but it hangs on no state.
ActionState openLog(const ManagerCore::ManagerActions& actions);

// "Starting the backend"
QString doing(ServiceOp op);

// What the console says of an action that has ended.
QString outcome(ServiceOp op, const ManagerCore::Proc::Out& out);

} // namespace ServicePane

} // namespace CodeManagerApp
