#include <utility>

#include "CodeManagerApp/Model/InstallPane.h"
#include "CodeManagerApp/Model/ManagerModel.h"
#include "CodeManagerApp/Model/Outcome.h"
#include "CodeManagerApp/Model/QtText.h"
#include "ManagerCore/Installers/DatabaseCatalog.h"
#include "ManagerCore/Installers/DatabaseInstaller.h"

namespace CodeManagerApp
{

using namespace ManagerCore;

namespace
{

struct Listed {
    std::vector<Database> databases;
    std::vector<bool> installed;
};

// Any thread, as the two below.
Listed listAll()
{
    Listed listed {.databases = DatabaseCatalog::load(), .installed = {}};
    for (const Database& database : listed.databases) {
        listed.installed.push_back(database.installed());
    }
    return listed;
}

Outcome copyDatabase(const Database& database, const Progress::Watcher& watcher)
{
    const Proc::Out out = DatabaseInstaller::install(database, watcher.get());
    return outcomeOf(out.ok(), out.ok() ? "✓ installed to " + database.destPath().string() : "✗ failed: " + out.stderr);
}

Outcome trashDatabase(const Database& database) { return moveToTrash(database.destPath().string(), "Moved to Trash:"); }

} // namespace

QCoro::Task<> ManagerModel::reloadDatabases()
{
    Listed listed = co_await inBackground(&listAll);
    installedDatabases_ = std::move(listed.installed);
    setDatabases(std::move(listed.databases));
    databasesLoaded_ = true;
    Q_EMIT databaseRowsChanged();
}

QCoro::Task<> ManagerModel::installDatabase(Database database)
{
    const QString name = QStringLiteral("Installing ") + oneLine(database.name);
    if (!begin(name)) {
        co_return;
    }
    progress_.step(1, name);
    setConsole(fromUtf8("Installing " + database.name + "…\n"));
    const Outcome outcome = co_await inBackground(&copyDatabase, std::move(database), progress_.watcher());
    append(outcome.text);
    end(outcome.ok);
    reloadDatabases();
}

QCoro::Task<> ManagerModel::removeDatabase(Database database)
{
    if (!begin(QStringLiteral("Removing ") + oneLine(database.name))) {
        co_return;
    }
    const Outcome outcome = co_await inBackground(&trashDatabase, std::move(database));
    setConsole(outcome.text);
    end(outcome.ok);
    reloadDatabases();
}

QList<DatabaseValue> ManagerModel::databaseRows() const
{
    return InstallPane::databases(databases(), installedDatabases_);
}

void ManagerModel::requestDatabase(int row)
{
    if (row < 0 || std::cmp_greater_equal(row, databases().size())) {
        return;
    }
    const auto place = static_cast<std::size_t>(row);
    if (place < installedDatabases_.size() && installedDatabases_[place]) {
        removeDatabase(databases_[place]);
    } else {
        installDatabase(databases_[place]);
    }
}

} // namespace CodeManagerApp
