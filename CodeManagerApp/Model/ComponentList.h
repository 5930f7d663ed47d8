#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include <QAbstractListModel>
#include <QtQml/qqmlregistration.h>

#include "ManagerCore/Inventory/FoundItem.h"

namespace CodeManagerApp
{

class ManagerModel;

// The rows of the Components pane: a row for each category that has items, followed by those of its items that are
// shown, unless it is closed. A filter narrows the items that are shown and touches nothing else. Rows that stay are
// never made anew, so that a list keeps its place.
class ComponentList : public QAbstractListModel
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The model has the one there is.")
    Q_PROPERTY(QString filter READ filter WRITE setFilter NOTIFY filterChanged)
    Q_PROPERTY(int count READ count NOTIFY countChanged)

public:
    enum Role : std::uint16_t {
        isSection = Qt::UserRole + 1,
        isLast, // the last row of its section
        title, // of the section, or the item's name
        symbol,
        detail, // the number of items, or the path
        size,
        checkState, // Qt::CheckState; of a section: of those of its items that are shown
        isExpanded,
    };

    explicit ComponentList(ManagerModel& model);

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QHash<int, QByteArray> roleNames() const override;

    [[nodiscard]] const QString& filter() const { return filter_; }
    // Narrows to items whose path holds the text, upper and lower case alike.
    void setFilter(const QString& filter);
    [[nodiscard]] int count() const { return rowCount(); }

    // Ticks what the row stands for, or clears it when all of it is ticked.
    Q_INVOKABLE void toggle(int row);
    // Opens or closes the section of the row.
    Q_INVOKABLE void toggleExpanded(int row);
    // The row of the section that the row belongs to.
    Q_INVOKABLE [[nodiscard]] int sectionRow(int row) const;
    Q_INVOKABLE void copyPath(int row) const;
    Q_INVOKABLE void reveal(int row);

Q_SIGNALS:
    void filterChanged();
    void countChanged();

private:
    struct Row {
        ManagerCore::ArtifactCategory category {};
        bool isItem = false; // otherwise the head of its section
        bool last = false;
        std::uint32_t item = 0; // index into the model's items
        // Of the item's path, which the model has already. Were two alike, a row would stay where another had to come;
        // what it shows is read from the model in any case.
        std::size_t hash = 0;

        [[nodiscard]] bool standsForTheSameAs(const Row& other) const
        {
            return category == other.category && isItem == other.isItem && hash == other.hash;
        }
    };
    // What a section's row tells.
    struct Section {
        std::size_t items = 0;
        std::int64_t bytes = 0;
        std::vector<std::uint32_t> shown; // indices of the items that the filter leaves
    };

    void update();
    void gatherSections();
    [[nodiscard]] std::vector<Row> wantedRows() const;
    void replaceRows(std::vector<Row> wanted);
    [[nodiscard]] const Row* rowAt(int row) const;
    // What the row stands for; null for a section, and for an item that went from the model.
    [[nodiscard]] const ManagerCore::FoundItem* itemOf(const Row& row) const;
    [[nodiscard]] const ManagerCore::FoundItem* itemAt(int row) const;
    [[nodiscard]] const Section& sectionOf(const Row& row) const;
    [[nodiscard]] QVariant sectionData(const Row& row, int role) const;
    [[nodiscard]] QVariant itemData(const ManagerCore::FoundItem& item, int role) const;
    [[nodiscard]] Qt::CheckState sectionState(const Section& section) const;
    void tellTicks();

    ManagerModel& model_;
    QString filter_;
    std::vector<Row> rows_;
    std::array<Section, ManagerCore::allArtifactCategories.size()> sections_;
};

} // namespace CodeManagerApp
