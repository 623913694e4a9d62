#pragma once

#include <QString>
#include <QtQml/qqmlregistration.h>

#include "app/models/keyed_list_model.h"
#include "core/app_store.h"

namespace tolvik {

struct TaskRow {
    QString id;
    QString title;
    int colorIndex = 0;
    QString project;
    int projectColor = -1;
    std::int64_t totalMs = 0;
    /// Of the longest task of the day, from 0 to 1, in steps that a bar can show.
    double share = 0;
    bool running = false;
    bool done = false;

    [[nodiscard]] const QString& key() const { return id; }
    static std::span<const RowRole<TaskRow>> roles();
    bool operator==(const TaskRow&) const = default;
};

/// The tasks of the shown day: the running one first, then by the time spent on them.
class TaskRowsModel : public KeyedListModel<TaskRow> {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Belongs to the home page's model")
public:
    using KeyedListModel::KeyedListModel;
    void update(const AppStore& store);
};

}  // namespace tolvik
