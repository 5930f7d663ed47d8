#include <algorithm>
#include <utility>

#include "CodeManagerApp/Model/InstallPane.h"
#include "CodeManagerApp/Model/ManagerModel.h"
#include "CodeManagerApp/Model/Outcome.h"
#include "CodeManagerApp/Model/QtText.h"
#include "ManagerCore/Foundation/ProjectDir.h"
#include "ManagerCore/Installers/Installer.h"
#include "ManagerCore/Models/ModelInstaller.h"
#include "ManagerCore/Models/ModelInstallerRun.h"
#include "ManagerCore/Setup/InstallEverything.h"
#include "ManagerCore/Setup/InstallTexts.h"

namespace CodeManagerApp
{

using namespace ManagerCore;

namespace
{

Outcome ranWith(const Proc::Out& out)
{
    return outcomeOf(out.ok(), InstallTexts::shown(out) + InstallTexts::ending(out));
}

// Any thread, all of them.
Outcome installCliOf(const std::string& projectDir, const Progress::Watcher& watcher)
{
    return ranWith(Installer::run(projectDir, watcher.get()));
}

Outcome installModelOf(const std::string& projectDir, const std::string& defaultsPath, const Progress::Watcher& watcher)
{
    return ranWith(ModelInstaller::installConfiguredModel(projectDir, defaultsPath, watcher.get()));
}

Outcome installSlug(const std::string& slug, const std::string& projectDir, const Progress::Watcher& watcher)
{
    return ranWith(ModelInstallerRun::install(slug, projectDir, watcher.get()));
}

struct StepOutcome : Outcome {
    bool ends = false; // nothing comes after it
};

StepOutcome
performStep(const InstallEverything::Plan& plan, InstallEverything::Step step, const Progress::Watcher& watcher)
{
    const InstallEverything::Outcome outcome = InstallEverything::perform(plan, step, watcher.get());
    return {outcomeOf(!outcome.failed, outcome.text()), outcome.ends};
}

// "Installing the model…" without its dots.
QString named(InstallEverything::Step step)
{
    QString text = fromUtf8(InstallEverything::doing(step));
    text.remove(QChar(u'…'));
    return text;
}

} // namespace

bool ManagerModel::beginWithProject(const QString& name, const std::string& firstWords, std::size_t steps)
{
    if (busy()) {
        return false;
    }
    if (projectDir().empty()) {
        setConsole(fromUtf8(InstallTexts::locateProjectFirst()));
        return false;
    }
    setConsole(fromUtf8(firstWords));
    return begin(name, steps);
}

QCoro::Task<> ManagerModel::installCli()
{
    const QString name = QStringLiteral("Installing ") + display();
    if (!beginWithProject(name, InstallTexts::installing(identity_))) {
        co_return;
    }
    progress_.step(1, name);
    const Outcome ran = co_await inBackground(&installCliOf, projectDir_, progress_.watcher());
    append(ran.text);
    end(ran.ok);
    refresh();
}

QCoro::Task<> ManagerModel::installConfiguredModel()
{
    if (!busy() && !projectDir().empty() && actions_.defaultsPath.empty()) {
        setConsole(fromUtf8(InstallTexts::noDefaultsPath(identity_)));
        co_return;
    }
    const QString name = QStringLiteral("Installing the model");
    if (!beginWithProject(name, InstallTexts::installingModel(identity_))) {
        co_return;
    }
    progress_.step(1, name);
    const Outcome ran = co_await inBackground(&installModelOf, projectDir_, actions_.defaultsPath, progress_.watcher());
    append(ran.text);
    end(ran.ok);
    refresh();
}

QCoro::Task<> ManagerModel::installEverything()
{
    const InstallEverything::Plan plan {
        .identity = identity_, .actions = actions_, .projectDir = projectDir(), .desktop = installDesktopChecked()};
    const QString name = QStringLiteral("Installing ") + display();
    if (!beginWithProject(name, {}, InstallEverything::total(plan))) {
        co_return;
    }
    bool good = true;
    const std::vector<InstallEverything::Step> steps = InstallEverything::steps(plan);
    for (const InstallEverything::Step step : steps) {
        if (const std::size_t number = InstallEverything::number(plan, step); number > 0) {
            append(fromUtf8(InstallEverything::opening(plan, step)));
            progress_.step(number, named(step), step != InstallEverything::Step::service);
        }
        const StepOutcome ran = co_await inBackground(&performStep, plan, step, progress_.watcher());
        append(ran.text);
        good = good && ran.ok;
        if (ran.ends) {
            break;
        }
    }
    end(good);
    refresh();
}

std::vector<CatalogModel> ManagerModel::checkedModels() const
{
    std::set<std::string> left = checkedModelSlugs();
    std::vector<CatalogModel> models;
    for (const CatalogModel& model : catalog()) {
        if (left.erase(model.slug) > 0) {
            models.push_back(model);
        }
    }
    for (const std::string& slug : left) { // the catalog does not have them any more; the script says so
        models.push_back({.slug = slug, .name = slug, .repo = {}, .size = {}});
    }
    return models;
}

QCoro::Task<> ManagerModel::installCheckedModels()
{
    const std::vector<CatalogModel> models = checkedModels();
    if (!busy() && !projectDir().empty() && models.empty()) {
        setConsole(fromUtf8(InstallTexts::checkAModelFirst()));
        co_return;
    }
    if (!beginWithProject(
            QStringLiteral("Installing models"), InstallTexts::installingModels(models.size()), models.size())) {
        co_return;
    }
    std::size_t good = 0;
    for (std::size_t index = 0; index < models.size() && !progress_.stopRequested(); index++) {
        const std::string& name = models[index].name;
        append(fromUtf8(InstallTexts::progress(index + 1, models.size(), "Installing " + name + "…")));
        progress_.step(index + 1, QStringLiteral("Installing ") + oneLine(name));
        const Outcome ran = co_await inBackground(&installSlug, models[index].slug, projectDir_, progress_.watcher());
        append(ran.text);
        good += ran.ok ? 1 : 0;
    }
    const QString sum = fromUtf8(InstallTexts::installedOf(good, models.size()));
    append(console().endsWith(QLatin1Char('\n')) ? sum : QLatin1Char('\n') + sum);
    end(good == models.size());
    refresh();
}

QCoro::Task<> ManagerModel::chooseProject(std::filesystem::path folder)
{
    setProjectDir(folder.native());
    loadCatalog();
    co_await inBackground(&ProjectDir::remember, identity_.name, projectDir_);
}

QString ManagerModel::project() const { return oneLine(projectDir()); }

QString ManagerModel::installDescription() const { return InstallPane::description(identity_.display); }

QString ManagerModel::desktopChoice() const { return InstallPane::desktopChoice(identity_.display); }

} // namespace CodeManagerApp
