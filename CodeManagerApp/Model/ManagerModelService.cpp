#include "CodeManagerApp/Desktop/Desktop.h"
#include "CodeManagerApp/Model/ManagerModel.h"
#include "CodeManagerApp/Model/QtText.h"
#include "ManagerCore/Foundation/FilePath.h"
#include "ManagerCore/Health/Service.h"

namespace CodeManagerApp
{

using namespace ManagerCore;

namespace
{

Proc::Out act(ServiceOp op, const std::string& label)
{
    switch (op) {
    case ServiceOp::start:
        return Service::start(label);
    case ServiceOp::stop:
        return Service::stop(label);
    case ServiceOp::restart:
        break;
    }
    return Service::restart(label);
}

// Any thread. The output may be of any length; what the console would drop is dropped here.
Proc::Out carryOut(ServiceOp op, const std::string& label)
{
    Proc::Out out = act(op, label);
    out.stderr = Console::trimmed(std::string_view(out.stderr));
    return out;
}

} // namespace

QCoro::Task<> ManagerModel::perform(ServiceOp op)
{
    checkThread();
    if (actions_.launchAgent.empty()) {
        co_return;
    }
    const bool alone = begin(ServicePane::doing(op));
    beginWork();
    const Proc::Out out = co_await inBackground(&carryOut, op, actions_.launchAgent);
    setConsole(ServicePane::outcome(op, out));
    if (alone) { // else what ran before goes on, and says when it ends
        end(out.ok());
    }
    endWork();
    refresh();
}

QCoro::Task<> ManagerModel::openLog()
{
    checkThread();
    const std::optional<std::string> failure
        = co_await inBackground(&Desktop::open, FilePath::expandTilde(actions_.serverLog));
    if (failure) {
        report(fromUtf8("The log could not be opened: " + *failure));
    }
}

void ManagerModel::requestService(int index)
{
    if (index >= 0 && std::cmp_less(index, allServiceOps.size())) {
        perform(allServiceOps.at(static_cast<std::size_t>(index)));
    }
}

QString ManagerModel::serviceState() const { return ServicePane::state(status(), actions_); }

QVariant ManagerModel::serviceRuns() const
{
    checkThread();
    return status_ ? QVariant(status_->backendRunning) : QVariant();
}

QList<ActionState> ManagerModel::serviceActions() const { return ServicePane::actions(status(), actions_, busy()); }

ActionState ManagerModel::openLogAction() const { return ServicePane::openLog(actions_); }

} // namespace CodeManagerApp
