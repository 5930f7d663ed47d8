#include "CodeManagerApp/Model/ManagerModel.h"

#include <algorithm>
#include <utility>

#include <QClipboard>
#include <QGuiApplication>
#include <QThread>
#include <QtGlobal>

#include "CodeManagerApp/Desktop/Desktop.h"
#include "CodeManagerApp/Model/GuideTopics.h"
#include "CodeManagerApp/Model/Overview.h"
#include "CodeManagerApp/Model/QtText.h"
#include "CodeManagerApp/Model/Reasons.h"
#include "ManagerCore/Foundation/ProjectDir.h"
#include "ManagerCore/Health/StatusProbe.h"

namespace CodeManagerApp
{

using namespace ManagerCore;

namespace
{

constexpr int threads = 16; // few work, most wait for a child
constexpr std::chrono::seconds worthTelling {10}; // whoever waits that long may have turned to something else

} // namespace

ManagerModel::ManagerModel(Identity identity, ManagerActions actions, QObject* parent)
    : QObject(parent)
    , identity_(std::move(identity))
    , actions_(std::move(actions))
    , expanded_(allArtifactCategories.begin(), allArtifactCategories.end())
    , projectDir_(ProjectDir::loadProjectDir(identity_.name))
{
    pool_.setMaxThreadCount(threads);
    if (const auto wanted = paneNamed(qEnvironmentVariable("CM_PANE"))) {
        setSection(*wanted);
    }
    for (const auto changed : {&ManagerModel::statusChanged, &ManagerModel::busyChanged}) {
        connect(this, changed, this, &ManagerModel::serviceActionsChanged);
    }
    for (const auto changed : {&ManagerModel::busyChanged, &ManagerModel::crucibleBusyChanged}) {
        connect(this, changed, this, &ManagerModel::operationRunsChanged);
    }
    for (const auto changed : {&ManagerModel::statusChanged, &ManagerModel::busyChanged}) {
        connect(this, changed, this, &ManagerModel::modelRowsChanged);
    }
    connect(this, &ManagerModel::databasesChanged, this, &ManagerModel::databaseRowsChanged);
    for (const auto changed : {&ManagerModel::itemsChanged,
                               &ManagerModel::checkedChanged,
                               &ManagerModel::busyChanged,
                               &ManagerModel::scanningChanged}) {
        connect(this, changed, this, &ManagerModel::totalsChanged);
    }
    for (const auto changed : {&ManagerModel::crucibleChanged,
                               &ManagerModel::drivesChanged,
                               &ManagerModel::danglingChanged,
                               &ManagerModel::busyChanged,
                               &ManagerModel::crucibleBusyChanged}) {
        connect(this, changed, this, &ManagerModel::crucibleRowsChanged);
    }
}

ManagerModel::~ManagerModel() { pool_.waitForDone(); }

void ManagerModel::checkThread() const
{
    Q_ASSERT_X(QThread::currentThread() == thread(), "ManagerModel", "is used on the interface thread only");
}

Pane ManagerModel::section() const
{
    checkThread();
    return section_;
}

void ManagerModel::setSection(Pane section) { change(section_, section, &ManagerModel::sectionChanged); }

const std::optional<Status>& ManagerModel::status() const
{
    checkThread();
    return status_;
}

void ManagerModel::setStatus(std::optional<Status> status)
{
    change(status_, std::move(status), &ManagerModel::statusChanged);
}

const std::vector<FoundItem>& ManagerModel::items() const
{
    checkThread();
    return items_;
}

void ManagerModel::setItems(std::vector<FoundItem> items)
{
    checkThread();
    if (items == items_) {
        return;
    }
    items_.swap(items);
    Q_EMIT itemsChanged();
    pool_.start([old = std::move(items)] { }); // a long list takes its time to go
}

const std::unordered_set<std::string>& ManagerModel::checked() const
{
    checkThread();
    return checked_;
}

void ManagerModel::setChecked(std::unordered_set<std::string> checked)
{
    change(checked_, std::move(checked), &ManagerModel::checkedChanged);
}

const std::set<ArtifactCategory>& ManagerModel::expanded() const
{
    checkThread();
    return expanded_;
}

void ManagerModel::setExpanded(std::set<ArtifactCategory> expanded)
{
    change(expanded_, std::move(expanded), &ManagerModel::expandedChanged);
}

bool ManagerModel::scanning() const
{
    checkThread();
    return scanning_;
}

void ManagerModel::setScanning(bool scanning) { change(scanning_, scanning, &ManagerModel::scanningChanged); }

bool ManagerModel::busy() const
{
    checkThread();
    return busy_;
}

void ManagerModel::setBusy(bool busy) { change(busy_, busy, &ManagerModel::busyChanged); }

const QString& ManagerModel::console() const
{
    checkThread();
    return console_;
}

void ManagerModel::setConsole(const QString& console)
{
    change(console_, Console::trimmed(console), &ManagerModel::consoleChanged);
}

const std::vector<Database>& ManagerModel::databases() const
{
    checkThread();
    return databases_;
}

void ManagerModel::setDatabases(std::vector<Database> databases)
{
    change(databases_, std::move(databases), &ManagerModel::databasesChanged);
}

const std::optional<CrucibleTopology>& ManagerModel::crucible() const
{
    checkThread();
    return crucible_;
}

void ManagerModel::setCrucible(std::optional<CrucibleTopology> crucible)
{
    change(crucible_, std::move(crucible), &ManagerModel::crucibleChanged);
}

bool ManagerModel::crucibleBusy() const
{
    checkThread();
    return crucibleBusy_;
}

void ManagerModel::setCrucibleBusy(bool crucibleBusy)
{
    change(crucibleBusy_, crucibleBusy, &ManagerModel::crucibleBusyChanged);
}

const std::string& ManagerModel::projectDir() const
{
    checkThread();
    return projectDir_;
}

void ManagerModel::setProjectDir(std::string projectDir)
{
    change(projectDir_, std::move(projectDir), &ManagerModel::projectDirChanged);
}

const std::vector<CatalogModel>& ManagerModel::catalog() const
{
    checkThread();
    return catalog_;
}

void ManagerModel::setCatalog(std::vector<CatalogModel> catalog)
{
    change(catalog_, std::move(catalog), &ManagerModel::catalogChanged);
}

const std::set<std::string>& ManagerModel::checkedModelSlugs() const
{
    checkThread();
    return checkedModelSlugs_;
}

void ManagerModel::setCheckedModelSlugs(std::set<std::string> slugs)
{
    change(checkedModelSlugs_, std::move(slugs), &ManagerModel::checkedModelSlugsChanged);
}

bool ManagerModel::installDesktopChecked() const
{
    checkThread();
    return installDesktopChecked_;
}

void ManagerModel::setInstallDesktopChecked(bool checked)
{
    change(installDesktopChecked_, checked, &ManagerModel::installDesktopCheckedChanged);
}

QCoro::Task<> ManagerModel::refresh()
{
    change(refreshes_, refreshes_ + 1, &ManagerModel::refreshingChanged);
    Status status = co_await inBackground(&StatusProbe::gather, identity_, actions_);
    setStatus(std::move(status));
    change(refreshes_, refreshes_ - 1, &ManagerModel::refreshingChanged);
}

bool ManagerModel::begin(const QString& name, std::size_t steps)
{
    if (busy()) {
        return false;
    }
    operation_ = name;
    progress_.begin(name, steps);
    setBusy(true);
    return true;
}

void ManagerModel::end(bool good)
{
    const auto took = progress_.end();
    setBusy(false);
    if (took >= worthTelling && QGuiApplication::applicationState() != Qt::ApplicationActive) {
        const QString outcome = (good ? QStringLiteral("Finished: %1") : QStringLiteral("Failed: %1")).arg(operation_);
        tellDesktop(toUtf8(outcome + QStringLiteral(" (") + Progress::inWords(took) + QStringLiteral(")")));
    }
}

QCoro::Task<> ManagerModel::tellDesktop(std::string message)
{
    // A desktop that takes no messages leaves none; the console has it all.
    co_await inBackground(&Desktop::notify, toUtf8(windowTitle()), std::move(message));
}

void ManagerModel::append(const QString& text) { setConsole(console() + text); }

void ManagerModel::report(const QString& text)
{
    if (!operationRuns()) {
        setConsole(text);
        return;
    }
    const bool lineIsOpen = !console().isEmpty() && !console().endsWith(QLatin1Char('\n'));
    append((lineIsOpen ? QStringLiteral("\n") : QString()) + text + QLatin1Char('\n'));
}

QString ManagerModel::reasonAgainstOperations() const { return busy() ? Reasons::anotherOperation() : QString(); }

bool ManagerModel::settles(std::chrono::milliseconds wait)
{
    checkThread();
    return pool_.waitForDone(static_cast<int>(wait.count()));
}

QString ManagerModel::windowTitle() const { return display() + QStringLiteral(" Manager"); }

QString ManagerModel::display() const { return fromUtf8(identity_.display); }

QList<PaneRow> ManagerModel::panes()
{
    QList<PaneRow> rows;
    for (const Pane pane : allPanes) {
        rows.append({.title = title(pane), .symbol = symbol(pane)});
    }
    return rows;
}

void ManagerModel::setSectionIndex(int index)
{
    if (index >= 0 && std::cmp_less(index, allPanes.size())) {
        setSection(allPanes.at(static_cast<std::size_t>(index)));
    }
}

void ManagerModel::copyText(const QString& text) const
{
    checkThread();
    QGuiApplication::clipboard()->setText(text);
}

QList<StatRowValue> ManagerModel::overviewRows() const { return Overview::rows(status(), actions_); }

QList<SpaceShare> ManagerModel::spaceShares() const { return Overview::spaceShares(items()); }

QString ManagerModel::spaceTotal() const { return Overview::spaceTotal(items()); }

QList<GuideTopic> ManagerModel::guideTopics() const { return CodeManagerApp::guideTopics(display()); }

} // namespace CodeManagerApp
