#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include <QList>

#include "CodeManagerApp/Model/ViewRecords.h"
#include "ManagerCore/Health/Status.h"
#include "ManagerCore/Installers/Database.h"

// What the Install, Model and Databases panes show.
namespace CodeManagerApp::InstallPane
{

// "Install / Update", what that does, and the choice that goes with it.
QString description(const std::string& display);
QString desktopChoice(const std::string& display);

// The served model, as the last snapshot tells it, and what the catalog calls the configured one.
QList<StatRowValue> modelRows(const std::optional<ManagerCore::Status>& status,
                              const std::optional<std::string>& configuredSlug);

QString installChecked(std::size_t count);

// One for each database; `installed` tells which of them are on the disk.
QList<DatabaseValue> databases(const std::vector<ManagerCore::Database>& databases, const std::vector<bool>& installed);

} // namespace CodeManagerApp::InstallPane
