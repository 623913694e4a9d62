#pragma once

#include <array>
#include <string_view>
#include <tuple>

#include "core/dict_entry.h"
#include "core/records.h"

namespace tolvik {

/// The stored form of a record type: the key of its collection, its JSON member names and its fields in that order.
/// Ids are distinct within a collection.
template <class Record>
struct RecordShape;

template <>
struct RecordShape<TaskModel> {
    static constexpr std::string_view key = "tolvik:tasks";
    static constexpr std::array<std::string_view, 11> names{"id",         "title",          "status",      "isActive",
                                                            "createdAt",  "updatedAt",      "completedAt", "sortOrder",
                                                            "colorIndex", "previousTaskId", "tagId"};
    static auto fields(auto& r) {
        return std::tie(r.id, r.title, r.status, r.isActive, r.createdAt, r.updatedAt, r.completedAt, r.sortOrder,
                        r.colorIndex, r.previousTaskId, r.tagId);
    }
};

template <>
struct RecordShape<TimeEntry> {
    static constexpr std::string_view key = "tolvik:timeEntries";
    static constexpr std::array<std::string_view, 6> names{"id",      "taskId",     "startedAt",
                                                           "endedAt", "durationMs", "createdAt"};
    static auto fields(auto& r) { return std::tie(r.id, r.taskId, r.startedAt, r.endedAt, r.durationMs, r.createdAt); }
};

template <>
struct RecordShape<SwitchLog> {
    static constexpr std::string_view key = "tolvik:switchLogs";
    static constexpr std::array<std::string_view, 6> names{"id",         "fromTaskId", "toTaskId",
                                                           "switchedAt", "reason",     "source"};
    static auto fields(auto& r) { return std::tie(r.id, r.fromTaskId, r.toTaskId, r.switchedAt, r.reason, r.source); }
};

template <>
struct RecordShape<TagModel> {
    static constexpr std::string_view key = "tolvik:tags";
    static constexpr std::array<std::string_view, 5> names{"id", "name", "colorIndex", "createdAt", "updatedAt"};
    static auto fields(auto& r) { return std::tie(r.id, r.name, r.colorIndex, r.createdAt, r.updatedAt); }
};

template <>
struct RecordShape<DictEntry> {
    static constexpr std::string_view key = "tolvik.dictionaries";
    static constexpr std::array<std::string_view, 4> names{"id", "term", "hint", "tagId"};
    static auto fields(auto& r) { return std::tie(r.id, r.term, r.hint, r.tagId); }
};

}  // namespace tolvik
