#include <utility>

#include "CodeManagerApp/Model/ManagerModel.h"
#include "CodeManagerApp/Model/QtText.h"
#include "CodeManagerApp/Model/Reasons.h"
#include "ManagerCore/Crucible/CrucibleBackup.h"
#include "ManagerCore/Crucible/CrucibleProbe.h"
#include "ManagerCore/Crucible/CrucibleRestore.h"
#include "ManagerCore/Crucible/CrucibleRoots.h"
#include "ManagerCore/Crucible/CrucibleServing.h"
#include "ManagerCore/Foundation/Text.h"
#include "ManagerCore/Foundation/WholeFile.h"

namespace CodeManagerApp
{

using namespace ManagerCore;

namespace
{

struct Probed {
    CrucibleTopology topology;
    CruciblePane::DriveSpaces drives;
};

Probed probe(const Identity& identity, const ManagerActions& actions)
{
    Probed probed {.topology = CrucibleProbe::topology(identity, actions), .drives = {}};
    probed.drives = CruciblePane::drivesOf(probed.topology);
    return probed;
}

std::vector<CrucibleHealth::Finding> checkAll() { return CrucibleHealth::scanAll(CrucibleRoots::all()); }

// The links of the first root, for which there may be copies below all of them.
std::vector<CrucibleRepair::Result> repairAll()
{
    const auto roots = CrucibleRoots::all();
    if (roots.empty()) {
        return {};
    }
    return CrucibleRepair::repair(CrucibleHealth::scanAll(roots), roots.front(), roots);
}

QString backUpTo(const std::filesystem::path& file)
{
    const CrucibleBackup::Backup backup = CrucibleBackup::make(CrucibleRoots::all(), CrucibleRoots::configPath());
    if (const auto failure = WholeFile::writeNew(file, backup.document, 0666)) {
        return fromUtf8("The links could not be backed up: " + *failure);
    }
    std::string text = "Links backed up:\n" + file.native();
    for (const CrucibleHealth::Finding& finding : backup.leftOut) {
        text += "\nA link whose path the document cannot carry was left out:\n" + finding.link;
    }
    return fromUtf8(Console::trimmed(std::string_view(text)));
}

QString restoreFrom(const std::filesystem::path& file)
{
    const auto document = Text::readFile(file);
    if (!document) {
        return fromUtf8("The links could not be restored: " + document.error());
    }
    return CruciblePane::outcome(CrucibleRestore::restore(*document));
}

} // namespace

QCoro::Task<> ManagerModel::refreshCrucible()
{
    setCrucibleBusy(true);
    Probed probed = co_await inBackground(&probe, identity_, actions_);
    drives_ = std::move(probed.drives);
    setCrucible(std::move(probed.topology));
    Q_EMIT drivesChanged();
    setCrucibleBusy(false);
}

void ManagerModel::beginCrucibleWork()
{
    beginWork();
    setCrucibleBusy(true);
}

void ManagerModel::endCrucibleWork()
{
    setCrucibleBusy(false);
    endWork();
}

QCoro::Task<> ManagerModel::setCrucibleRoot(std::filesystem::path folder)
{
    checkThread();
    if (!crucible_) {
        co_return;
    }
    const std::filesystem::path link = crucible_->rootLink.link;
    beginCrucibleWork();
    const CrucibleAdmin::Outcome outcome = co_await inBackground(&CrucibleAdmin::setRoot, link, std::move(folder));
    setConsole(fromUtf8(outcome.message));
    endCrucibleWork();
    refreshCrucible();
}

QCoro::Task<> ManagerModel::serveFrom(std::size_t site)
{
    checkThread();
    if (!crucible_ || CrucibleServing::current(*crucible_) == nullptr) {
        setConsole(QString::fromUtf8(CrucibleServing::unknownDrive));
        co_return;
    }
    const CrucibleTopology topology = *crucible_;
    if (site >= topology.sites.size()) {
        co_return;
    }
    beginCrucibleWork();
    const CrucibleAdmin::Outcome outcome
        = co_await inBackground(&CrucibleServing::serve, topology, topology.sites[site]);
    setConsole(fromUtf8(outcome.message));
    endCrucibleWork();
    if (outcome.ok) {
        perform(ServiceOp::restart);
    } else {
        refreshCrucible();
    }
}

QCoro::Task<> ManagerModel::checkLinks()
{
    setCrucibleBusy(true);
    const auto findings = co_await inBackground(&checkAll);
    setConsole(CruciblePane::checked(findings));
    dangling_ = static_cast<int>(std::ranges::count(findings, false, &CrucibleHealth::Finding::resolves));
    Q_EMIT danglingChanged();
    setCrucibleBusy(false);
}

QCoro::Task<> ManagerModel::repairLinks()
{
    beginCrucibleWork();
    const auto results = co_await inBackground(&repairAll);
    setConsole(CruciblePane::outcome(results));
    dangling_ = static_cast<int>(std::ranges::count(results, false, &CrucibleRepair::Result::repaired));
    Q_EMIT danglingChanged();
    endCrucibleWork();
    refreshCrucible();
}

QCoro::Task<> ManagerModel::backUpLinks(std::filesystem::path file)
{
    beginCrucibleWork();
    const QString text = co_await inBackground(&backUpTo, std::move(file));
    setConsole(text);
    endCrucibleWork();
}

QCoro::Task<> ManagerModel::restoreLinks(std::filesystem::path file)
{
    beginCrucibleWork();
    const QString text = co_await inBackground(&restoreFrom, std::move(file));
    setConsole(text);
    endCrucibleWork();
    refreshCrucible();
}

QList<CrucibleSiteValue> ManagerModel::crucibleSites() const
{
    return CruciblePane::sites(crucible(), drives_, crucibleBusy() || busy());
}

QList<CrucibleLinkValue> ManagerModel::crucibleLinks() const { return CruciblePane::links(crucible()); }

bool ManagerModel::servedLinkDangles() const { return CruciblePane::servedLinkDangles(crucible()); }

QString ManagerModel::reasonAgainstCrucibleWork() const
{
    if (crucibleBusy() || busy()) {
        return Reasons::anotherOperation();
    }
    return crucible() ? QString() : QStringLiteral("The crucible has not been read yet.");
}

QString ManagerModel::reasonAgainstRepairing() const
{
    if (dangling_ < 0) {
        return QStringLiteral("Check the links first.");
    }
    return dangling_ == 0 ? QStringLiteral("No link dangles.") : reasonAgainstCrucibleWork();
}

void ManagerModel::requestServe(int site)
{
    if (site >= 0) {
        serveFrom(static_cast<std::size_t>(site));
    }
}

} // namespace CodeManagerApp
