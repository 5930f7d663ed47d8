#include <map>

#include "ManagerCore/Doctor/Checks.h"
#include "ManagerCore/Doctor/Report.h"
#include "ManagerCore/Foundation/FilePath.h"
#include "ManagerCore/Foundation/Text.h"
#include "ManagerCore/Installers/Database.h"
#include "ManagerCore/Installers/DatabaseCatalog.h"

namespace ManagerCore::Doctor
{

namespace
{

using Path = std::filesystem::path;

class DatabasesCheck
{
public:
    std::vector<Finding> findings()
    {
        const auto folder = DatabaseCatalog::folder();
        if (!folder || folder->empty()) {
            report_.warn("There is no folder of database descriptors, so none can be installed: name one with "
                         "CM_DATABASES_DIR.");
            return report_.take();
        }
        const std::string named = "The folder of database descriptors " + inQuotes(*folder);
        if (const auto fault = faultOfFolder(*folder)) {
            report_.lacks(standingOf(*folder), named + " " + *fault + ": name another one with CM_DATABASES_DIR.");
            return report_.take();
        }
        const std::vector<Path> files = DatabaseCatalog::descriptorsIn(*folder);
        if (files.empty()) {
            report_.warn(named + " has none: put some there, or name another one with CM_DATABASES_DIR.");
        }
        for (const Path& file : files) {
            lookAt(file);
        }
        return report_.take();
    }

private:
    void lookAt(const Path& file)
    {
        const auto text = Text::readFile(file);
        if (!text) {
            report_.fail(advised(text.error(), "fix " + inQuotes(file) + " or take it away"));
        } else if (const auto database = Database::load(file)) {
            lookAt(file, *database);
        } else {
            report_.fail("The database descriptor " + inQuotes(file) + " gives no id: give it one.");
        }
    }

    void lookAt(const Path& file, const Database& database)
    {
        const std::string from = "The database " + inQuotes(database.name) + " of " + inQuotes(file);
        if (const auto [first, isNew] = files_.emplace(database.id, file); !isNew) {
            report_.fail(from + " has the id " + inQuotes(database.id) + " of " + inQuotes(first->second)
                         + " and cannot be told from it: give it another one.");
            return;
        }
        const Path dest = database.destPath();
        if (dest.empty()) {
            report_.fail(from + " does not say where it belongs: give it “dest”.");
            return;
        }
        if (const auto [first, isNew] = places_.emplace(dest, database.name); !isNew) {
            report_.fail(from + " belongs to the place of " + inQuotes(first->second) + ", " + inQuotes(dest)
                         + ", and would replace it: give it another “dest”.");
            return;
        }
        lookAtPlaces(from, database);
    }

    void lookAtPlaces(const std::string& from, const Database& database)
    {
        const Path source = database.sourcePath();
        const bool hasSource = FilePath::exists(source);
        if (database.source.empty()) {
            report_.fail(from + " does not say what it is copied from: give it “source”.");
        } else if (database.installed()) {
            report_.ok(from + " is installed at " + inQuotes(database.destPath())
                       + (hasSource ? "." : ", though its source " + inQuotes(source) + " is not there."));
        } else if (hasSource) {
            report_.warn(from + " is not installed: install it in the Databases pane or with “database install”.");
        } else {
            report_.warn(from + " is not installed and its source " + inQuotes(source)
                         + " is not there: get it, or name another one with CM_DB_SOURCE_" + database.id + ".");
        }
    }

    Report report_ {"databases"};
    std::map<std::string, Path> files_; // by id
    std::map<Path, std::string> places_; // names by destination
};

} // namespace

std::vector<Finding> checkDatabases(const Subject& /*subject*/) { return DatabasesCheck().findings(); }

} // namespace ManagerCore::Doctor
