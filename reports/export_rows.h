#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "reports/report_range.h"
#include "reports/tracked_time.h"

namespace tolvik {

/// What an export is made from. Whoever makes it keeps everything alive and unchanged while writers run.
struct ExportInput {
    /// The entries of the range, in any order.
    std::span<const TimeEntry> entries;
    RecordLookup records;
    DaySpan days;
    /// Stands for the end of an entry that still runs.
    Instant now;
    const TimeZone& zone;
};

/// One exported row. The pointers are the input's.
struct Resolved {
    const TimeEntry* entry = nullptr;
    /// Null when the task is gone.
    const TaskModel* task = nullptr;
    /// Null when the task has no project or it is gone.
    const TagModel* project = nullptr;
    /// The entry's end, or the present.
    Timestamp endedAt;
    std::int64_t durationMs = 0;

    [[nodiscard]] std::string_view title() const { return task == nullptr ? "Unknown" : std::string_view(task->title); }
    [[nodiscard]] std::string_view status() const { return task == nullptr ? "" : std::string_view(task->status); }
};

/// The rows by start instant; what starts at once stays in the input's order, what starts at no instant comes at the
/// beginning of the day that its first ten characters name, else first.
[[nodiscard]] std::vector<Resolved> resolveRows(const ExportInput& input);

/// The day keys of rows in order of time: neighbours mostly share one.
class RowDays {
public:
    explicit RowDays(const TimeZone& zone) : zone_(zone) {}
    /// "yyyy-MM-dd"; of a start that is no instant its first ten characters. Good until the next call.
    [[nodiscard]] std::string_view textOf(const TimeEntry& entry);

private:
    const TimeZone& zone_;
    Instant begin_;
    Instant end_;
    std::string text_;
    std::string odd_;
};

}  // namespace tolvik
