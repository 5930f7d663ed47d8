#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <unordered_set>
#include <vector>

#include <QObject>
#include <QString>
#include <QThreadPool>
#include <QUrl>
#include <QtConcurrentRun>
#include <QtQml/qqmlregistration.h>

#include <qcorotask.h>

#include "CodeManagerApp/Model/ComponentList.h"
#include "CodeManagerApp/Model/Console.h"
#include "CodeManagerApp/Model/CruciblePane.h"
#include "CodeManagerApp/Model/InBackground.h"
#include "CodeManagerApp/Model/ModelChecklist.h"
#include "CodeManagerApp/Model/Pane.h"
#include "CodeManagerApp/Model/Progress.h"
#include "CodeManagerApp/Model/QtText.h"
#include "CodeManagerApp/Model/ServicePane.h"
#include "CodeManagerApp/Model/ViewRecords.h"
#include "ManagerCore/Crucible/CrucibleTopology.h"
#include "ManagerCore/Doctor/Doctor.h"
#include "ManagerCore/Foundation/Identity.h"
#include "ManagerCore/Foundation/ManagerActions.h"
#include "ManagerCore/Health/Status.h"
#include "ManagerCore/Installers/Database.h"
#include "ManagerCore/Inventory/FoundItem.h"
#include "ManagerCore/Models/CatalogModel.h"

namespace CodeManagerApp
{

// All that the window shows, and all that its user can do. Made once and kept until the program ends. It lives on the
// interface thread: everything here is called there, which debug builds check, and nothing here waits. Work that blocks
// runs on other threads, on copies of what it needs; its results are stored here when it is done. Every field tells
// when it has changed.
class ManagerModel : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The program makes the one there is.")

