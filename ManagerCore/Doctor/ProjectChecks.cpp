#include <algorithm>
#include <unistd.h>

#include "ManagerCore/Doctor/Checks.h"
#include "ManagerCore/Doctor/Report.h"
#include "ManagerCore/Foundation/FilePath.h"
#include "ManagerCore/Foundation/Text.h"
#include "ManagerCore/Installers/DesktopInstaller.h"
#include "ManagerCore/Installers/EngineInstaller.h"
#include "ManagerCore/Installers/Installer.h"
#include "ManagerCore/Models/ModelCatalog.h"
#include "ManagerCore/Models/ModelInstaller.h"

namespace ManagerCore::Doctor
{

namespace
{

using Path = std::filesystem::path;

bool hasProject(const Subject& subject) { return !faultOfFolder(FilePath::fromText(subject.projectDir)); }

void lookAtScript(Report& report, const Path& script)
{
    const std::string named = "The script " + inQuotes(script);
    const Standing standing = standingOf(script);
    if (standing != Standing::file) {
        report.fail(named + " " + told(standing) + ": get it from the project's source.");
    } else if (!isAllowed(script, R_OK)) {
        report.fail(named + " may not be read: give yourself that permission.");
    } else if (!isAllowed(script, X_OK)) {
        report.warn(named
                    + " is run from here but not marked as executable: mark it with “chmod +x” to start it by "
                      "hand as well.");
    } else {
        report.ok(named + " is there and can be run.");
    }
}

// Cargo is looked for where the scripts would find it.
bool hasCargo()
{
    const Proc::Environment environment = Installer::devToolEnv();
    const std::vector<std::string_view> folders = Text::pieces(environment.at("PATH"), ':');
    return std::ranges::any_of(folders, [](std::string_view folder) {
        return !faultOfProgram(FilePath::appending(FilePath::fromText(folder), "cargo"));
    });
}

// The script that builds what lies in `dir`, by the same rule as `Installer::build`.
void lookAtBuild(Report& report, const std::string& dir)
{
    const Path folder = FilePath::fromText(dir);
    if (Installer::has(dir, "build.command")) {
        lookAtScript(report, FilePath::appending(folder, "build.command"));
    } else if (!Installer::has(dir, "install.command")) {
        report.fail("The folder " + inQuotes(folder)
                    + " has neither a “build.command” nor an “install.command”: get them from the project's source.");
    } else {
        lookAtScript(report, FilePath::appending(folder, "install.command"));
        if (!hasCargo()) {
            report.fail("The folder " + inQuotes(folder)
                        + " has no “build.command” and is built by cargo, which is not found: install cargo.");
        }
    }
}

void lookAtEngine(Report& report, const std::string& projectDir)
{
    if (const auto dir = EngineInstaller::engineDir(projectDir)) {
        lookAtBuild(report, *dir);
    } else {
        report.warn("The engine's project “mlx-vantor” is not beside " + inQuotes(FilePath::fromText(projectDir))
                    + ", so the engine cannot be installed: put it there.");
    }
}

void lookAtDesktop(Report& report, const std::string& projectDir)
{
    if (const auto dir = DesktopInstaller::desktopDir(projectDir)) {
        lookAtBuild(report, *dir);
    } else {
        report.warn("There is no “desktop/build.command” in " + inQuotes(FilePath::fromText(projectDir))
                    + ", so the desktop application cannot be installed: leave it out, or get it from the source.");
    }
}

void lookAtModelScripts(Report& report, const std::string& dir)
{
    if (!FilePath::exists(dir)) {
        report.warn("The folder " + inQuotes(dir)
                    + " is not there, so no model can be installed: put it beside the project folder.");
        return;
    }
    for (const char* const script : {"install-one-model.command", "uninstall-model.command"}) {
        lookAtScript(report, FilePath::appending(dir, script));
    }
}

void lookAtEntry(Report& report, const ModelCatalog::Entry& entry)
{
    const std::string named = "The catalog's entry " + inQuotes(entry.file);
    if (entry.fault) {
        report.fail(advised(*entry.fault, "fix " + inQuotes(entry.file) + " or take it out of the catalog"));
    } else if (!entry.hasKeys) {
        report.warn(named + " says nothing: write it or take it out of the catalog.");
    } else if (entry.released && entry.repo.empty()) {
        report.warn(named + " is offered without saying where its model comes from: give it “repo”.");
    }
}

} // namespace

std::vector<Finding> checkProjectFolder(const Subject& subject)
{
    Report report("project folder");
    const std::string advice = ": choose it in the Install pane, or name it with --project or CM_PROJECT_DIR.";
    if (subject.projectDir.empty()) {
        report.warn("No project folder is known, so nothing can be installed" + advice);
        return report.take();
    }
    const Path folder = FilePath::fromText(subject.projectDir);
    const std::string named = "The project folder " + inQuotes(folder);
    if (const auto fault = faultOfFolder(folder)) {
        report.fail(named + " " + *fault + advice);
    } else {
        report.ok(named + " is there.");
    }
    return report.take();
}

std::vector<Finding> checkScripts(const Subject& subject)
{
    Report report("scripts");
    if (hasProject(subject)) {
        lookAtBuild(report, subject.projectDir);
        lookAtEngine(report, subject.projectDir);
        lookAtDesktop(report, subject.projectDir);
        lookAtModelScripts(report, ModelInstaller::installModelsDir(subject.projectDir));
    }
    return report.take();
}

std::vector<Finding> checkCatalog(const Subject& subject)
{
    Report report("catalog");
    if (!hasProject(subject)) {
        return report.take();
    }
    const std::string dir = ModelInstaller::installModelsDir(subject.projectDir);
    const Path folder = FilePath::appending(dir, "catalog");
    const std::string named = "The catalog " + inQuotes(folder);
    if (const auto fault = faultOfFolder(folder)) {
        report.lacks(standingOf(folder),
                     named + " " + *fault + ", so no models are offered: put it beside the project folder.");
        return report.take();
    }
    const std::vector<ModelCatalog::Entry> entries = ModelCatalog::entries(dir);
    const auto offered = static_cast<std::size_t>(std::ranges::count(entries, true, &ModelCatalog::Entry::released));
    const std::string amount = named + " has " + counted(entries.size(), "entry", "entries");
    if (offered == 0) {
        report.warn(amount + " and offers no model: see whether it is complete.");
    } else {
        report.ok(amount + " and offers " + counted(offered, "model", "models") + ".");
    }
    for (const ModelCatalog::Entry& entry : entries) {
        lookAtEntry(report, entry);
    }
    return report.take();
}

} // namespace ManagerCore::Doctor
