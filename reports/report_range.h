#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "base/time.h"

namespace tolvik {

/// The kinds of ranges, in the order in which they are offered. All but `custom` end today.
enum class ReportRange : std::uint8_t { month, quarter, half, year, custom };
/// "month" … "custom".
[[nodiscard]] std::string_view nameOf(ReportRange range);
[[nodiscard]] std::optional<ReportRange> reportRangeNamed(std::string_view name);

/// What one bar of the chart stands for.
enum class BucketStrategy : std::uint8_t { hourly, dailyWeekLabeled, dailyDayLabeled, weekly, monthly };
[[nodiscard]] std::string_view nameOf(BucketStrategy strategy);

/// Two days with what lies between them, both included.
struct DaySpan {
    DayKey first;
    DayKey last;

    /// How many days; 0 when `last` is before `first`.
    [[nodiscard]] int days() const { return last < first ? 0 : last.days - first.days + 1; }
    bool operator==(const DaySpan&) const = default;
};

/// The days of a range that ends today. A month begins on the day after its day of last month, the others with a whole
/// first bucket: a quarter has 13 weeks, a half 26, a year 12 months, the running one included. Not for `custom`.
/// `firstWeekday`: 0 = Sunday … 6 = Saturday.
[[nodiscard]] DaySpan daysOf(ReportRange range, DayKey today, int firstWeekday);

[[nodiscard]] BucketStrategy strategyFor(ReportRange range, int spanDays);
/// The chart's title, for example "Weekly breakdown".
[[nodiscard]] std::string_view chartTitle(ReportRange range, int spanDays);
/// Every how many buckets a label is drawn.
[[nodiscard]] std::size_t labelStep(std::size_t buckets);

/// The longest range that is exported.
constexpr int kLongestExportDays = 366;
constexpr std::string_view kExportCapMessage = "Export capped at 1 year";
/// Whether the cap message is shown.
[[nodiscard]] bool isOverExportCap(ReportRange range, int spanDays);
/// The part of a range that is exported: its last year.
[[nodiscard]] DaySpan exportedPart(DaySpan days);

/// The first weekday (0 = Sunday … 6 = Saturday) where a locale such as "de_DE.UTF-8" is used. Monday for the locales
/// of no place: an empty name, "C" and "POSIX".
[[nodiscard]] int firstWeekdayOf(std::string_view locale);

}  // namespace tolvik