    Q_PROPERTY(QString windowTitle READ windowTitle CONSTANT)
    Q_PROPERTY(QString display READ display CONSTANT)
    Q_PROPERTY(QList<CodeManagerApp::PaneRow> panes READ panes CONSTANT)
    Q_PROPERTY(int section READ sectionIndex WRITE setSectionIndex NOTIFY sectionChanged)
    Q_PROPERTY(bool refreshing READ refreshing NOTIFY refreshingChanged)
    Q_PROPERTY(bool scanning READ scanning NOTIFY scanningChanged)
    Q_PROPERTY(bool busy READ busy NOTIFY busyChanged)
    Q_PROPERTY(bool crucibleBusy READ crucibleBusy NOTIFY crucibleBusyChanged)
    Q_PROPERTY(bool operationRuns READ operationRuns NOTIFY operationRunsChanged)
    Q_PROPERTY(QString console READ console NOTIFY consoleChanged)
    Q_PROPERTY(QList<CodeManagerApp::StatRowValue> overviewRows READ overviewRows NOTIFY statusChanged)
    Q_PROPERTY(QList<CodeManagerApp::SpaceShare> spaceShares READ spaceShares NOTIFY itemsChanged)
    Q_PROPERTY(QString spaceTotal READ spaceTotal NOTIFY itemsChanged)
    Q_PROPERTY(bool checking READ checking NOTIFY checkingChanged)
    Q_PROPERTY(QList<CodeManagerApp::FindingValue> findingRows READ findingRows NOTIFY findingsChanged)
    Q_PROPERTY(QString findingsSummary READ findingsSummary NOTIFY findingsChanged)
    Q_PROPERTY(QString serviceState READ serviceState NOTIFY statusChanged)
    Q_PROPERTY(QVariant serviceRuns READ serviceRuns NOTIFY statusChanged)
    Q_PROPERTY(QList<CodeManagerApp::ActionState> serviceActions READ serviceActions NOTIFY serviceActionsChanged)
    Q_PROPERTY(CodeManagerApp::ActionState openLogAction READ openLogAction CONSTANT)
    Q_PROPERTY(CodeManagerApp::ComponentList* components READ components CONSTANT)
    Q_PROPERTY(bool scanned READ scanned NOTIFY scannedChanged)
    Q_PROPERTY(bool nothingFound READ nothingFound NOTIFY itemsChanged)
    Q_PROPERTY(QString nothingInstalledText READ nothingInstalledText CONSTANT)
    Q_PROPERTY(QString totalsText READ totalsText NOTIFY totalsChanged)
    Q_PROPERTY(QString confirmationTitle READ confirmationTitle NOTIFY totalsChanged)
    Q_PROPERTY(QString reasonAgainstSelecting READ reasonAgainstSelecting NOTIFY totalsChanged)
    Q_PROPERTY(QString reasonAgainstClearing READ reasonAgainstClearing NOTIFY totalsChanged)
    Q_PROPERTY(QString reasonAgainstMoving READ reasonAgainstMoving NOTIFY totalsChanged)
    Q_PROPERTY(bool crucibleKnown READ crucibleKnown NOTIFY crucibleChanged)
    Q_PROPERTY(QList<CodeManagerApp::CrucibleSiteValue> crucibleSites READ crucibleSites NOTIFY crucibleRowsChanged)
    Q_PROPERTY(QList<CodeManagerApp::CrucibleLinkValue> crucibleLinks READ crucibleLinks NOTIFY crucibleChanged)
    Q_PROPERTY(bool servedLinkDangles READ servedLinkDangles NOTIFY crucibleChanged)
    Q_PROPERTY(QString reasonAgainstCrucibleWork READ reasonAgainstCrucibleWork NOTIFY crucibleRowsChanged)
    Q_PROPERTY(QString reasonAgainstRepairing READ reasonAgainstRepairing NOTIFY crucibleRowsChanged)
    Q_PROPERTY(CodeManagerApp::Progress* progress READ progress CONSTANT)
    Q_PROPERTY(QString reasonAgainstOperations READ reasonAgainstOperations NOTIFY busyChanged)
    Q_PROPERTY(QString project READ project NOTIFY projectDirChanged)
    Q_PROPERTY(QString installDescription READ installDescription CONSTANT)
    Q_PROPERTY(QString desktopChoice READ desktopChoice CONSTANT)
    Q_PROPERTY(bool installDesktop READ installDesktopChecked WRITE setInstallDesktopChecked NOTIFY
                   installDesktopCheckedChanged)
    Q_PROPERTY(QList<CodeManagerApp::StatRowValue> modelRows READ modelRows NOTIFY modelRowsChanged)
    Q_PROPERTY(QString reasonAgainstRevealingModel READ reasonAgainstRevealingModel NOTIFY modelRowsChanged)
    Q_PROPERTY(QString reasonAgainstRemovingModel READ reasonAgainstRemovingModel NOTIFY modelRowsChanged)
    Q_PROPERTY(CodeManagerApp::ModelChecklist* checklist READ checklist CONSTANT)
    Q_PROPERTY(QString installCheckedText READ installCheckedText NOTIFY checkedModelSlugsChanged)
    Q_PROPERTY(QString noModelsText READ noModelsText NOTIFY projectDirChanged)
    Q_PROPERTY(bool databasesLoaded READ databasesLoaded NOTIFY databaseRowsChanged)
    Q_PROPERTY(QList<CodeManagerApp::DatabaseValue> databaseRows READ databaseRows NOTIFY databaseRowsChanged)

public:
    // Fills every field with its initial value, finds the project folder and honours CM_PANE.
    ManagerModel(ManagerCore::Identity identity, ManagerCore::ManagerActions actions, QObject* parent = nullptr);
    // Waits for work that is under way; its results are dropped.
    ~ManagerModel() override;
    ManagerModel(const ManagerModel&) = delete;
    ManagerModel& operator=(const ManagerModel&) = delete;

    [[nodiscard]] const ManagerCore::Identity& identity() const { return identity_; }
    [[nodiscard]] const ManagerCore::ManagerActions& actions() const { return actions_; }
    static constexpr std::size_t consoleCap = Console::cap;

    [[nodiscard]] Pane section() const;
    void setSection(Pane section);
    [[nodiscard]] const std::optional<ManagerCore::Status>& status() const;
    void setStatus(std::optional<ManagerCore::Status> status);
    [[nodiscard]] const std::vector<ManagerCore::FoundItem>& items() const;
    void setItems(std::vector<ManagerCore::FoundItem> items);
    [[nodiscard]] const std::unordered_set<std::string>& checked() const;
    void setChecked(std::unordered_set<std::string> checked);
    [[nodiscard]] const std::set<ManagerCore::ArtifactCategory>& expanded() const;
    void setExpanded(std::set<ManagerCore::ArtifactCategory> expanded);
    [[nodiscard]] bool scanning() const;
    void setScanning(bool scanning);
    [[nodiscard]] bool busy() const;
    void setBusy(bool busy);
    [[nodiscard]] const QString& console() const;
    // Keeps the last `consoleCap` characters.
    void setConsole(const QString& console);
    [[nodiscard]] const std::vector<ManagerCore::Database>& databases() const;
    void setDatabases(std::vector<ManagerCore::Database> databases);
    [[nodiscard]] const std::optional<ManagerCore::CrucibleTopology>& crucible() const;
    void setCrucible(std::optional<ManagerCore::CrucibleTopology> crucible);
    [[nodiscard]] bool crucibleBusy() const;
    void setCrucibleBusy(bool crucibleBusy);
    [[nodiscard]] const std::string& projectDir() const;
    void setProjectDir(std::string projectDir);
    [[nodiscard]] const std::vector<ManagerCore::CatalogModel>& catalog() const;
    void setCatalog(std::vector<ManagerCore::CatalogModel> catalog);
    [[nodiscard]] const std::set<std::string>& checkedModelSlugs() const;
    void setCheckedModelSlugs(std::set<std::string> slugs);
    [[nodiscard]] bool installDesktopChecked() const;
    void setInstallDesktopChecked(bool checked);

