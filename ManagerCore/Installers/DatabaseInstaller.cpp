#include "ManagerCore/Installers/DatabaseInstaller.h"

#include <string>
#include <utility>

#include "ManagerCore/Foundation/FilePath.h"
#include "ManagerCore/Foundation/WholeFile.h"
#include "ManagerCore/Platform/Platform.h"

namespace ManagerCore::DatabaseInstaller
{

namespace
{

Proc::Out refused(std::string sentence) { return {.code = 1, .stdout = {}, .stderr = std::move(sentence)}; }

bool isAt(const std::filesystem::path& path) { return FilePath::exists(path) || FilePath::isLink(path); }

// Whether moving `folder` away would take `path` along.
bool holds(const std::filesystem::path& folder, const std::filesystem::path& path)
{
    if (FilePath::isLink(folder)) {
        return false; // only the link is moved
    }
    const std::string above = FilePath::resolved(folder).string();
    const std::string below = FilePath::resolved(path).string();
    return below == above || below.starts_with(above == "/" ? above : above + "/");
}

// Where a copy that was killed leaves a part: ditto of macOS copies to the destination itself, ours beside it.
std::string leftover(const std::filesystem::path& dest)
{
    return "What was copied until then may be left "
        + (isAt(dest) ? "at " + dest.string() + "."
                      : "in " + FilePath::parent(dest).string() + " under a name that begins with “.ditto.”.");
}

Proc::Out copy(const Database& database, Proc::Watcher* watcher)
{
    Proc::Watcher ownWatcher;
    Proc::Watcher& used = watcher != nullptr ? *watcher : ownWatcher;
    const std::filesystem::path dest = database.destPath();
    Proc::Out out = Proc::run(
        Platform::ditto().string(), {database.sourcePath().string(), dest.string()}, std::nullopt, std::nullopt, &used);
    if (out.stderr.empty() && used.endedBySignal()) {
        out.stderr = "The copy was ended by signal " + std::to_string(out.code) + ". " + leftover(dest);
    }
    return out;
}

} // namespace

Proc::Out check(const Database& database)
{
    const std::filesystem::path source = database.sourcePath();
    const std::filesystem::path dest = database.destPath();
    if (!FilePath::exists(source)) {
        return refused("source not found: " + source.string());
    }
    if (FilePath::exists(dest) && holds(dest, source)) {
        return refused("The source " + source.string() + " lies in the destination " + dest.string()
                       + ", which would be moved to the Trash first.");
    }
    return {};
}

Proc::Out install(const Database& database, Proc::Watcher* watcher)
{
    if (Proc::Out objection = check(database); !objection.ok()) {
        return objection;
    }
    const std::filesystem::path dest = database.destPath();
    if (!dest.empty()) {
        [[maybe_unused]] const auto ignored = WholeFile::makeFolders(FilePath::parent(dest), 0777);
    }
    if (isAt(dest)) {
        const auto error = Remover::trash({dest}).front().error;
        if (error && isAt(dest)) {
            return refused("The item at " + dest.string() + " was left as it is. " + *error
                           + " Move it away, then install again.");
        }
    }
    return copy(database, watcher);
}

std::vector<Remover::Result> uninstall(const Database& database) { return Remover::trash({database.destPath()}); }

} // namespace ManagerCore::DatabaseInstaller
