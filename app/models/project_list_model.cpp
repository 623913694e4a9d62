#include "app/models/project_list_model.h"

#include <algorithm>

#include "app/models/wording.h"

namespace tolvik {

void ProjectListModel::update(const AppStore& store) {
    std::vector<ProjectRow> next;
    next.reserve(store.tags().size());
    for (const TagModel& tag : store.tags()) {
        next.push_back({.id = wording::fromUtf8(tag.id.text()),
                        .name = wording::fromUtf8(tag.name),
                        .colorIndex = static_cast<int>(tag.colorIndex)});
    }
    std::ranges::stable_sort(
        next, [](const ProjectRow& a, const ProjectRow& b) { return QString::localeAwareCompare(a.name, b.name) < 0; });
    assign(std::move(next));
}

QVariant ProjectListModel::data(const QModelIndex& index, int role) const {
    const ProjectRow* row = rowAt(index);
    if (row == nullptr) {
        return {};
    }
    switch (role) {
        case IdRole:
            return row->id;
        case NameRole:
        case Qt::DisplayRole:
            return row->name;
        case ColorIndexRole:
            return row->colorIndex;
        default:
            return {};
    }
}

QHash<int, QByteArray> ProjectListModel::roleNames() const {
    return {{IdRole, "projectId"}, {NameRole, "name"}, {ColorIndexRole, "colorIndex"}};
}

}  // namespace tolvik