    // Of the last check; none before the first and when it was closed.
    [[nodiscard]] const std::vector<ManagerCore::Doctor::Finding>& findings() const;
    void setFindings(std::vector<ManagerCore::Doctor::Finding> findings);
    [[nodiscard]] bool checking() const;

    // Takes a new snapshot of the product's health.
    QCoro::Task<> refresh();
    // Checks what the product needs. Nothing happens while that is under way.
    QCoro::Task<> check();
    void closeCheck();
    // Starts, stops or restarts the backend, then refreshes. Nothing happens for a product without a launch agent.
    QCoro::Task<> perform(ServiceOp op);
    // Opens the backend's log in its default application.
    QCoro::Task<> openLog();

    // Finds everything that the product put on disk. Ticks stay with the items that are still there.
    QCoro::Task<> scan();
    void toggle(const std::string& path);
    void setTicked(std::vector<std::string> paths, bool ticked);
    void selectAll();
    void clear();
    void toggleExpanded(ManagerCore::ArtifactCategory category);
    // The items that are ticked, in their order, and the space they take.
    [[nodiscard]] std::vector<ManagerCore::FoundItem> chosen() const;
    [[nodiscard]] std::int64_t chosenBytes() const;
    // Moves them to the Trash, tells the outcome of each, and scans anew.
    QCoro::Task<> moveChosenToTrash();
    // Shows the item in the file manager.
    QCoro::Task<> reveal(std::string path);

    // Reads the layout of the store of weights anew.
    QCoro::Task<> refreshCrucible();
    // Points the store's root link at the folder. Nothing happens before the layout was read.
    QCoro::Task<> setCrucibleRoot(std::filesystem::path folder);
    // Serves the weights from this site of the layout, and restarts the backend when that is done.
    QCoro::Task<> serveFrom(std::size_t site);
    // Looks at all links of the store; re-aims those that dangle at copies that exist.
    QCoro::Task<> checkLinks();
    QCoro::Task<> repairLinks();
    // Writes down where the store's links lead; makes the links of such a file again.
    QCoro::Task<> backUpLinks(std::filesystem::path file);
    QCoro::Task<> restoreLinks(std::filesystem::path file);

    // Installs the product or parts of it from its project folder, and its models, with what the scripts print in the
    // console. Nothing happens while another operation runs; what is missing is told in the console.
    QCoro::Task<> installCli();
    QCoro::Task<> installEverything();
    QCoro::Task<> installConfiguredModel();
    QCoro::Task<> installCheckedModels();
    // Stops the backend and moves the served model to the Trash. Nothing happens before a snapshot shows one.
    QCoro::Task<> removeModel();
    // Works with this project folder from now on, and remembers it.
    QCoro::Task<> chooseProject(std::filesystem::path folder);
    // Reads anew what the catalog offers; ticks stay with the models that it still has.
    QCoro::Task<> loadCatalog();
    // Looks up what the catalog calls the configured model.
    QCoro::Task<> resolveSlug();
    void selectAllModels();
    [[nodiscard]] bool isBundled(const std::string& slug) const;

    // Reads the descriptors of the databases anew.
    QCoro::Task<> reloadDatabases();
    // Nothing happens while another operation runs.
    QCoro::Task<> installDatabase(ManagerCore::Database database);
    QCoro::Task<> removeDatabase(ManagerCore::Database database);

    // Whether the work under way has ended, or does so in this time; the only thing here that waits, for the end of the
    // program.
    [[nodiscard]] bool settles(std::chrono::milliseconds wait);

