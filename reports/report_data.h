#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "reports/buckets.h"
#include "reports/tracked_time.h"

namespace tolvik {

/// What a report is about.
struct ReportQuery {
    ReportRange range = ReportRange::month;
    /// For the ranges that end today: `daysOf`. Not before the first day.
    DaySpan days;
    ProjectFilter filter = {};
    /// 0 = Sunday … 6 = Saturday.
    int firstWeekday = 1;
};

/// The colour index of time without a project.
constexpr std::int64_t kUntaggedTone = -1;

/// What one contributor has in one bucket.
struct BucketSegment {
    /// Colour index of the project, or of the task where a filter is set.
    std::int64_t tone = kUntaggedTone;
    std::int64_t ms = 0;
    /// The contributor: an index into `byTag`, or into `byTask` where a filter is set.
    std::size_t contributor = 0;

    bool operator==(const BucketSegment&) const = default;
};

struct Bucket {
    /// The same as `from`.
    std::string id;
    std::string label;
    std::int64_t totalMs = 0;
    /// First and last day, "yyyy-MM-dd"; of hours the first instant and the one after the last.
    std::string from;
    std::string to;
    DaySpan days;
    /// Not cut short by the range's ends.
    bool isWhole = true;
    /// The largest contributor of the whole report first; their sum is `totalMs`.
    std::vector<BucketSegment> segments;

    bool operator==(const Bucket&) const = default;
};

struct TagTotal {
    /// Absent for the untagged group.
    std::optional<Identifier> tagId;
    std::string tagName;
    std::int64_t colorIndex = kUntaggedTone;
    std::int64_t totalMs = 0;
    /// Share of the report in whole percent; the shares of all add up to 100 when there is any time.
    int percent = 0;

    bool operator==(const TagTotal&) const = default;
};

struct TaskTotal {
    Identifier taskId;
    std::string title;
    std::int64_t colorIndex = 0;
    std::int64_t totalMs = 0;
    int percent = 0;
    /// The task's project; absent when it has none or it is gone.
    std::optional<Identifier> tagId;

    bool operator==(const TaskTotal&) const = default;
};

/// A report. `totalMs` is the sum of the lengths of the entries that start in the range, and so are the sums of the
/// buckets, of `byTag` and of `byTask`.
struct ReportData {
    ReportRange range = ReportRange::month;
    DaySpan days;
    /// In the order of the log.
    std::vector<TimeEntry> entries;
    std::int64_t totalMs = 0;
    std::vector<Bucket> buckets;
    /// The largest first, then by name.
    std::vector<TagTotal> byTag;
    std::vector<TaskTotal> byTask;
    int spanDays = 0;
    BucketStrategy strategy = BucketStrategy::dailyDayLabeled;

    /// "Export capped at 1 year", or nothing.
    [[nodiscard]] std::string_view capMessage() const {
        return isOverExportCap(range, spanDays) ? kExportCapMessage : std::string_view();
    }
    /// The mean of the whole buckets, in the ranges that end today without the last, which still fills; none when
    /// there are fewer than two.
    [[nodiscard]] std::optional<std::int64_t> averageMs() const;
};

/// Adds up the entries that start in the query's days and pass its filter; others may be among `entries`. An entry over
/// a bucket's end is cut there; time past the range's end counts in the last bucket.
[[nodiscard]] ReportData makeReport(const ReportQuery& query, std::vector<TimeEntry> entries,
                                    const RecordLookup& records, const TimeZone& zone, Instant now);

}  // namespace tolvik
