#include "ManagerCore/Installers/Database.h"

#include "ManagerCore/Foundation/Descriptor.h"
#include "ManagerCore/Foundation/FilePath.h"
#include "ManagerCore/Foundation/Proc.h"
#include "ManagerCore/Foundation/Text.h"

namespace ManagerCore
{

std::optional<Database> Database::load(const std::filesystem::path& file)
{
    const auto text = Text::readFile(file);
    const Descriptor::Map entry = text ? Descriptor::parse(*text) : Descriptor::Map();
    if (!entry.find("id")) {
        return std::nullopt;
    }
    Database database;
    database.id = Descriptor::text("id", entry);
    database.name = Descriptor::text("name", entry, database.id);
    database.detail = Descriptor::text("description", entry);
    database.source = Descriptor::text("source", entry);
    database.dest = Descriptor::text("dest", entry);
    // Looked up among all variables: an id may hold what getenv would cut.
    const Proc::Environment environment = Proc::environment();
    if (const auto given = environment.find("CM_DB_SOURCE_" + database.id); given != environment.end()) {
        database.source = given->second;
    }
    return database;
}

std::filesystem::path Database::sourcePath() const { return FilePath::expandHome(source); }

std::filesystem::path Database::destPath() const { return FilePath::expandHome(dest); }

bool Database::installed() const { return FilePath::exists(destPath()); }

} // namespace ManagerCore