    // What the views show and call.
    [[nodiscard]] QString windowTitle() const;
    [[nodiscard]] QString display() const;
    [[nodiscard]] static QList<PaneRow> panes();
    [[nodiscard]] int sectionIndex() const { return static_cast<int>(section()); }
    void setSectionIndex(int index);
    [[nodiscard]] bool refreshing() const { return refreshes_ > 0; }
    // Whether something runs that closing the window would cut short.
    [[nodiscard]] bool operationRuns() const { return busy() || crucibleBusy() || works_ > 0; }
    [[nodiscard]] QList<StatRowValue> overviewRows() const;
    [[nodiscard]] QList<SpaceShare> spaceShares() const;
    [[nodiscard]] QString spaceTotal() const;
    [[nodiscard]] QList<FindingValue> findingRows() const;
    [[nodiscard]] QString findingsSummary() const;
    [[nodiscard]] QString serviceState() const;
    [[nodiscard]] QVariant serviceRuns() const; // invalid before the first snapshot
    [[nodiscard]] QList<ActionState> serviceActions() const;
    [[nodiscard]] ActionState openLogAction() const;
    Q_INVOKABLE void requestRefresh() { refresh(); }
    Q_INVOKABLE void requestCheck() { check(); }
    Q_INVOKABLE void requestCloseCheck() { closeCheck(); }
    Q_INVOKABLE void requestService(int index);
    Q_INVOKABLE void requestOpenLog() { openLog(); }
    Q_INVOKABLE [[nodiscard]] QList<CodeManagerApp::GuideTopic> guideTopics() const;
    [[nodiscard]] ComponentList* components() { return &components_; }
    [[nodiscard]] bool scanned() const { return scanned_; } // once, at least
    [[nodiscard]] bool nothingFound() const { return items().empty(); }
    [[nodiscard]] QString nothingInstalledText() const;
    [[nodiscard]] QString totalsText() const;
    [[nodiscard]] QString confirmationTitle() const;
    // Why an action cannot be taken now; empty where it can.
    [[nodiscard]] QString reasonAgainstSelecting() const;
    [[nodiscard]] QString reasonAgainstClearing() const;
    [[nodiscard]] QString reasonAgainstMoving() const;
    [[nodiscard]] bool crucibleKnown() const { return crucible().has_value(); }
    [[nodiscard]] QList<CrucibleSiteValue> crucibleSites() const;
    [[nodiscard]] QList<CrucibleLinkValue> crucibleLinks() const;
    [[nodiscard]] bool servedLinkDangles() const;
    [[nodiscard]] QString reasonAgainstCrucibleWork() const;
    [[nodiscard]] QString reasonAgainstRepairing() const;
    [[nodiscard]] Progress* progress() { return &progress_; }
    [[nodiscard]] QString reasonAgainstOperations() const;
    [[nodiscard]] QString project() const; // on one line; empty where there is none
    [[nodiscard]] QString installDescription() const;
    [[nodiscard]] QString desktopChoice() const;
    [[nodiscard]] QList<StatRowValue> modelRows() const;
    [[nodiscard]] QString reasonAgainstRevealingModel() const;
    [[nodiscard]] QString reasonAgainstRemovingModel() const;
    [[nodiscard]] ModelChecklist* checklist() { return &checklist_; }
    [[nodiscard]] QString installCheckedText() const;
    [[nodiscard]] QString noModelsText() const;
    [[nodiscard]] bool databasesLoaded() const { return databasesLoaded_; } // once, at least
    [[nodiscard]] QList<DatabaseValue> databaseRows() const;
    Q_INVOKABLE void requestInstallCli() { installCli(); }
    Q_INVOKABLE void requestInstallEverything() { installEverything(); }
    Q_INVOKABLE void requestInstallModel() { installConfiguredModel(); }
    Q_INVOKABLE void requestInstallChecked() { installCheckedModels(); }
    Q_INVOKABLE void requestRemoveModel() { removeModel(); }
    Q_INVOKABLE void requestProject(const QUrl& folder) { chooseProject(toPath(folder)); }
    Q_INVOKABLE void requestModels();
    Q_INVOKABLE void requestSelectAllModels() { selectAllModels(); }
    Q_INVOKABLE void requestRevealModel();
    Q_INVOKABLE void requestDatabases() { reloadDatabases(); }
    // Installs the database of the row, or removes it where it is installed.
    Q_INVOKABLE void requestDatabase(int row);
    Q_INVOKABLE void copyText(const QString& text) const;
    Q_INVOKABLE void requestCrucible() { refreshCrucible(); }
    Q_INVOKABLE void requestCrucibleRoot(const QUrl& folder) { setCrucibleRoot(toPath(folder)); }
    Q_INVOKABLE void requestServe(int site);
    Q_INVOKABLE void requestLinkCheck() { checkLinks(); }
    Q_INVOKABLE void requestLinkRepair() { repairLinks(); }
    Q_INVOKABLE void requestLinkBackup(const QUrl& file) { backUpLinks(toPath(file)); }
    Q_INVOKABLE void requestLinkRestoration(const QUrl& file) { restoreLinks(toPath(file)); }
    Q_INVOKABLE void requestScan() { scan(); }
    Q_INVOKABLE void requestSelectAll() { selectAll(); }
    Q_INVOKABLE void requestClear() { clear(); }
    Q_INVOKABLE void requestMoveToTrash() { moveChosenToTrash(); }

Q_SIGNALS:
    void sectionChanged();
    void statusChanged();
    void itemsChanged();
    void checkedChanged();
    void expandedChanged();
    void scanningChanged();
    void busyChanged();
    void consoleChanged();
    void databasesChanged();
    void crucibleChanged();
    void crucibleBusyChanged();
    void projectDirChanged();
    void catalogChanged();
    void checkedModelSlugsChanged();
    void installDesktopCheckedChanged();
    void refreshingChanged();
    void operationRunsChanged();
    void serviceActionsChanged();
    void scannedChanged();
    void drivesChanged();
    void danglingChanged();
    void crucibleRowsChanged();
    void totalsChanged();
    void modelRowsChanged();
    void bundledChanged();
    void checkingChanged();
    void findingsChanged();
    void databaseRowsChanged();

private:
    void checkThread() const;
    // Of an operation that shows how far it is, which `end` must follow: false, and nothing happens, while another one
    // runs.
    bool begin(const QString& name, std::size_t steps = 1);
    void end(bool good);
    // The same once there is a project folder, with the first words of the console; else it says what is missing.
    bool beginWithProject(const QString& name, const std::string& firstWords, std::size_t steps = 1);
    // Of an operation beside which others may run: the first of them that ends resets the flags that they share.
    void beginWork() { change(works_, works_ + 1, &ManagerModel::operationRunsChanged); }
    void endWork() { change(works_, works_ - 1, &ManagerModel::operationRunsChanged); }
    // The same where links of the store are changed or written down.
    void beginCrucibleWork();
    void endCrucibleWork();
    void append(const QString& text);
    // Of what is no operation: replaces the console, or becomes a line of its own below what a running one has written.
    void report(const QString& text);
    // What is ticked, in the catalog's order.
    [[nodiscard]] std::vector<ManagerCore::CatalogModel> checkedModels() const;
    QCoro::Task<> tellDesktop(std::string message);
    void keepTicksOfFoundItems();
    template <typename Value> void change(Value& field, Value value, void (ManagerModel::*changed)())
    {
        checkThread();
        if (field == value) {
            return;
        }
        field = std::move(value);
        Q_EMIT(this->*changed)();
    }

