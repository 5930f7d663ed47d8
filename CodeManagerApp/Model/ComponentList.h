#pragma once

#include <array>
#include <cstdint>
#include <optional>
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
        std::optional<std::size_t> item; // index into the model's items; absent for a section
        std::string path; // of the item
        bool last = false;

        [[nodiscard]] bool standsForTheSameAs(const Row& other) const
        {
            return category == other.category && item.has_value() == other.item.has_value() && path == other.path;
        }
    };
    // What a section's row tells.
    struct Section {
        std::size_t items = 0;
        std::int64_t bytes = 0;
        std::vector<std::size_t> shown; // indices of the items that the filter leaves
    };

    void update();
    void gatherSections();
    [[nodiscard]] std::vector<Row> wantedRows() const;
    void replaceRows(std::vector<Row> wanted);
    [[nodiscard]] const Row* rowAt(int row) const;
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
