#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "core/record_json.h"
#include "core/records.h"

namespace tolvik {

template <class Record>
[[nodiscard]] constexpr RecordKind kindOf();

/// The server's word that a record was deleted. Markers never expire; the ids of all kinds are distinct.
struct DeletedMarker {
    RecordKind kind = RecordKind::task;
    Identifier id;
    Timestamp deletedAt;

    bool operator==(const DeletedMarker&) const = default;
};

/// The records of a pull, of one user. Nothing is promised about how they fit together or whether an id comes twice.
struct PulledLog {
    std::vector<TaskModel> tasks;
    std::vector<TimeEntry> timeEntries;
    std::vector<SwitchLog> switchLogs;
    std::vector<TagModel> tags;
    std::vector<DeletedMarker> deleted;
};

using IdSet = std::unordered_set<Identifier>;

/// Records that no longer are as they were.
struct Settled {
    std::vector<TimeEntry> entries;
    std::vector<TaskModel> tasks;
};

/// Makes running entries and tasks fit together, the same way on every device and on the server. Of several running
/// entries the latest by (startedAt, id) goes on; the others end at its start. An entry of a task that was marked done
/// later ends at that moment; one that started after it opens the task again. Then exactly the task of the running
/// entry is active, an open task has no completion and a done one has. `updatedAt` stays as it is.
///
/// `running` holds every entry without an end, `tasks` at least every active task and the tasks of those entries; an
/// entry whose task is not among them takes no part. The order of either does not matter. Pure.
[[nodiscard]] Settled settleRunning(std::span<const TimeEntry> running, std::span<const TaskModel> tasks);

/// What a merge does to one collection.
template <class Record>
struct CollectionPlan {
    /// Present records that take another value.
    std::unordered_map<Identifier, Record> replaced;
    /// Records that are new here, oldest first.
    std::vector<Record> added;
    IdSet removed;
    /// As the server has them: records without queued changes that lost a reference to what is not here.
    std::vector<Record> serverCopies;
};

/// What a merge does to a log, before it is settled.
struct MergePlan {
    CollectionPlan<TaskModel> tasks;
    CollectionPlan<TimeEntry> timeEntries;
    CollectionPlan<SwitchLog> switchLogs;
    CollectionPlan<TagModel> tags;
    /// What is here and neither held nor known to the server, alive or deleted; only after a pull of everything.
    IdSet lacking;
    /// Records left out because their task is neither here nor held.
    std::size_t strays = 0;
};

/// Compares a pull with the present log. Held ids (queued changes) keep the local version, also when it is absent. A
/// marker removes a record; nothing else does, except that entries and switches go with their task. A log whose origin
/// is unknown loses the origin, a task whose project is unknown the project. With `isFull`, the pull holds everything
/// that the server has. Pure; safe on any thread.
[[nodiscard]] MergePlan planMerge(const WholeLog& local, PulledLog pulled, const IdSet& held, bool isFull);

/// The log after a pull: the plan carried out and settled. Pure. The order of records that were there is kept.
[[nodiscard]] WholeLog mergeLog(WholeLog local, PulledLog pulled, const IdSet& held);

/// The moment by which new records are put in order.
[[nodiscard]] inline Timestamp bornAt(const TaskModel& task) {
    return task.createdAt;
}
[[nodiscard]] inline Timestamp bornAt(const TimeEntry& entry) {
    return entry.startedAt;
}
[[nodiscard]] inline Timestamp bornAt(const SwitchLog& log) {
    return log.switchedAt;
}
[[nodiscard]] inline Timestamp bornAt(const TagModel& tag) {
    return tag.createdAt;
}

template <>
constexpr RecordKind kindOf<TaskModel>() {
    return RecordKind::task;
}
template <>
constexpr RecordKind kindOf<TimeEntry>() {
    return RecordKind::timeEntry;
}
template <>
constexpr RecordKind kindOf<SwitchLog>() {
    return RecordKind::switchLog;
}
template <>
constexpr RecordKind kindOf<TagModel>() {
    return RecordKind::tag;
}

}  // namespace tolvik
