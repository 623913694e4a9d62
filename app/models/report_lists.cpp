#include "app/models/report_lists.h"

namespace tolvik {

QVariant ReportBarModel::data(const QModelIndex& index, int role) const {
    const ReportBarRow* row = rowAt(index);
    if (row == nullptr) {
        return {};
    }
    switch (role) {
        case LabelRole:
        case Qt::DisplayRole:
            return row->label;
        case TotalTextRole:
            return row->totalText;
        case FractionRole:
            return row->fraction;
        case SegmentsRole:
            return row->segments;
        case HighestRole:
            return row->highest;
        case LastRole:
            return row->last;
        case DayRole:
            return row->day;
        case SpokenRole:
            return row->spoken;
        case DetailsRole:
            return row->details;
        default:
            return {};
    }
}

QHash<int, QByteArray> ReportBarModel::roleNames() const {
    return {{LabelRole, "label"},       {TotalTextRole, "totalText"}, {FractionRole, "fraction"},
            {SegmentsRole, "segments"}, {HighestRole, "highest"},     {LastRole, "last"},
            {DayRole, "day"},           {SpokenRole, "spoken"},       {DetailsRole, "details"}};
}

QVariant ReportShareModel::data(const QModelIndex& index, int role) const {
    const ReportShareRow* row = rowAt(index);
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
        case LengthTextRole:
            return row->lengthText;
        case PercentTextRole:
            return row->percentText;
        case ShareRole:
            return row->share;
        case InLastBarRole:
            return row->inLastBar;
        case ProjectRole:
            return row->project;
        case ProjectColorRole:
            return row->projectColor;
        case SpokenRole:
            return row->spoken;
        default:
            return {};
    }
}

QHash<int, QByteArray> ReportShareModel::roleNames() const {
    return {{IdRole, "rowId"},
            {NameRole, "name"},
            {ColorIndexRole, "colorIndex"},
            {LengthTextRole, "lengthText"},
            {PercentTextRole, "percentText"},
            {ShareRole, "share"},
            {InLastBarRole, "inLastBar"},
            {ProjectRole, "project"},
            {ProjectColorRole, "projectColor"},
            {SpokenRole, "spoken"}};
}

}  // namespace tolvik
