#include <utility>

#include "CodeManagerApp/Model/CheckList.h"
#include "CodeManagerApp/Model/ManagerModel.h"
#include "ManagerCore/Foundation/ProductDescriptor.h"

namespace CodeManagerApp
{

using namespace ManagerCore;

QCoro::Task<> ManagerModel::check()
{
    if (checking()) {
        co_return;
    }
    change(checking_, true, &ManagerModel::checkingChanged);
    const Doctor::Subject subject {.descriptor = ProductDescriptor::location(),
                                   .identity = identity_,
                                   .actions = actions_,
                                   .projectDir = projectDir()};
    std::vector<Doctor::Finding> findings = co_await inBackground(&Doctor::examine, subject);
    setFindings(std::move(findings));
    change(checking_, false, &ManagerModel::checkingChanged);
}

void ManagerModel::closeCheck() { setFindings({}); }

const std::vector<Doctor::Finding>& ManagerModel::findings() const
{
    checkThread();
    return findings_;
}

void ManagerModel::setFindings(std::vector<Doctor::Finding> findings)
{
    change(findings_, std::move(findings), &ManagerModel::findingsChanged);
}

bool ManagerModel::checking() const
{
    checkThread();
    return checking_;
}

QList<FindingValue> ManagerModel::findingRows() const { return CheckList::rows(findings()); }

QString ManagerModel::findingsSummary() const { return CheckList::summary(findings()); }

} // namespace CodeManagerApp
