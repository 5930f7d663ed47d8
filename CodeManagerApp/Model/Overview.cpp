#include "CodeManagerApp/Model/Overview.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <numeric>
#include <utility>

#include "CodeManagerApp/Model/QtText.h"
#include "ManagerCore/Foundation/Size.h"

namespace CodeManagerApp::Overview
{

using ManagerCore::ArtifactCategory;
using ManagerCore::FoundItem;

namespace
{

constexpr std::size_t namedShares = 5;

QString backend(const ManagerCore::Status& status, const ManagerCore::ManagerActions& actions)
{
    return status.backendRunning ? fromUtf8("running " + actions.launchAgent + ":" + actions.serverPort)
                                 : QStringLiteral("stopped");
}

QString model(const ManagerCore::Status& status)
{
    return status.modelPresent ? fromUtf8("present " + ManagerCore::Size::human(status.modelBytes))
                               : QStringLiteral("absent");
}

using Sum = std::pair<ArtifactCategory, std::int64_t>;

std::vector<Sum> sums(const std::vector<FoundItem>& items)
{
    std::array<std::int64_t, ManagerCore::allArtifactCategories.size()> bytes {};
    for (const FoundItem& item : items) {
        bytes.at(static_cast<std::size_t>(item.category)) += std::max<std::int64_t>(item.sizeBytes, 0);
    }
    std::vector<Sum> found;
    for (const ArtifactCategory category : ManagerCore::allArtifactCategories) {
        if (const std::int64_t sum = bytes.at(static_cast<std::size_t>(category)); sum > 0) {
            found.emplace_back(category, sum);
        }
    }
    std::ranges::stable_sort(found, std::ranges::greater {}, &Sum::second);
    return found;
}

std::int64_t total(const std::vector<Sum>& sums)
{
    return std::accumulate(
        sums.begin(), sums.end(), std::int64_t {0}, [](std::int64_t all, const Sum& sum) { return all + sum.second; });
}

SpaceShare share(QString title, std::int64_t bytes, std::int64_t whole, bool rest)
{
    return {.title = std::move(title),
            .humanSize = fromUtf8(ManagerCore::Size::human(bytes)),
            .fraction = static_cast<double>(bytes) / static_cast<double>(whole),
            .rest = rest};
}

} // namespace

QList<StatRowValue> rows(const std::optional<ManagerCore::Status>& status, const ManagerCore::ManagerActions& actions)
{
    const QString dash = QString::fromUtf8(ManagerCore::unknownText);
    QList<StatRowValue> rows {
        {.label = QStringLiteral("Status"), .value = dash, .good = {}},
        {.label = QStringLiteral("Version"), .value = dash, .good = {}},
        {.label = QStringLiteral("Backend"), .value = dash, .good = {}},
        {.label = QStringLiteral("Model"), .value = dash, .good = {}},
        {.label = QStringLiteral("Provider"), .value = dash, .good = {}},
    };
    if (!status) {
        return rows;
    }
    rows[0].value = status->installed ? QStringLiteral("Installed") : QStringLiteral("Not installed");
    rows[0].good = status->installed;
    rows[1].value = fromUtf8(status->version + " (" + status->commit + ")");
    rows[2].value = backend(*status, actions);
    rows[2].good = status->backendRunning;
    rows[3].value = model(*status);
    rows[3].good = status->modelPresent;
    rows[4].value = fromUtf8(status->provider);
    return rows;
}

QList<SpaceShare> spaceShares(const std::vector<FoundItem>& items)
{
    const auto all = sums(items);
    const std::int64_t whole = total(all);
    QList<SpaceShare> shares;
    // A rest of one category goes by its own name.
    const std::size_t named = all.size() <= namedShares + 1 ? all.size() : namedShares;
    std::int64_t rest = whole;
    for (std::size_t index = 0; index < named; index++) {
        const auto& [category, bytes] = all[index];
        shares.append(share(fromUtf8(ManagerCore::title(category)), bytes, whole, false));
        rest -= bytes;
    }
    if (rest > 0) {
        shares.append(share(QStringLiteral("Other"), rest, whole, true));
    }
    return shares;
}

QString spaceTotal(const std::vector<FoundItem>& items)
{
    return fromUtf8(ManagerCore::Size::human(total(sums(items))));
}

} // namespace CodeManagerApp::Overview
