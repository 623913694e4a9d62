#include <unordered_set>

#include "core/app_store_impl.h"

namespace tolvik {
namespace {

constexpr Millis kTick{1000};
/// The clock may be set and the zone changed while a timer waits, so no wait for midnight is longer than this.
constexpr Millis kLongestWait{300'000};

/// The stretch of time that an entry covers up to `now`; none when its start is no instant.
struct Stretch {
    std::int64_t from = 0;
    std::int64_t to = 0;
};
std::optional<Stretch> stretchOf(const TimeEntry& entry, Instant now) {
    const auto start = entry.startedAt.instant();
    if (!start) {
        return std::nullopt;
    }
    std::int64_t end = now.ms;
    if (entry.endedAt) {
        const auto instant = entry.endedAt->instant();
        end = instant ? instant->ms : start->ms + entry.durationMs.value_or(0);
    }
    return Stretch{start->ms, std::max(end, start->ms)};
}

/// When a closed entry ended; INT64_MIN when it runs or the end is no instant.
std::int64_t endOf(const TimeEntry& entry) {
    const auto instant = entry.endedAt.value_or(Timestamp()).instant();
    return instant ? instant->ms : INT64_MIN;
}

bool touches(const Stretch& stretch, std::int64_t from, std::int64_t to) {
    return stretch.from < to && (stretch.to > from || stretch.from >= from);
}

}  // namespace

PieceBounds boundsOf(const TimeEntry& entry) {
    const auto start = entry.startedAt.instant();
    const auto end = entry.endedAt ? entry.endedAt->instant() : std::nullopt;
    if (!start || (entry.endedAt && !end)) {
        return {};
    }
    return {end ? std::min(start->ms, end->ms) : start->ms, end ? std::max(start->ms, end->ms) : INT64_MAX};
}

PieceBounds boundsOf(const SwitchLog& log) {
    const auto instant = log.switchedAt.instant();
    return instant ? PieceBounds{instant->ms, instant->ms} : PieceBounds{};
}

std::optional<DayKey> AppStore::Impl::dayOf(Timestamp timestamp) const {
    if (const auto instant = timestamp.instant()) {
        return ports.timeZone.dayOf(*instant);
    }
    return DayKey::parse(timestamp.text().substr(0, 10));
}

std::vector<TimeEntry> AppStore::Impl::entriesOn(DayKey day) {
    const std::int64_t from = ports.timeZone.startOf(day).ms;
    const std::int64_t to = ports.timeZone.startOf(day.plus(1)).ms;
    const Instant now = ports.clock.now();
    std::vector<TimeEntry> out;
    for (std::size_t p = 0; p < entries.pieceCount(); ++p) {
        if (entries.bounds(p).latestMs < from || entries.bounds(p).earliestMs >= to) {
            continue;
        }
        for (const TimeEntry& entry : entries.records(p)) {
            const auto stretch = stretchOf(entry, now);
            if (stretch ? touches(*stretch, from, to) : dayOf(entry.startedAt) == day) {
                out.push_back(entry);
            }
        }
    }
    return out;
}

std::vector<SwitchLog> AppStore::Impl::logsOn(DayKey day) {
    const std::int64_t from = ports.timeZone.startOf(day).ms;
    const std::int64_t to = ports.timeZone.startOf(day.plus(1)).ms;
    std::vector<SwitchLog> out;
    for (std::size_t p = 0; p < logs.pieceCount(); ++p) {
        if (logs.bounds(p).latestMs < from || logs.bounds(p).earliestMs >= to) {
            continue;
        }
        for (const SwitchLog& log : logs.records(p)) {
            const auto instant = log.switchedAt.instant();
            if (instant ? instant->ms >= from && instant->ms < to : dayOf(log.switchedAt) == day) {
                out.push_back(log);
            }
        }
    }
    return out;
}

std::vector<TimeEntry> AppStore::Impl::entriesStarting(DayKey first, DayKey last) {
    const std::int64_t from = ports.timeZone.startOf(first).ms;
    const std::int64_t to = ports.timeZone.startOf(last.plus(1)).ms;
    const auto canHold = [&](std::size_t p) {
        return entries.bounds(p).latestMs >= from && entries.bounds(p).earliestMs < to;
    };
    std::size_t pieces = 0;
    for (std::size_t p = 0; p < entries.pieceCount(); ++p) {
        pieces += canHold(p) ? 1U : 0U;
    }
    // One pass over the file is cheaper than most of its pieces one by one.
    if (pieces > entries.pieceCount() / 2) {
        (void)entries.all();
    }
    std::vector<TimeEntry> out;
    for (std::size_t p = 0; p < entries.pieceCount(); ++p) {
        if (!canHold(p)) {
            continue;
        }
        for (const TimeEntry& entry : entries.records(p)) {
            const auto start = entry.startedAt.instant();
            const auto day = start ? std::nullopt : dayOf(entry.startedAt);
            if (start ? start->ms >= from && start->ms < to : day && *day >= first && *day <= last) {
                out.push_back(entry);
            }
        }
    }
    return out;
}

std::vector<std::int64_t> AppStore::Impl::trackedPerDay(DayKey first, DayKey last) {
    if (last < first) {
        return {};
    }
    const auto count = static_cast<std::size_t>(last.days - first.days) + 1;
    std::vector<std::int64_t> starts(count + 1);
    for (std::size_t i = 0; i <= count; ++i) {
        starts[i] = ports.timeZone.startOf(first.plus(static_cast<int>(i))).ms;
    }
    std::vector<std::int64_t> out(count);
    const Instant now = ports.clock.now();
    for (std::size_t p = 0; p < entries.pieceCount(); ++p) {
        if (entries.bounds(p).latestMs < starts.front() || entries.bounds(p).earliestMs >= starts.back()) {
            continue;
        }
        for (const TimeEntry& entry : entries.records(p)) {
            const auto stretch = stretchOf(entry, now);
            if (!stretch) {
                const auto day = dayOf(entry.startedAt);
                if (day && *day >= first && *day <= last) {
                    out[static_cast<std::size_t>(day->days - first.days)] +=
                        std::max<std::int64_t>(0, entry.durationMs.value_or(0));
                }
                continue;
            }
            if (!touches(*stretch, starts.front(), starts.back())) {
                continue;
            }
            const auto after = std::upper_bound(starts.begin(), starts.end(), std::max(stretch->from, starts.front()));
            for (auto i = static_cast<std::size_t>(after - starts.begin()) - 1; i < count && starts[i] < stretch->to;
                 ++i) {
                out[i] += std::max<std::int64_t>(
                    0, std::min(stretch->to, starts[i + 1]) - std::max(stretch->from, starts[i]));
            }
        }
    }
    return out;
}

std::vector<TaskLogEntry> AppStore::Impl::dayRows() {
    const std::int64_t from = ports.timeZone.startOf(currentDate).ms;
    const std::int64_t to = ports.timeZone.startOf(currentDate.plus(1)).ms;
    const Instant now = ports.clock.now();
    std::unordered_map<Identifier, TaskLogEntry*> byTask;
    std::vector<TaskLogEntry> out;
    out.reserve(tasksToShow.size());
    for (const TaskModel& task : tasksToShow) {
        out.push_back({task, currentDate, 0, 0});
        byTask.emplace(task.id, &out.back());
    }
    for (const TimeEntry& entry : dateEntries) {
        const auto row = byTask.find(entry.taskId);
        if (row == byTask.end()) {
            continue;
        }
        const auto stretch = stretchOf(entry, now);
        row->second->totalMs += std::max<std::int64_t>(
            0, stretch ? std::min(stretch->to, to) - std::max(stretch->from, from) : entry.durationMs.value_or(0));
    }
    for (const SwitchLog& log : dateLogs) {
        if (const auto row = byTask.find(log.toTaskId); row != byTask.end()) {
            ++row->second->switchCount;
        }
        if (log.fromTaskId && *log.fromTaskId != log.toTaskId) {
            if (const auto row = byTask.find(*log.fromTaskId); row != byTask.end()) {
                ++row->second->switchCount;
            }
        }
    }
    return out;
}

const TaskModel* AppStore::Impl::taskToResume() {
    if (std::ranges::none_of(tasks.all(), [](const TaskModel& task) { return task.isOpen(); })) {
        return nullptr;
    }
    std::vector<std::size_t> byEnd(entries.pieceCount());
    for (std::size_t p = 0; p < byEnd.size(); ++p) {
        byEnd[p] = p;
    }
    std::ranges::stable_sort(byEnd, std::greater<>{}, [&](std::size_t p) { return entries.bounds(p).latestMs; });
    const TaskModel* best = nullptr;
    std::int64_t bestEnd = INT64_MIN;
    for (const std::size_t p : byEnd) {
        if (best != nullptr && entries.bounds(p).latestMs < bestEnd) {
            break;
        }
        for (const TimeEntry& entry : entries.records(p)) {
            const std::int64_t end = endOf(entry);
            const auto task = taskIndex.find(entry.taskId);
            if (end != INT64_MIN && end >= bestEnd && task != taskIndex.end() && tasks.all()[task->second].isOpen()) {
                best = &tasks.all()[task->second];
                bestEnd = end;
            }
        }
    }
    return best;
}

void AppStore::Impl::rebuild() {
    active.reset();
    for (std::size_t i = 0; i < tasks.all().size(); ++i) {
        if (tasks.all()[i].isActive) {
            active = i;
        }
    }
    running.reset();
    for (const auto place : runningEntries()) {
        running = entries.at(place);
    }
    dateEntries = entriesOn(currentDate);
    dateLogs = logsOn(currentDate);

    std::unordered_set<Identifier> worked;
    for (const TimeEntry& entry : dateEntries) {
        worked.insert(entry.taskId);
    }
    const DayKey now = today();
    const bool viewsToday = currentDate == now;
    const Instant dayStart = ports.timeZone.startOf(now);
    tasksToShow.clear();
    for (const TaskModel& task : tasks.all()) {
        bool listed = worked.contains(task.id);
        if (!listed && viewsToday && task.isOpen()) {
            const auto updated = task.updatedAt.instant();
            const auto day = updated ? std::nullopt : dayOf(task.updatedAt);
            listed = updated ? *updated >= dayStart : day && *day >= now;
        }
        if (listed && filter.accepts(task.tagId)) {
            tasksToShow.push_back(task);
        }
    }
    scheduleTick();
    staleCheck();
}

void AppStore::Impl::rebuildAndTell() {
    rebuild();
    if (!inStaleCheck) {
        changed.emit();
    }
}

void AppStore::Impl::show(DayKey day) {
    if (day > today()) {
        return;
    }
    endDate.reset();
    currentDate = day;
    rebuildAndTell();
    if (ports.requestDay) {
        ports.requestDay(day);
    }
}

bool AppStore::Impl::followDay() {
    const DayKey now = today();
    const std::string zone = ports.timeZone.name();
    if (now == seenToday && zone == seenZone) {
        return false;
    }
    const bool follows = !endDate && (currentDate == seenToday || currentDate == now.plus(-1) || currentDate > now);
    const bool turned = now != seenToday;
    seenToday = now;
    seenZone = zone;
    if (follows && turned) {
        show(now);
    } else {
        rebuildAndTell();
    }
    scheduleMidnight();
    return true;
}

void AppStore::Impl::scheduleMidnight() {
    const Instant now = ports.clock.now();
    const DayKey day = ports.timeZone.dayOf(now);
    // A day that the zone skips begins when the next one does.
    Millis wait{60'000};
    for (int ahead = 1; ahead <= 3; ++ahead) {
        const Instant next = ports.timeZone.startOf(day.plus(ahead));
        if (next > now) {
            wait = std::max(next - now, kTick);
            break;
        }
    }
    midnightTimer = ports.loop.after(std::min(wait, kLongestWait), [this] {
        if (!followDay()) {
            scheduleMidnight();
        }
    });
}

void AppStore::Impl::scheduleTick() {
    if (!running || !tick.isConnected()) {
        liveTimer.cancel();
        return;
    }
    if (!liveTimer.isPending()) {
        liveTimer = ports.loop.after(kTick, [this] {
            tick.emit();
            scheduleTick();
        });
    }
}

void AppStore::Impl::staleCheck() {
    if (inStaleCheck) {
        return;
    }
    staleCheckPending = false;
    if (!active || !running || running->taskId != tasks.all()[*active].id) {
        return;
    }
    const auto startDay = dayOf(running->startedAt);
    if (!startDay || *startDay >= today()) {
        return;
    }
    if (ports.isSignedIn && ports.isSignedIn()) {
        staleCheckPending = true;
        return;
    }
    closeStale(*startDay);
}

void AppStore::Impl::closeStale(DayKey startDay) {
    const auto end = ports.timeZone.at(startDay, {23, 59, 59});
    if (!end) {
        return;
    }
    inStaleCheck = true;
    const Timestamp closing(*end);
    StoreChange change = begin();
    const Identifier id = tasks.all()[*active].id;
    editTask(change, *active, [&](TaskModel& task) {
        task.status = "done";
        task.completedAt = closing;
        task.updatedAt = closing;
        task.isActive = false;
    });
    closeEntries(change, id, closing);
    finish(std::move(change), std::nullopt);
    inStaleCheck = false;
}

}  // namespace tolvik
