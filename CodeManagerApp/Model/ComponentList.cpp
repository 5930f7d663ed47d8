#include "CodeManagerApp/Model/ComponentList.h"

#include <algorithm>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

#include <QClipboard>
#include <QGuiApplication>
#include <QStringMatcher>

#include "CodeManagerApp/Model/ManagerModel.h"
#include "CodeManagerApp/Model/QtText.h"
#include "ManagerCore/Foundation/Size.h"

namespace CodeManagerApp
{

using ManagerCore::ArtifactCategory;
using ManagerCore::FoundItem;

namespace
{

std::size_t placeOf(ArtifactCategory category) { return static_cast<std::size_t>(category); }

bool isAscii(std::string_view text)
{
    return std::ranges::all_of(text, [](char letter) { return static_cast<unsigned char>(letter) < 0x80; });
}

char lowered(char letter) { return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter; }

// Whether paths hold a text, upper and lower case alike. Most of both are ASCII, which is searched as it lies there: at
// each letter that is typed, many thousand conversions would take longer than a window may stand still.
class PathFilter
{
public:
    explicit PathFilter(const QString& text)
        : matcher_(text, Qt::CaseInsensitive)
        , plain_(toUtf8(text))
        , isPlain_(isAscii(plain_))
    {
        std::ranges::transform(plain_, plain_.begin(), lowered);
    }

    bool lets(const std::string& path)
    {
        if (plain_.empty()) {
            return true;
        }
        if (!isPlain_ || !isAscii(path)) {
            return matcher_.indexIn(fromUtf8(path)) >= 0;
        }
        path_.resize(path.size());
        std::ranges::transform(path, path_.begin(), lowered);
        return path_.find(plain_) != std::string::npos;
    }

private:
    QStringMatcher matcher_;
    std::string plain_;
    bool isPlain_;
    std::string path_; // kept for its room
};

} // namespace

ComponentList::ComponentList(ManagerModel& model)
    : QAbstractListModel(&model)
    , model_(model)
{
    connect(&model, &ManagerModel::itemsChanged, this, &ComponentList::update);
    connect(&model, &ManagerModel::expandedChanged, this, &ComponentList::update);
    connect(&model, &ManagerModel::checkedChanged, this, &ComponentList::tellTicks);
    connect(this, &QAbstractListModel::rowsInserted, this, &ComponentList::countChanged);
    connect(this, &QAbstractListModel::rowsRemoved, this, &ComponentList::countChanged);
    update();
}

int ComponentList::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(rows_.size());
}

QHash<int, QByteArray> ComponentList::roleNames() const
{
    return {{isSection, "isSection"},
            {isLast, "isLast"},
            {title, "title"},
            {symbol, "symbol"},
            {detail, "detail"},
            {size, "size"},
            {checkState, "checkState"},
            {isExpanded, "isExpanded"}};
}

QVariant ComponentList::data(const QModelIndex& index, int role) const
{
    const Row* const row = rowAt(index.row());
    if (row == nullptr) {
        return {};
    }
    switch (role) {
    case isSection:
        return !row->isItem;
    case isLast:
        return row->last;
    case symbol:
        return fromUtf8(ManagerCore::symbol(row->category));
    case isExpanded:
        return model_.expanded().contains(row->category);
    default:
        break;
    }
    if (!row->isItem) {
        return sectionData(*row, role);
    }
    const FoundItem* const item = itemOf(*row);
    return item != nullptr ? itemData(*item, role) : QVariant();
}

QVariant ComponentList::sectionData(const Row& row, int role) const
{
    const Section& section = sectionOf(row);
    switch (role) {
    case title:
        return fromUtf8(ManagerCore::title(row.category));
    case detail:
        return fromUtf8("· " + std::to_string(section.items));
    case size:
        return fromUtf8(ManagerCore::Size::human(section.bytes));
    case checkState:
        return sectionState(section);
    default:
        return {};
    }
}

QVariant ComponentList::itemData(const FoundItem& item, int role) const
{
    switch (role) {
    case title:
        return oneLine(item.name());
    case detail:
        return oneLine(item.url.native());
    case size:
        return fromUtf8(item.humanSize());
    case checkState:
        return model_.checked().contains(item.url.native()) ? Qt::Checked : Qt::Unchecked;
    default:
        return {};
    }
}

Qt::CheckState ComponentList::sectionState(const Section& section) const
{
    const auto& checked = model_.checked();
    const auto ticked = static_cast<std::size_t>(std::ranges::count_if(
        section.shown, [&](std::uint32_t item) { return checked.contains(model_.items()[item].url.native()); }));
    if (ticked == 0) {
        return Qt::Unchecked;
    }
    return ticked == section.shown.size() ? Qt::Checked : Qt::PartiallyChecked;
}

void ComponentList::setFilter(const QString& filter)
{
    if (filter == filter_) {
        return;
    }
    filter_ = filter;
    update();
    Q_EMIT filterChanged();
}

const ComponentList::Row* ComponentList::rowAt(int row) const
{
    return row >= 0 && std::cmp_less(row, rows_.size()) ? &rows_[static_cast<std::size_t>(row)] : nullptr;
}

