#include "core/merge.h"

#include <algorithm>
#include <array>
#include <ranges>

namespace tolvik {
namespace {

constexpr std::array<std::string_view, 5> kKinds{"task", "timeEntry", "switchLog", "tag", "dictionary"};

/// By instant, then by text, then by id as text: the same order in every process.
bool isBefore(const TimeEntry& a, const TimeEntry& b) {
    const auto atA = a.startedAt.instant();
    const auto atB = b.startedAt.instant();
    if (atA != atB) {
        return atA < atB;
    }
    if (a.startedAt != b.startedAt) {
        return a.startedAt < b.startedAt;
    }
    return a.id.text() < b.id.text();
}

TimeEntry endedAt(TimeEntry entry, Timestamp closing) {
    entry.endedAt = closing;
    entry.durationMs.reset();
    const auto start = entry.startedAt.instant();
    const auto end = closing.instant();
    if (start && end) {
        entry.durationMs = (*end - *start).count();
    }
    return entry;
}

/// The index of each id's first record.
template <class Record>
std::unordered_map<Identifier, std::size_t> indexById(const std::vector<Record>& records) {
    std::unordered_map<Identifier, std::size_t> out;
    out.reserve(records.size());
    for (std::size_t i = 0; i < records.size(); ++i) {
        out.emplace(records[i].id, i);
    }
    return out;
}

template <class Record>
void planCollection(CollectionPlan<Record>& plan, [[maybe_unused]] IdSet& lacking, const std::vector<Record>& local,
                    std::vector<Record>& pulled, const std::vector<DeletedMarker>& deleted, const IdSet& held,
                    bool isFull) {
    IdSet marked;
    for (const DeletedMarker& marker : deleted) {
        if (marker.kind == kindOf<Record>()) {
            marked.insert(marker.id);
        }
    }
    const auto byId = indexById(pulled);
    std::vector<bool> known(pulled.size());
    for (const Record& record : local) {
        const auto found = byId.find(record.id);
        if (found != byId.end()) {
            known[found->second] = true;
        }
#ifndef TOLVIK_PLANT_NO_HOLD
        if (held.contains(record.id)) {
            continue;
        }
#endif
        if (found != byId.end()) {
            if (pulled[found->second] != record) {
                plan.replaced.emplace(record.id, pulled[found->second]);
            }
        } else if (marked.contains(record.id)) {  // NOLINT(bugprone-branch-clone): the same only with a planted fault
            plan.removed.insert(record.id);
        } else if (isFull) {
#ifdef TOLVIK_PLANT_DELETE_BY_ABSENCE
            plan.removed.insert(record.id);
#else
            lacking.insert(record.id);
#endif
        }
    }
    for (std::size_t i = 0; i < pulled.size(); ++i) {
        if (!known[i] && byId.at(pulled[i].id) == i && !held.contains(pulled[i].id)) {
            plan.added.push_back(std::move(pulled[i]));
        }
    }
    std::ranges::stable_sort(plan.added, {}, [](const Record& record) { return bornAt(record); });
}

/// The ids of a collection once the plan is carried out.
template <class Record>
IdSet idsAfter(const CollectionPlan<Record>& plan, const std::vector<Record>& local) {
    IdSet out;
    out.reserve(local.size() + plan.added.size());
    for (const Record& record : local) {
        if (!plan.removed.contains(record.id)) {
            out.insert(record.id);
        }
    }
    for (const Record& record : plan.added) {
        out.insert(record.id);
    }
    return out;
}

/// Mends every record that `isWrong` as it will be, keeping the server's copy of those that are not held.
template <class Record>
void mendAfter(CollectionPlan<Record>& plan, const std::vector<Record>& local, const IdSet& held, auto&& isWrong,
               auto&& mend) {
    for (const Record& record : local) {
        if (plan.removed.contains(record.id)) {
            continue;
        }
        const auto replaced = plan.replaced.find(record.id);
        const Record& present = replaced == plan.replaced.end() ? record : replaced->second;
        if (isWrong(present)) {
            if (!held.contains(record.id)) {
                plan.serverCopies.push_back(present);
            }
            mend(plan.replaced.try_emplace(record.id, record).first->second);
        }
    }
    for (Record& record : plan.added) {
        if (isWrong(record)) {
            plan.serverCopies.push_back(record);
            mend(record);
        }
    }
}

/// Takes out the records whose task is not there.
template <class Record>
void dropStrays(CollectionPlan<Record>& plan, IdSet& lacking, const std::vector<Record>& local, auto&& isStray) {
    for (const Record& record : local) {
        const auto replaced = plan.replaced.find(record.id);
        if (!plan.removed.contains(record.id) && isStray(replaced == plan.replaced.end() ? record : replaced->second)) {
            plan.replaced.erase(record.id);
            plan.removed.insert(record.id);
            lacking.erase(record.id);
        }
    }
    std::erase_if(plan.added, isStray);
}

template <class Record>
void carryOut(CollectionPlan<Record>& plan, std::vector<Record>& log) {
    std::erase_if(log, [&](const Record& record) { return plan.removed.contains(record.id); });
    for (Record& record : log) {
        if (const auto found = plan.replaced.find(record.id); found != plan.replaced.end()) {
            record = found->second;
        }
    }
    std::ranges::move(plan.added, std::back_inserter(log));
}

}  // namespace

std::string_view kindText(RecordKind kind) {
    return kKinds[static_cast<std::size_t>(kind)];
}

std::optional<RecordKind> kindFromText(std::string_view text) {
    const auto found = std::ranges::find(kKinds, text);
    return found == kKinds.end() ? std::nullopt : std::optional(static_cast<RecordKind>(found - kKinds.begin()));
}

Settled settleRunning(std::span<const TimeEntry> running, std::span<const TaskModel> tasks) {
    Settled out;
    const auto taskOf = [&](const TimeEntry& entry) { return std::ranges::find(tasks, entry.taskId, &TaskModel::id); };
    const TimeEntry* latest = nullptr;
    for (const TimeEntry& entry : running) {
        if (taskOf(entry) != tasks.end() && (latest == nullptr || isBefore(*latest, entry))) {
            latest = &entry;
        }
    }
    for (const TimeEntry& entry : running) {
        if (latest != nullptr && entry.id != latest->id && taskOf(entry) != tasks.end()) {
            out.entries.push_back(endedAt(entry, latest->startedAt));
        }
    }
    if (latest != nullptr) {
        const TaskModel& task = *taskOf(*latest);
        const auto started = latest->startedAt.instant();
        const auto completed = task.completedAt ? task.completedAt->instant() : std::nullopt;
        if (task.status == "done" && started && completed && *completed >= *started) {
            out.entries.push_back(endedAt(*latest, *task.completedAt));
            latest = nullptr;
        }
    }
    for (const TaskModel& task : tasks) {
        const bool active = latest != nullptr && task.id == latest->taskId;
        const bool done = task.status == "done" && !active;
        const bool open = task.status == "open" || (task.status == "done" && active);
        const bool fits = !(done && !task.completedAt) && !(open && task.completedAt);
        if (task.isActive == active && fits && !(active && task.status == "done")) {
            continue;
        }
        TaskModel& after = out.tasks.emplace_back(task);
        after.isActive = active;
        if (open) {
            after.status = "open";
            after.completedAt.reset();
        } else if (done && !after.completedAt) {
            after.completedAt = after.updatedAt;
        }
    }
    return out;
}

MergePlan planMerge(const WholeLog& local, PulledLog pulled, const IdSet& held, bool isFull) {
    MergePlan plan;
    planCollection(plan.tags, plan.lacking, local.tags, pulled.tags, pulled.deleted, held, isFull);
    planCollection(plan.tasks, plan.lacking, local.tasks, pulled.tasks, pulled.deleted, held, isFull);
    planCollection(plan.timeEntries, plan.lacking, local.timeEntries, pulled.timeEntries, pulled.deleted, held, isFull);
    planCollection(plan.switchLogs, plan.lacking, local.switchLogs, pulled.switchLogs, pulled.deleted, held, isFull);

    const IdSet tags = idsAfter(plan.tags, local.tags);
    mendAfter(
        plan.tasks, local.tasks, held, [&](const TaskModel& task) { return task.tagId && !tags.contains(*task.tagId); },
        [](TaskModel& task) { task.tagId.reset(); });
    const IdSet tasks = idsAfter(plan.tasks, local.tasks);
    // A task that was deleted here takes what is pulled of it along; any other one should have come too.
    const auto isStray = [&](const Identifier& task) { return !tasks.contains(task) && !held.contains(task); };
    plan.strays = static_cast<std::size_t>(
        std::ranges::count_if(plan.timeEntries.added, [&](const TimeEntry& entry) { return isStray(entry.taskId); }) +
        std::ranges::count_if(plan.switchLogs.added, [&](const SwitchLog& log) { return isStray(log.toTaskId); }));
    dropStrays(plan.timeEntries, plan.lacking, local.timeEntries,
               [&](const TimeEntry& entry) { return !tasks.contains(entry.taskId); });
    dropStrays(plan.switchLogs, plan.lacking, local.switchLogs,
               [&](const SwitchLog& log) { return !tasks.contains(log.toTaskId); });
    mendAfter(
        plan.switchLogs, local.switchLogs, held,
        [&](const SwitchLog& log) { return log.fromTaskId && !tasks.contains(*log.fromTaskId); },
        [](SwitchLog& log) { log.fromTaskId.reset(); });
    return plan;
}

WholeLog mergeLog(WholeLog local, PulledLog pulled, const IdSet& held) {
    MergePlan plan = planMerge(local, std::move(pulled), held, false);
    carryOut(plan.tags, local.tags);
    carryOut(plan.tasks, local.tasks);
    carryOut(plan.timeEntries, local.timeEntries);
    carryOut(plan.switchLogs, local.switchLogs);
    std::vector<TimeEntry> running;
    std::ranges::copy_if(local.timeEntries, std::back_inserter(running), &TimeEntry::isRunning);
    const Settled settled = settleRunning(running, local.tasks);
    for (const TimeEntry& entry : settled.entries) {
        *std::ranges::find(local.timeEntries, entry.id, &TimeEntry::id) = entry;
    }
    for (const TaskModel& task : settled.tasks) {
        *std::ranges::find(local.tasks, task.id, &TaskModel::id) = task;
    }
    return local;
}

}  // namespace tolvik