    // To be awaited: the result of `function` with copies of `arguments`, called on another thread.
    template <typename Function, typename... Arguments> auto inBackground(Function function, Arguments... arguments)
    {
        checkThread();
        return Awaited(this, QtConcurrent::run(&pool_, function, std::move(arguments)...));
    }

    const ManagerCore::Identity identity_;
    const ManagerCore::ManagerActions actions_;
    Pane section_ = Pane::overview;
    std::optional<ManagerCore::Status> status_;
    std::vector<ManagerCore::FoundItem> items_;
    std::unordered_set<std::string> checked_; // paths of items
    std::set<ManagerCore::ArtifactCategory> expanded_;
    bool scanning_ = false;
    bool busy_ = false;
    QString console_;
    std::vector<ManagerCore::Database> databases_;
    std::optional<ManagerCore::CrucibleTopology> crucible_;
    bool crucibleBusy_ = false;
    std::string projectDir_;
    std::vector<ManagerCore::CatalogModel> catalog_;
    std::set<std::string> checkedModelSlugs_;
    bool installDesktopChecked_ = true;

    int refreshes_ = 0;
    int works_ = 0; // operations under way that may run beside others
    bool scanned_ = false;
    bool checking_ = false;
    std::vector<ManagerCore::Doctor::Finding> findings_;
    CruciblePane::DriveSpaces drives_; // of the sites of `crucible_`
    int dangling_ = -1; // links that dangled when they were looked at last; negative before
    std::set<std::string> bundled_; // slugs of the catalog
    std::optional<std::string> configuredSlug_;
    std::vector<bool> installedDatabases_; // one for each of `databases_`
    bool databasesLoaded_ = false;
    QString operation_; // the name of the one under way
    Progress progress_ {this};
    ComponentList components_ {*this};
    ModelChecklist checklist_ {*this};
    QThreadPool pool_; // of its own: its threads wait for children, and must not keep others from working
};

} // namespace CodeManagerApp
