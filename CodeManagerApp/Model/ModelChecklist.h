#pragma once

#include <cstdint>

#include <QAbstractListModel>
#include <QtQml/qqmlregistration.h>

namespace CodeManagerApp
{

class ManagerModel;

// The rows of the Model pane's picker: the models of the catalog, in its order.
class ModelChecklist : public QAbstractListModel
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The model has the one there is.")
    Q_PROPERTY(int count READ count NOTIFY countChanged)

public:
    enum Role : std::uint16_t {
        name = Qt::UserRole + 1,
        slug,
        size,
        badge, // where its weights come from
        ticked,
    };

    explicit ModelChecklist(ManagerModel& model);

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QHash<int, QByteArray> roleNames() const override;
    [[nodiscard]] int count() const { return rowCount(); }

    Q_INVOKABLE void toggle(int row);

Q_SIGNALS:
    void countChanged();

private:
    void update();
    void tell(Role role);

    ManagerModel& model_;
};

} // namespace CodeManagerApp
