#include <algorithm>
#include <iterator>
#include <utility>

#include "CodeManagerApp/Desktop/Desktop.h"
#include "CodeManagerApp/Model/ComponentsPane.h"
#include "CodeManagerApp/Model/ManagerModel.h"
#include "CodeManagerApp/Model/QtText.h"
#include "CodeManagerApp/Model/Reasons.h"
#include "ManagerCore/Foundation/Remover.h"

namespace CodeManagerApp
{

using namespace ManagerCore;

namespace
{

struct Moved {
    std::vector<Remover::Result> results;
    QString outcome; // put into words where nobody waits for it
};

// Any thread.
Moved moveAll(const std::vector<std::filesystem::path>& paths)
{
    auto results = Remover::trash(paths);
    QString outcome = ComponentsPane::outcome(results);
    return {.results = std::move(results), .outcome = std::move(outcome)};
}

} // namespace

void ManagerModel::toggle(const std::string& path)
{
    checkThread();
    if (checked_.erase(path) == 0) {
        checked_.insert(path);
    }
    Q_EMIT checkedChanged();
}

void ManagerModel::setTicked(std::vector<std::string> paths, bool ticked)
{
    checkThread();
    if (ticked) {
        checked_.reserve(checked_.size() + paths.size());
        checked_.insert(std::move_iterator(paths.begin()), std::move_iterator(paths.end()));
    } else {
        for (const std::string& path : paths) {
            checked_.erase(path);
        }
    }
    Q_EMIT checkedChanged();
}

void ManagerModel::selectAll()
{
    std::unordered_set<std::string> all(items().size());
    for (const FoundItem& item : items()) {
        all.insert(item.path());
    }
    setChecked(std::move(all));
}

void ManagerModel::clear() { setChecked({}); }

void ManagerModel::toggleExpanded(ArtifactCategory category)
{
    auto expanded = expanded_;
    if (expanded.erase(category) == 0) {
        expanded.insert(category);
    }
    setExpanded(std::move(expanded));
}

std::vector<FoundItem> ManagerModel::chosen() const
{
    std::vector<FoundItem> chosen;
    for (const FoundItem& item : items()) {
        if (checked_.contains(item.url.native())) {
            chosen.push_back(item);
        }
    }
    return chosen;
}

std::int64_t ManagerModel::chosenBytes() const
{
    std::int64_t bytes = 0;
    for (const FoundItem& item : items()) {
        bytes += checked_.contains(item.url.native()) ? item.sizeBytes : 0;
    }
    return bytes;
}

QCoro::Task<> ManagerModel::moveChosenToTrash()
{
    std::vector<std::filesystem::path> paths;
    for (const FoundItem& item : items()) {
        if (checked_.contains(item.url.native())) {
            paths.push_back(item.url);
        }
    }
    if (paths.empty()) {
        co_return;
    }
    const bool alone = begin(QStringLiteral("Moving to the Trash"));
    beginWork();
    const Moved moved = co_await inBackground(&moveAll, std::move(paths));
    setConsole(moved.outcome);
    if (alone) {
        end(std::ranges::all_of(moved.results, &Remover::Result::trashed));
    }
    endWork();
    scan();
}

void ManagerModel::keepTicksOfFoundItems()
{
    if (checked_.empty()) {
        return;
    }
    std::unordered_set<std::string> kept;
    for (const FoundItem& item : items()) {
        kept.insert(checked_.extract(item.url.native()));
    }
    setChecked(std::move(kept));
}

QCoro::Task<> ManagerModel::reveal(std::string path)
{
    checkThread();
    const std::optional<std::string> failure
        = co_await inBackground(&Desktop::reveal, std::filesystem::path(std::move(path)));
    if (failure) {
        report(fromUtf8("The item could not be shown: " + *failure));
    }
}

QString ManagerModel::nothingInstalledText() const { return ComponentsPane::nothingInstalled(identity_.name); }

QString ManagerModel::totalsText() const { return ComponentsPane::totals(checked().size(), chosenBytes()); }

QString ManagerModel::confirmationTitle() const { return ComponentsPane::confirmationTitle(checked().size()); }

QString ManagerModel::reasonAgainstSelecting() const
{
    return items().empty() ? QStringLiteral("There is nothing to select.") : QString();
}

QString ManagerModel::reasonAgainstClearing() const
{
    return checked().empty() ? QStringLiteral("Nothing is selected.") : QString();
}

QString ManagerModel::reasonAgainstMoving() const
{
    if (busy()) {
        return Reasons::anotherOperation();
    }
    if (scanning()) {
        return QStringLiteral("The disk is still being read.");
    }
    return reasonAgainstClearing();
}

} // namespace CodeManagerApp
