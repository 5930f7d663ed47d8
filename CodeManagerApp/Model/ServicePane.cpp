#include "CodeManagerApp/Model/ServicePane.h"

#include "CodeManagerApp/Model/QtText.h"
#include "CodeManagerApp/Model/Reasons.h"

namespace CodeManagerApp
{

QString word(ServiceOp op)
{
    switch (op) {
    case ServiceOp::start:
        return QStringLiteral("Start");
    case ServiceOp::stop:
        return QStringLiteral("Stop");
    case ServiceOp::restart:
        break;
    }
    return QStringLiteral("Restart");
}

namespace ServicePane
{

namespace
{

QString reasonAgainst(ServiceOp op,
                      const std::optional<ManagerCore::Status>& status,
                      const ManagerCore::ManagerActions& actions,
                      bool busy)
{
    if (actions.launchAgent.empty()) {
        return QStringLiteral("The product's descriptor names no launch agent.");
    }
    if (busy) {
        return Reasons::anotherOperation();
    }
    if (!status) {
        return QStringLiteral("It is not known yet whether the backend is running.");
    }
    if (op == ServiceOp::start) {
        return status->backendRunning ? QStringLiteral("The backend is running already.") : QString();
    }
    return status->backendRunning ? QString() : QStringLiteral("The backend is not running.");
}

} // namespace

QString state(const std::optional<ManagerCore::Status>& status, const ManagerCore::ManagerActions& actions)
{
    if (!status) {
        return QString::fromUtf8(ManagerCore::unknownText);
    }
    return status->backendRunning ? fromUtf8("running  :" + actions.serverPort) : QStringLiteral("stopped");
}

QList<ActionState>
actions(const std::optional<ManagerCore::Status>& status, const ManagerCore::ManagerActions& actions, bool busy)
{
    QList<ActionState> list;
    for (const ServiceOp op : allServiceOps) {
        list.append({.title = word(op), .reason = reasonAgainst(op, status, actions, busy)});
    }
    return list;
}

ActionState openLog(const ManagerCore::ManagerActions& actions)
{
    return {.title = QStringLiteral("Open Log"),
            .reason = actions.serverLog.empty() ? QStringLiteral("The product's descriptor names no log.") : QString()};
}

QString doing(ServiceOp op)
{
    switch (op) {
    case ServiceOp::start:
        return QStringLiteral("Starting the backend");
    case ServiceOp::stop:
        return QStringLiteral("Stopping the backend");
    case ServiceOp::restart:
        break;
    }
    return QStringLiteral("Restarting the backend");
}

QString outcome(ServiceOp op, const ManagerCore::Proc::Out& out)
{
    if (out.ok()) {
        return word(op) + QStringLiteral(": ok");
    }
    return word(op) + QStringLiteral(" failed (%1)\n").arg(out.code) + fromUtf8(out.stderr);
}

} // namespace ServicePane

} // namespace CodeManagerApp
