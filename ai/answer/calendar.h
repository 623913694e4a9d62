#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "base/time.h"
#include "reports/report_range.h"

namespace tolvik::calendar {

struct Civil {
    int year = 1970;
    /// 1 to 12.
    int month = 1;
    int day = 1;
};
[[nodiscard]] Civil civilOf(DayKey day);
/// None when there is no such day.
[[nodiscard]] std::optional<DayKey> dayOf(int year, int month, int day);

/// The week of a day. `firstWeekday`: 0 = Sunday … 6 = Saturday.
[[nodiscard]] DaySpan weekOf(DayKey day, int firstWeekday);
/// `month` may lie outside of 1 to 12 and then counts on into other years.
[[nodiscard]] DaySpan monthOf(int year, int month);
/// `quarter` may lie outside of 1 to 4.
[[nodiscard]] DaySpan quarterOf(int year, int quarter);
[[nodiscard]] DaySpan yearOf(int year);

/// 0 = Sunday … 6 = Saturday, by name or short form, in lower case; none for other words.
[[nodiscard]] std::optional<int> weekdayNamed(std::string_view word);
/// 1 to 12.
[[nodiscard]] std::optional<int> monthNamed(std::string_view word);

/// "Tuesday 17 November 2026".
[[nodiscard]] std::string dayWords(DayKey day);
/// "in October 2026", "in 2025", "on Tuesday 17 November 2026", "from 9 to 15 November 2026".
[[nodiscard]] std::string spanWords(const DaySpan& days);

}  // namespace tolvik::calendar
