#include "CodeManagerApp/Model/ModelChecklist.h"

#include <utility>

#include "CodeManagerApp/Model/ManagerModel.h"
#include "CodeManagerApp/Model/QtText.h"

namespace CodeManagerApp
{

ModelChecklist::ModelChecklist(ManagerModel& model)
    : QAbstractListModel(&model)
    , model_(model)
{
    connect(&model, &ManagerModel::catalogChanged, this, &ModelChecklist::update);
    connect(&model, &ManagerModel::bundledChanged, this, [this] { tell(badge); });
    connect(&model, &ManagerModel::checkedModelSlugsChanged, this, [this] { tell(ticked); });
}

int ModelChecklist::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(model_.catalog().size());
}

QHash<int, QByteArray> ModelChecklist::roleNames() const
{
    return {{name, "name"}, {slug, "slug"}, {size, "size"}, {badge, "badge"}, {ticked, "ticked"}};
}

QVariant ModelChecklist::data(const QModelIndex& index, int role) const
{
    if (index.row() < 0 || index.row() >= rowCount()) {
        return {};
    }
    const ManagerCore::CatalogModel& entry = model_.catalog()[static_cast<std::size_t>(index.row())];
    switch (role) {
    case name:
        return oneLine(entry.name);
    case slug:
        return oneLine(entry.slug);
    case size:
        return oneLine(entry.size);
    case badge:
        return model_.isBundled(entry.slug) ? QStringLiteral("bundled") : QStringLiteral("downloads");
    case ticked:
        return model_.checkedModelSlugs().contains(entry.slug) ? Qt::Checked : Qt::Unchecked;
    default:
        return {};
    }
}

void ModelChecklist::toggle(int row)
{
    if (row < 0 || row >= rowCount()) {
        return;
    }
    auto slugs = model_.checkedModelSlugs();
    const std::string& toggled = model_.catalog()[static_cast<std::size_t>(row)].slug;
    if (slugs.erase(toggled) == 0) {
        slugs.insert(toggled);
    }
    model_.setCheckedModelSlugs(std::move(slugs));
}

// The model has the new rows already; a catalog is replaced as a whole, and seldom.
void ModelChecklist::update()
{
    beginResetModel();
    endResetModel();
    Q_EMIT countChanged();
}

void ModelChecklist::tell(Role role)
{
    if (count() > 0) {
        Q_EMIT dataChanged(index(0), index(count() - 1), {role});
    }
}

} // namespace CodeManagerApp
