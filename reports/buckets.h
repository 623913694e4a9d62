#pragma once

#include <string>
#include <vector>

#include "base/clock.h"
#include "reports/report_range.h"

namespace tolvik {

/// The place of one bar: the instants [begin, end) and the days that it covers within the range.
struct BucketPlace {
    Instant begin;
    Instant end;
    DaySpan days;
    /// "09:00", "Mon", "14", "24 Aug" or "Nov"; "Nov 2025" where months come twice.
    std::string label;
    /// Not cut short by the range's ends.
    bool isWhole = true;
};

/// The range cut into buckets without a gap, in order of time; at least one. A day of 23 or 25 hours has as many hourly
/// buckets, an hour that comes twice has two. Buckets at the range's ends are as short as the range leaves them.
/// `firstWeekday`: 0 = Sunday … 6 = Saturday. `days.last` is not before `days.first`.
[[nodiscard]] std::vector<BucketPlace> bucketsOf(BucketStrategy strategy, DaySpan days, int firstWeekday,
                                                 const TimeZone& zone);

/// "24 August 2026", for headings.
[[nodiscard]] std::string longDate(DayKey day);

}  // namespace tolvik
