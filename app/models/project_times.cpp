#include "app/models/project_times.h"

#include <algorithm>

namespace tolvik {

void ProjectTimes::update(const AppStore& store, const TimeZone& zone, Instant now, int firstWeekday) {
    const DayKey today = zone.dayOf(now);
    const DayKey week = today.plus(-((today.weekday() - firstWeekday + 7) % 7));
    std::array<Instant, kWeeks + 1> starts{};
    for (std::size_t i = 0; i <= kWeeks; ++i) {
        starts.at(i) = zone.startOf(week.plus(7 * (static_cast<int>(i) - static_cast<int>(kWeeks) + 1)));
    }
    if (revision_ != store.revision() || starts_ != starts) {
        revision_ = store.revision();
        starts_ = starts;
        closed_ = {};
        for (const TimeEntry& entry : store.timeEntries()) {
            if (!entry.isRunning()) {
                add(closed_, store, entry, std::max<std::int64_t>(0, entry.durationMs.value_or(0)));
            }
        }
    }
    all_ = closed_;
    const TimeEntry* running = store.runningEntry();
    const auto start = running != nullptr ? running->startedAt.instant() : std::nullopt;
    if (start) {
        add(all_, store, *running, std::max<std::int64_t>(0, (now - *start).count()));
    }
}

void ProjectTimes::add(Sums& sums, const AppStore& store, const TimeEntry& entry, std::int64_t ms) const {
    const TaskModel* task = store.taskById(entry.taskId);
    std::optional<Identifier> tag = task != nullptr ? task->tagId : std::nullopt;
    if (tag && store.tagById(*tag) == nullptr) {
        tag.reset();
    }
    sums.tasks[entry.taskId] += ms;
    Times& times = sums.tags[tag];
    times.totalMs += ms;
    if (const auto start = entry.startedAt.instant()) {
        times.lastUsed = std::max(times.lastUsed.value_or(*start), *start);
        const auto after = std::ranges::upper_bound(starts_, *start);
        if (after != starts_.begin() && after != starts_.end()) {
            times.weeks.at(static_cast<std::size_t>(after - starts_.begin()) - 1) += ms;
        }
    }
}

ProjectTimes::Times ProjectTimes::of(const std::optional<Identifier>& tagId) const {
    const auto found = all_.tags.find(tagId);
    return found == all_.tags.end() ? Times{} : found->second;
}

std::int64_t ProjectTimes::ofTask(const Identifier& taskId) const {
    const auto found = all_.tasks.find(taskId);
    return found == all_.tasks.end() ? 0 : found->second;
}

}  // namespace tolvik
