#include "reports/export_rows.h"

#include <algorithm>
#include <limits>
#include <unordered_map>

namespace tolvik {

std::vector<Resolved> resolveRows(const ExportInput& input) {
    std::vector<Resolved> rows;
    rows.reserve(input.entries.size());
    struct Owner {
        const TaskModel* task = nullptr;
        const TagModel* project = nullptr;
    };
    std::unordered_map<Identifier, Owner> owners;
    const Timestamp now(input.now);
    for (const TimeEntry& entry : input.entries) {
        const auto [owner, isNew] = owners.try_emplace(entry.taskId);
        if (isNew) {
            owner->second.task = input.records.task(entry.taskId);
            owner->second.project = input.records.projectOf(owner->second.task);
        }
        rows.push_back({&entry, owner->second.task, owner->second.project, entry.endedAt.value_or(now),
                        trackedMs(entry, input.now)});
    }
    std::ranges::stable_sort(rows, {}, [&](const Resolved& row) {
        const auto start = row.entry->startedAt.instant();
        const auto day = start ? std::nullopt : startDay(*row.entry, input.zone);
        return start ? start->ms : day ? input.zone.startOf(*day).ms : std::numeric_limits<std::int64_t>::min();
    });
    return rows;
}

std::string_view RowDays::textOf(const TimeEntry& entry) {
    const auto start = entry.startedAt.instant();
    if (!start) {
        odd_ = entry.startedAt.text().substr(0, 10);
        return odd_;
    }
    if (text_.empty() || *start < begin_ || *start >= end_) {
        const DayKey day = zone_.dayOf(*start);
        begin_ = zone_.startOf(day);
        end_ = zone_.startOf(day.plus(1));
        text_ = day.text();
    }
    return text_;
}

}  // namespace tolvik
