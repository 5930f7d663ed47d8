#include "ManagerCore/Installers/Database.h"

#include <cstdlib>

#include "Fuzz/Target.h"
#include "Fuzz/Written.h"
#include "ManagerCore/Foundation/Text.h"
#include "ManagerCore/Installers/DatabaseCatalog.h"

namespace
{

using Fuzz::require;
using Fuzz::Written::line;
using ManagerCore::Database;

std::string writtenDatabase(const Database& database)
{
    return line("id", database.id) + line("name", database.name) + line("description", database.detail)
        + line("source", database.source) + line("dest", database.dest);
}

void runDatabase(std::string_view input)
{
    const auto folder = Fuzz::folder() / "databases";
    ::setenv("CM_DATABASES_DIR", folder.c_str(), 1);
    const auto file = folder / "one.toml";
    Fuzz::put(file, input);
    const auto database = Database::load(file);
    const auto catalog = ManagerCore::DatabaseCatalog::load();
    require(catalog == (database ? std::vector {*database} : std::vector<Database> {}),
            "The catalog has what its files tell.");
    if (!database) {
        return;
    }
    require(ManagerCore::Text::isUtf8(input), "What is no text says nothing.");
    require(database->sourcePath().empty() || database->sourcePath().is_absolute(), "Sources are full paths.");
    require(database->destPath().empty() || database->destPath().is_absolute(), "Destinations are full paths.");
    require(!database->installed() || !database->dest.empty(), "Nothing exists at no place.");
    const std::string written = writtenDatabase(*database);
    if (Fuzz::Written::isPlain(written)) {
        Fuzz::put(file, written);
        require(Database::load(file) == database, "A descriptor that is written anew says the same.");
    }
}

const Fuzz::Registration databaseTarget("database", &runDatabase);

} // namespace
