#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <set>

#include "ManagerCore/Doctor/Checks.h"
#include "ManagerCore/Doctor/Report.h"
#include "ManagerCore/Foundation/FilePath.h"
#include "ManagerCore/Foundation/Text.h"

namespace ManagerCore::Doctor
{

namespace
{

using Path = std::filesystem::path;

// What the name starts from a shell first, then what it would start if that were not there.
std::vector<Path> onSearchPath(const std::string& name)
{
    const char* const searched = std::getenv("PATH");
    std::vector<Path> found;
    for (const std::string_view folder : Text::pieces(searched == nullptr ? "" : searched, ':')) {
        Path candidate = FilePath::appending(FilePath::fromText(folder), name);
        if (!faultOfProgram(candidate) && std::ranges::find(found, candidate) == found.end()) {
            found.push_back(std::move(candidate));
        }
    }
    return found;
}

void lookAtSearchPath(Report& report, const Path& installed)
{
    const std::string name = FilePath::lastComponent(installed);
    const std::vector<Path> candidates = onSearchPath(name);
    if (candidates.empty()) {
        report.warn(inQuotes(name) + " is not found on the PATH and starts by its whole path alone: add "
                    + inQuotes(FilePath::parent(installed)) + " to PATH.");
        return;
    }
    std::vector<Path> others;
    std::ranges::copy_if(candidates, std::back_inserter(others), [&installed](const Path& candidate) {
        return FilePath::resolved(candidate) != FilePath::resolved(installed);
    });
    const Path& first = candidates.front();
    if (!others.empty() && others.front() == first) {
        report.warn("On the PATH " + inQuotes(name) + " is " + inQuotes(first) + " and not the installed "
                    + inQuotes(installed) + ": put " + inQuotes(FilePath::parent(installed)) + " in front of "
                    + inQuotes(FilePath::parent(first)) + " there.");
        others.erase(others.begin());
    } else {
        report.ok("On the PATH " + inQuotes(name) + " is " + inQuotes(first) + ", the installed one.");
    }
    if (!others.empty()) {
        report.warn("The PATH holds " + counted(others.size(), "other program", "other programs") + " called "
                    + inQuotes(name) + " farther back, first " + inQuotes(others.front())
                    + ": check in the Components pane whether they are old.");
    }
}

// `used`: it is the first that exists, the one that the product is started by.
void lookAtBinary(Report& report, const Path& binary, const Path& used)
{
    const Standing standing = standingOf(binary);
    const auto fault = faultOfProgram(binary);
    const std::string named = "The executable " + inQuotes(binary);
    if (!fault) {
        report.ok(named + " is there and can be run.");
    } else if (binary == used) {
        report.fail(named + ", by which the product is started, " + *fault
                    + ": make it a program that may be executed, or install the product anew.");
    } else if (standing == Standing::missing) {
        report.ok(named + " is not there, and " + inQuotes(used) + " is used.");
    } else {
        report.warn(named + " " + *fault + ": move it to the Trash, or install the product anew.");
    }
}

void lookAtBinaries(Report& report, const Subject& subject)
{
    const std::vector<std::string>& binaries = subject.identity.binaries;
    const auto used = subject.identity.installedExecutable();
    if (binaries.empty()) {
        report.warn("The descriptor declares no executable, so the product never counts as installed: give it "
                    + inQuotes("binaries") + ".");
    } else if (!used) {
        const Path first = FilePath::expandHome(binaries.front());
        report.warn("None of the declared executables is there, not even " + inQuotes(first)
                    + ": install the product in the Install pane or with “install cli”.");
    } else {
        std::set<Path> seen;
        for (const std::string& binary : binaries) {
            if (const Path path = FilePath::expandHome(binary); seen.insert(path).second) {
                lookAtBinary(report, path, *used);
            }
        }
    }
}

void lookAtServer(Report& report, const std::string& declared)
{
    if (declared.empty()) {
        return; // the descriptor's keys were looked at
    }
    const Path server = FilePath::expandHome(declared);
    const auto fault = faultOfProgram(server);
    const std::string named = "The backend's executable " + inQuotes(server);
    if (!fault) {
        report.ok(named + " is there and can be run.");
    } else if (standingOf(server) == Standing::missing) {
        report.warn(named + " is not there: install the engine in the Install pane or with “install engine”.");
    } else {
        report.fail(named + " " + *fault + ": make it a program that may be executed, or install the engine anew.");
    }
}

} // namespace

std::vector<Finding> checkExecutables(const Subject& subject)
{
    Report report("executables");
    lookAtBinaries(report, subject);
    lookAtServer(report, subject.actions.serverBin);
    if (const auto used = subject.identity.installedExecutable(); used && !faultOfProgram(*used)) {
        lookAtSearchPath(report, *used);
    }
    return report.take();
}

} // namespace ManagerCore::Doctor
