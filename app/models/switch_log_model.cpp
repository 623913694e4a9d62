#include "app/models/switch_log_model.h"

#include <algorithm>
#include <ranges>

#include "app/models/wording.h"

namespace tolvik {

void SwitchLogModel::update(const AppStore& store, const TimeZone& zone) {
    std::vector<const SwitchLog*> logs;
    logs.reserve(store.dateSwitchLogs().size());
    // Of several in the same instant the last one made comes first.
    for (const SwitchLog& log : store.dateSwitchLogs() | std::views::reverse) {
        logs.push_back(&log);
    }
    std::ranges::stable_sort(logs,
                             [](const SwitchLog* a, const SwitchLog* b) { return a->switchedAt > b->switchedAt; });
    std::vector<SwitchRow> next;
    next.reserve(logs.size());
    for (const SwitchLog* log : logs) {
        const TaskModel* task = store.taskById(log->toTaskId);
        const auto instant = log->switchedAt.instant();
        next.push_back({.id = wording::fromUtf8(log->id.text()),
                        .taskId = wording::fromUtf8(log->toTaskId.text()),
                        .time = instant ? wording::timeOfDay(*instant, zone) : QString(),
                        .title = task != nullptr ? wording::fromUtf8(task->title) : QStringLiteral("Deleted task"),
                        .reason = log->reason ? wording::fromUtf8(*log->reason) : QString()});
    }
    assign(std::move(next));
}

QVariant SwitchLogModel::data(const QModelIndex& index, int role) const {
    const SwitchRow* row = rowAt(index);
    if (row == nullptr) {
        return {};
    }
    switch (role) {
        case IdRole:
            return row->id;
        case TaskIdRole:
            return row->taskId;
        case TimeRole:
            return row->time;
        case TitleRole:
        case Qt::DisplayRole:
            return row->title;
        case ReasonRole:
            return row->reason;
        default:
            return {};
    }
}

QHash<int, QByteArray> SwitchLogModel::roleNames() const {
    return {
        {IdRole, "logId"}, {TaskIdRole, "taskId"}, {TimeRole, "time"}, {TitleRole, "title"}, {ReasonRole, "reason"}};
}

int SwitchLogModel::latestInto(const QString& taskId) const {
    const auto found = std::ranges::find(rows(), taskId, &SwitchRow::taskId);
    return found == rows().end() ? -1 : static_cast<int>(found - rows().begin());
}

}  // namespace tolvik
