#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "base/identifier.h"
#include "base/time.h"

namespace tolvik {

enum class TaskStatus : std::uint8_t { open, done };

/// The kinds of things that the server keeps for a user.
enum class RecordKind : std::uint8_t { task, timeEntry, switchLog, tag, dictionary };
/// "task", "timeEntry", "switchLog", "tag" or "dictionary": the `kind` of a deletion marker.
[[nodiscard]] std::string_view kindText(RecordKind kind);
[[nodiscard]] std::optional<RecordKind> kindFromText(std::string_view text);

/// A task. Field order is the order of the JSON keys, which carry the same names.
struct TaskModel {
    Identifier id;
    std::string title;
    /// "open" or "done"; another text is kept as it came.
    std::string status;
    /// True while this task is the one being tracked.
    bool isActive = false;
    Timestamp createdAt;
    Timestamp updatedAt;
    std::optional<Timestamp> completedAt;
    /// Lower sorts first in the day list.
    std::int64_t sortOrder = 0;
    std::int64_t colorIndex = 0;
    /// The task that was running when this one was started.
    std::optional<Identifier> previousTaskId;
    /// The task's project; absent means unassigned.
    std::optional<Identifier> tagId;

    [[nodiscard]] bool isOpen() const { return status == "open"; }
    bool operator==(const TaskModel&) const = default;
};

/// A project.
struct TagModel {
    Identifier id;
    std::string name;
    std::int64_t colorIndex = 0;
    Timestamp createdAt;
    Timestamp updatedAt;

    bool operator==(const TagModel&) const = default;
};

/// One interval of work. Running while `endedAt` is absent.
struct TimeEntry {
    Identifier id;
    Identifier taskId;
    Timestamp startedAt;
    std::optional<Timestamp> endedAt;
    /// Whole milliseconds; absent while running, or when `startedAt` could not be read at the close.
    std::optional<std::int64_t> durationMs;
    Timestamp createdAt;

    [[nodiscard]] bool isRunning() const { return !endedAt; }
    bool operator==(const TimeEntry&) const = default;
};

/// One change of the running task.
struct SwitchLog {
    Identifier id;
    /// Absent when nothing was running.
    std::optional<Identifier> fromTaskId;
    Identifier toTaskId;
    Timestamp switchedAt;
    /// The user's answer to "Why did you switch?".
    std::optional<std::string> reason;
    /// "manual", or "voice" for what was spoken.
    std::string source;

    bool operator==(const SwitchLog&) const = default;
};

/// Which tasks the home page and the reports show.
struct ProjectFilter {
    struct All {
        bool operator==(const All&) const = default;
    };
    struct Unassigned {
        bool operator==(const Unassigned&) const = default;
    };
    struct Tag {
        Identifier id;
        bool operator==(const Tag&) const = default;
    };
    std::variant<All, Unassigned, Tag> choice = All{};

    [[nodiscard]] bool accepts(const std::optional<Identifier>& tagId) const {
        if (std::holds_alternative<All>(choice)) {
            return true;
        }
        if (std::holds_alternative<Unassigned>(choice)) {
            return !tagId;
        }
        return tagId == std::get<Tag>(choice).id;
    }
    bool operator==(const ProjectFilter&) const = default;
};

/// One task on one day, derived for activity lists and never stored.
struct TaskLogEntry {
    TaskModel task;
    DayKey date;
    /// Tracked on that day, in milliseconds; an entry over midnight counts on each day what lies in it, a running
    /// entry up to now.
    std::int64_t totalMs = 0;
    /// Switches of the day into the task or out of it.
    int switchCount = 0;

    bool operator==(const TaskLogEntry&) const = default;
};

}  // namespace tolvik
