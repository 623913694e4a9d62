#pragma once

#include <QString>
#include <QVariantList>
#include <QtQml/qqmlregistration.h>

#include "app/models/keyed_list_model.h"

namespace tolvik {

/// One bar of the chart.
struct ReportBarRow {
    QString id;
    QString label;
    /// "31h" or "8h 57m"; empty where none is drawn.
    QString totalText;
    /// Of the highest bar, from 0 to 1.
    double fraction = 0;
    /// The parts from the bottom up: objects with `color`, `project` (whether the colour is a project's), `share` of
    /// the bar, and `tag`, the contributor's place in its list.
    QVariantList segments;
    bool highest = false;
    bool last = false;
    /// The first day, as a day number.
    int day = 0;
    QString spoken;
    /// The values, a line each, for the pointer.
    QString details;

    [[nodiscard]] const QString& key() const { return id; }
    static std::span<const RowRole<ReportBarRow>> roles();
    bool operator==(const ReportBarRow&) const = default;
};

class ReportBarModel : public KeyedListModel<ReportBarRow> {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Belongs to the reports page's model")
public:
    using KeyedListModel::KeyedListModel;
    void update(std::vector<ReportBarRow> rows) { assign(std::move(rows)); }
};

/// A project or a task with its share of the report.
struct ReportShareRow {
    QString id;
    QString name;
    int colorIndex = -1;
    QString lengthText;
    QString percentText;
    /// Of the largest row, from 0 to 1.
    double share = 0;
    /// The last of the chart's bars has some of it.
    bool inLastBar = false;
    /// A task's project; empty without one.
    QString project;
    int projectColor = -1;
    QString spoken;

    [[nodiscard]] const QString& key() const { return id; }
    static std::span<const RowRole<ReportShareRow>> roles();
    bool operator==(const ReportShareRow&) const = default;
};

class ReportShareModel : public KeyedListModel<ReportShareRow> {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Belongs to the reports page's model")
public:
    using KeyedListModel::KeyedListModel;
    void update(std::vector<ReportShareRow> rows) { assign(std::move(rows)); }
};

}  // namespace tolvik
