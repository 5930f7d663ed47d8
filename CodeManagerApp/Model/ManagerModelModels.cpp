#include <utility>

#include "CodeManagerApp/Model/InstallPane.h"
#include "CodeManagerApp/Model/ManagerModel.h"
#include "CodeManagerApp/Model/Outcome.h"
#include "CodeManagerApp/Model/QtText.h"
#include "CodeManagerApp/Model/Reasons.h"
#include "ManagerCore/Foundation/FilePath.h"
#include "ManagerCore/Health/Service.h"
#include "ManagerCore/Models/ModelBundleCheck.h"
#include "ManagerCore/Models/ModelCatalog.h"
#include "ManagerCore/Models/ModelInstaller.h"
#include "ManagerCore/Setup/InstallTexts.h"

namespace CodeManagerApp
{

using namespace ManagerCore;

namespace
{

struct Offered {
    std::vector<CatalogModel> models;
    std::set<std::string> bundled;
};

// Any thread.
Offered offeredBy(const std::string& projectDir)
{
    const std::string dir = ModelInstaller::installModelsDir(projectDir);
    Offered offered {.models = ModelCatalog::scan(dir), .bundled = {}};
    for (const CatalogModel& model : offered.models) {
        if (ModelBundleCheck::isBundled(model.repo, dir)) {
            offered.bundled.insert(model.slug);
        }
    }
    return offered;
}

struct Removal {
    std::string launchAgent; // may be empty
    std::string modelPath;
    bool byScript = false;
    std::string projectDir;
    std::string defaultsPath;
};

// Any thread. A backend that does not stop, or was not running, keeps nothing from being moved: what it has open stays
// readable for it.
Outcome removeModelBy(const Removal& removal, const Progress::Watcher& watcher)
{
    if (!removal.launchAgent.empty()) {
        Service::stop(removal.launchAgent);
    }
    if (!removal.byScript) {
        return moveToTrash(removal.modelPath, "Model moved to Trash:");
    }
    const Proc::Out out
        = ModelInstaller::uninstallConfiguredModel(removal.projectDir, removal.defaultsPath, watcher.get());
    return outcomeOf(out.ok(), InstallTexts::shown(out) + InstallTexts::removalEnding(out));
}

} // namespace

QCoro::Task<> ManagerModel::loadCatalog()
{
    checkThread();
    const std::string of = projectDir_;
    Offered offered = co_await inBackground(&offeredBy, of);
    if (of != projectDir_) {
        co_return; // another folder was chosen meanwhile, and its catalog is on its way
    }
    std::set<std::string> kept;
    for (const CatalogModel& model : offered.models) {
        kept.insert(checkedModelSlugs_.extract(model.slug));
    }
    const bool sameBundled = offered.bundled == bundled_;
    bundled_ = std::move(offered.bundled);
    setCatalog(std::move(offered.models));
    checkedModelSlugs_ = std::move(kept);
    Q_EMIT checkedModelSlugsChanged();
    if (!sameBundled) {
        Q_EMIT bundledChanged();
    }
}

QCoro::Task<> ManagerModel::resolveSlug()
{
    checkThread();
    const std::string of = projectDir_;
    auto slug = co_await inBackground(&ModelInstaller::resolvedSlug, of, actions_.defaultsPath);
    if (of != projectDir_) {
        co_return; // as above
    }
    change(configuredSlug_, std::move(slug), &ManagerModel::modelRowsChanged);
}

QCoro::Task<> ManagerModel::removeModel()
{
    const std::optional<Status> shown = status();
    if (busy() || !shown || shown->modelPath.empty()) {
        co_return;
    }
    const Removal removal {.launchAgent = actions_.launchAgent,
                           .modelPath = shown->modelPath,
                           .byScript
                           = shown->modelCatalogInstalled && !projectDir().empty() && !actions_.defaultsPath.empty(),
                           .projectDir = projectDir(),
                           .defaultsPath = actions_.defaultsPath};
    const QString name = QStringLiteral("Removing the model");
    setConsole({});
    begin(name);
    progress_.step(1, name, removal.byScript);
    const Outcome removed = co_await inBackground(&removeModelBy, removal, progress_.watcher());
    setConsole(removed.text);
    end(removed.ok);
    refresh();
}

void ManagerModel::selectAllModels()
{
    std::set<std::string> slugs;
    for (const CatalogModel& model : catalog()) {
        slugs.insert(model.slug);
    }
    setCheckedModelSlugs(std::move(slugs));
}

bool ManagerModel::isBundled(const std::string& slug) const
{
    checkThread();
    return bundled_.contains(slug);
}

QList<StatRowValue> ManagerModel::modelRows() const { return InstallPane::modelRows(status(), configuredSlug_); }

QString ManagerModel::reasonAgainstRevealingModel() const
{
    const std::optional<Status>& shown = status();
    if (!shown) {
        return QStringLiteral("It is not known yet whether there is a model.");
    }
    return shown->modelPath.empty() ? QStringLiteral("There is no model.") : QString();
}

QString ManagerModel::reasonAgainstRemovingModel() const
{
    return busy() ? Reasons::anotherOperation() : reasonAgainstRevealingModel();
}

QString ManagerModel::installCheckedText() const { return InstallPane::installChecked(checkedModelSlugs().size()); }

QString ManagerModel::noModelsText() const
{
    return projectDir().empty() ? fromUtf8(InstallTexts::locateProjectFirst())
                                : QStringLiteral("The project's catalog offers no models.");
}

void ManagerModel::requestModels()
{
    loadCatalog();
    resolveSlug();
}

void ManagerModel::requestRevealModel()
{
    const std::optional<Status>& shown = status();
    if (shown && !shown->modelPath.empty()) {
        reveal(FilePath::expandTilde(shown->modelPath).native());
    }
}

} // namespace CodeManagerApp
