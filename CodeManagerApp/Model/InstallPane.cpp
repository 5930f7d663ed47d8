#include "CodeManagerApp/Model/InstallPane.h"

#include "CodeManagerApp/Model/QtText.h"
#include "ManagerCore/Foundation/Size.h"

namespace CodeManagerApp::InstallPane
{

QString description(const std::string& display)
{
    return fromUtf8("Build and install " + display + ", its model, and its local engine.");
}

QString desktopChoice(const std::string& display) { return fromUtf8("Also install the " + display + " desktop app"); }

QList<StatRowValue> modelRows(const std::optional<ManagerCore::Status>& status,
                              const std::optional<std::string>& configuredSlug)
{
    const QString dash = QString::fromUtf8(ManagerCore::unknownText);
    QList<StatRowValue> rows {
        {.label = QStringLiteral("Model"), .value = dash, .good = {}},
        {.label = QStringLiteral("Path"), .value = dash, .good = {}},
        {.label = QStringLiteral("Size"), .value = dash, .good = {}},
        {.label = QStringLiteral("Catalog"), .value = dash, .good = {}},
    };
    if (configuredSlug) {
        rows[3].value = oneLine(*configuredSlug);
    }
    if (!status) {
        return rows;
    }
    rows[0].value = status->modelPresent ? QStringLiteral("present") : QStringLiteral("absent");
    rows[0].good = status->modelPresent;
    if (status->modelPresent) {
        rows[1].value = oneLine(status->modelPath);
        rows[2].value = fromUtf8(ManagerCore::Size::human(status->modelBytes));
    }
    return rows;
}

QString installChecked(std::size_t count) { return QStringLiteral("Install Checked (%1)").arg(count); }

QList<DatabaseValue> databases(const std::vector<ManagerCore::Database>& databases, const std::vector<bool>& installed)
{
    QList<DatabaseValue> values;
    for (std::size_t index = 0; index < databases.size(); index++) {
        values.append({.name = oneLine(databases[index].name),
                       .detail = oneLine(databases[index].detail),
                       .installed = index < installed.size() && installed[index]});
    }
    return values;
}

} // namespace CodeManagerApp::InstallPane
