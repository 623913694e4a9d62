#include "core/mutations.h"

#include <set>
#include <unordered_map>

#include "base/json_writer.h"
#include "core/merge.h"

namespace tolvik {
namespace {

void textOrNull(JsonObjectWriter& out, std::string_view key, const std::optional<std::string>& value) {
    if (value) {
        out.text(key, *value);
    } else {
        out.null(key);
    }
}
void textOrNull(JsonObjectWriter& out, std::string_view key, const std::optional<Identifier>& value) {
    textOrNull(out, key, value ? std::optional(value->text()) : std::nullopt);
}
void textOrNull(JsonObjectWriter& out, std::string_view key, const std::optional<Timestamp>& value) {
    textOrNull(out, key, value ? std::optional(value->text()) : std::nullopt);
}

std::string changedFields(const TaskModel& before, const TaskModel& after) {
    std::string body;
    {
        JsonObjectWriter out(body);
        if (before.title != after.title) {
            out.text("title", after.title);
        }
        if (before.status != after.status) {
            out.text("status", after.status);
        }
        if (before.isActive != after.isActive) {
            out.boolean("isActive", after.isActive);
        }
        if (before.completedAt != after.completedAt) {
            textOrNull(out, "completedAt", after.completedAt);
        }
        if (before.sortOrder != after.sortOrder) {
            out.number("sortOrder", after.sortOrder);
        }
        if (before.colorIndex != after.colorIndex) {
            out.number("colorIndex", after.colorIndex);
        }
        if (before.tagId != after.tagId) {
            textOrNull(out, "tagId", after.tagId);
        }
    }
    return body;
}

std::string changedFields(const TimeEntry& before, const TimeEntry& after) {
    if (before.endedAt == after.endedAt && before.durationMs == after.durationMs) {
        return "{}";
    }
    std::string body;
    {
        JsonObjectWriter out(body);
        textOrNull(out, "endedAt", after.endedAt);
        if (after.durationMs) {
            out.number("durationMs", *after.durationMs);
        } else {
            out.null("durationMs");
        }
    }
    return body;
}

std::string changedFields(const SwitchLog& before, const SwitchLog& after) {
    std::string body;
    {
        JsonObjectWriter out(body);
        if (before.reason != after.reason) {
            textOrNull(out, "reason", after.reason);
        }
        if (before.fromTaskId != after.fromTaskId) {
            textOrNull(out, "fromTaskId", after.fromTaskId);
        }
    }
    return body;
}

std::string changedFields(const TagModel& before, const TagModel& after) {
    std::string body;
    {
        JsonObjectWriter out(body);
        if (before.name != after.name) {
            out.text("name", after.name);
        }
        if (before.colorIndex != after.colorIndex) {
            out.number("colorIndex", after.colorIndex);
        }
    }
    return body;
}

template <class Record>
ServerCopy copyOf(const Record& record) {
    std::string json;
    appendRecord(json, record);
    return {kindOf<Record>(), record.id, std::move(json)};
}

template <class Record>
void addChangedAndCreated(std::vector<Mutation>& out, const std::string& path,
                          const std::vector<RecordChange<Record>>& changes) {
    for (const auto& change : changes) {
        if (change.before && change.after) {
            std::string body = changedFields(*change.before, *change.after);
            if (body != "{}") {
                out.push_back({"PATCH",
                               path + "/" + change.after->id.text(),
                               std::move(body),
                               change.after->id,
                               {copyOf(*change.before)}});
            }
        }
    }
    for (const auto& change : changes) {
        if (!change.before && change.after) {
            std::string body;
            appendRecord(body, *change.after);
            out.push_back({"POST",
                           path,
                           std::move(body),
                           change.after->id,
                           {{kindOf<Record>(), change.after->id, std::nullopt}}});
        }
    }
}

template <class Record>
void addDeleted(std::vector<Mutation>& out, const std::string& path, const std::vector<RecordChange<Record>>& changes,
                const auto& goesAnyway) {
    for (const auto& change : changes) {
        if (change.before && !change.after && !goesAnyway(*change.before)) {
            out.push_back({"DELETE",
                           path + "/" + change.before->id.text(),
                           std::nullopt,
                           change.before->id,
                           {copyOf(*change.before)}});
        }
    }
}

}  // namespace

std::vector<Mutation> mutationsOf(const OperationRecord& change) {
    std::set<Identifier> deletedTasks;
    for (const auto& task : change.tasks) {
        if (task.before && !task.after) {
            deletedTasks.insert(task.before->id);
        }
    }
    std::vector<Mutation> out;
    addChangedAndCreated(out, "/tags", change.tags);
    addChangedAndCreated(out, "/tasks", change.tasks);
    addChangedAndCreated(out, "/time-entries", change.entries);
    addChangedAndCreated(out, "/switch-logs", change.logs);
    addDeleted(out, "/switch-logs", change.logs,
               [&](const SwitchLog& log) { return deletedTasks.contains(log.toTaskId); });
    addDeleted(out, "/time-entries", change.entries,
               [&](const TimeEntry& entry) { return deletedTasks.contains(entry.taskId); });
    const std::size_t firstTask = out.size();
    addDeleted(out, "/tasks", change.tasks, [](const TaskModel&) { return false; });
    std::unordered_map<Identifier, std::size_t> placeOf;
    for (std::size_t i = firstTask; i < out.size(); ++i) {
        placeOf.emplace(*out[i].entityId, i);
    }
    const auto alongWith = [&](const Identifier& task, auto copy) {
        if (const auto found = placeOf.find(task); found != placeOf.end()) {
            out[found->second].before.push_back(copy());
        }
    };
    for (const auto& entry : change.entries) {
        if (entry.before && !entry.after) {
            alongWith(entry.before->taskId, [&] { return copyOf(*entry.before); });
        }
    }
    for (const auto& log : change.logs) {
        if (log.before && !log.after) {
            alongWith(log.before->toTaskId, [&] { return copyOf(*log.before); });
        }
    }
    addDeleted(out, "/tags", change.tags, [](const TagModel&) { return false; });
    return out;
}

}  // namespace tolvik
