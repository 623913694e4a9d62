#include "app/models/switch_log_model.h"

#include <algorithm>
#include <array>
#include <ranges>

#include "app/models/wording.h"

namespace tolvik {

std::span<const RowRole<SwitchRow>> SwitchRow::roles() {
    static constexpr std::array all{rowRole<&SwitchRow::id>("logId"), rowRole<&SwitchRow::taskId>("taskId"),
                                    rowRole<&SwitchRow::time>("time"), rowRole<&SwitchRow::title>("title"),
                                    rowRole<&SwitchRow::reason>("reason")};
    return all;
}

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

int SwitchLogModel::latestInto(const QString& taskId) const {
    const auto found = std::ranges::find(rows(), taskId, &SwitchRow::taskId);
    return found == rows().end() ? -1 : static_cast<int>(found - rows().begin());
}

}  // namespace tolvik
