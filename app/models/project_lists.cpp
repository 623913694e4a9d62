#include "app/models/project_lists.h"

namespace tolvik {

QVariant ProjectPageModel::data(const QModelIndex& index, int role) const {
    const ProjectPageRow* row = rowAt(index);
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
        case CurrentRole:
            return row->current;
        case DetailRole:
            return row->detail;
        case WeeksRole:
            return row->weeks;
        case WeekTextRole:
            return row->weekText;
        case TotalTextRole:
            return row->totalText;
        case SpokenRole:
            return row->spoken;
        default:
            return {};
    }
}

QHash<int, QByteArray> ProjectPageModel::roleNames() const {
    return {{IdRole, "projectId"},      {NameRole, "name"},           {ColorIndexRole, "colorIndex"},
            {CurrentRole, "current"},   {DetailRole, "detail"},       {WeeksRole, "weeks"},
            {WeekTextRole, "weekText"}, {TotalTextRole, "totalText"}, {SpokenRole, "spoken"}};
}

QVariant ProjectTaskModel::data(const QModelIndex& index, int role) const {
    const ProjectTaskRow* row = rowAt(index);
    if (row == nullptr) {
        return {};
    }
    switch (role) {
        case IdRole:
            return row->id;
        case TitleRole:
        case Qt::DisplayRole:
            return row->title;
        case ColorIndexRole:
            return row->colorIndex;
        case LengthTextRole:
            return row->lengthText;
        case SpokenRole:
            return row->spoken;
        default:
            return {};
    }
}

QHash<int, QByteArray> ProjectTaskModel::roleNames() const {
    return {{IdRole, "taskId"},
            {TitleRole, "title"},
            {ColorIndexRole, "colorIndex"},
            {LengthTextRole, "lengthText"},
            {SpokenRole, "spoken"}};
}

}  // namespace tolvik