const FoundItem* ComponentList::itemOf(const Row& row) const
{
    return row.isItem && row.item < model_.items().size() ? &model_.items()[row.item] : nullptr;
}

const FoundItem* ComponentList::itemAt(int row) const
{
    const Row* const found = rowAt(row);
    return found != nullptr ? itemOf(*found) : nullptr;
}

const ComponentList::Section& ComponentList::sectionOf(const Row& row) const
{
    return sections_.at(placeOf(row.category));
}

int ComponentList::sectionRow(int row) const
{
    while (rowAt(row) != nullptr && rowAt(row)->isItem) {
        row--;
    }
    return row;
}

void ComponentList::toggle(int row)
{
    const Row* const toggled = rowAt(row);
    if (toggled == nullptr) {
        return;
    }
    if (toggled->isItem) {
        if (const FoundItem* const item = itemOf(*toggled)) {
            model_.toggle(item->path());
        }
        return;
    }
    const Section& section = sectionOf(*toggled);
    std::vector<std::string> paths;
    paths.reserve(section.shown.size());
    for (const std::uint32_t item : section.shown) {
        paths.push_back(model_.items()[item].path());
    }
    model_.setTicked(std::move(paths), sectionState(section) != Qt::Checked);
}

void ComponentList::toggleExpanded(int row)
{
    if (const Row* const toggled = rowAt(row)) {
        model_.toggleExpanded(toggled->category);
    }
}

void ComponentList::copyPath(int row) const
{
    if (const FoundItem* const copied = itemAt(row)) {
        QGuiApplication::clipboard()->setText(fromUtf8(copied->path()));
    }
}

void ComponentList::reveal(int row)
{
    if (const FoundItem* const revealed = itemAt(row)) {
        model_.reveal(revealed->path());
    }
}

void ComponentList::update()
{
    gatherSections();
    replaceRows(wantedRows());
    if (!rows_.empty()) {
        Q_EMIT dataChanged(index(0), index(rowCount() - 1));
    }
}

void ComponentList::gatherSections()
{
    sections_ = {};
    PathFilter filter(filter_);
    const auto& items = model_.items();
    for (std::size_t index = 0; index < items.size(); index++) {
        Section& section = sections_.at(placeOf(items[index].category));
        section.items++;
        section.bytes += items[index].sizeBytes;
        if (filter.lets(items[index].url.native())) {
            section.shown.push_back(static_cast<std::uint32_t>(index));
        }
    }
}

std::vector<ComponentList::Row> ComponentList::wantedRows() const
{
    const std::hash<std::string> hash;
    std::vector<Row> rows;
    rows.reserve(model_.items().size() + sections_.size());
    for (const ArtifactCategory category : ManagerCore::allArtifactCategories) {
        const Section& section = sections_.at(placeOf(category));
        if (section.shown.empty()) {
            continue;
        }
        rows.push_back({.category = category});
        if (model_.expanded().contains(category)) {
            for (const std::uint32_t item : section.shown) {
                rows.push_back({.category = category,
                                .isItem = true,
                                .item = item,
                                .hash = hash(model_.items()[item].url.native())});
            }
        }
        rows.back().last = true;
    }
    return rows;
}

// What both lists begin and end with stays, at once with what it stands for now; between them the old rows go and the
// new ones come.
void ComponentList::replaceRows(std::vector<Row> wanted)
{
    const auto same = [](const Row& left, const Row& right) { return left.standsForTheSameAs(right); };
    const auto firstChange = std::ranges::mismatch(rows_, wanted, same).in1 - rows_.begin();
    const auto common = static_cast<std::ptrdiff_t>(std::min(rows_.size(), wanted.size())) - firstChange;
    const auto fromBehind = std::mismatch(rows_.rbegin(), rows_.rbegin() + common, wanted.rbegin(), same);
    const auto kept = fromBehind.first - rows_.rbegin();
    std::copy_n(wanted.begin(), firstChange, rows_.begin());
    std::copy_n(wanted.rbegin(), kept, rows_.rbegin());

    const auto removedEnd = static_cast<std::ptrdiff_t>(rows_.size()) - kept;
    if (removedEnd > firstChange) {
        beginRemoveRows({}, static_cast<int>(firstChange), static_cast<int>(removedEnd) - 1);
        rows_.erase(rows_.begin() + firstChange, rows_.begin() + removedEnd);
        endRemoveRows();
    }
    const auto insertedEnd = static_cast<std::ptrdiff_t>(wanted.size()) - kept;
    if (insertedEnd > firstChange) {
        beginInsertRows({}, static_cast<int>(firstChange), static_cast<int>(insertedEnd) - 1);
        rows_ = std::move(wanted);
        endInsertRows();
    } else {
        rows_ = std::move(wanted);
    }
}

void ComponentList::tellTicks()
{
    if (!rows_.empty()) {
        Q_EMIT dataChanged(index(0), index(rowCount() - 1), {checkState});
    }
}

} // namespace CodeManagerApp
