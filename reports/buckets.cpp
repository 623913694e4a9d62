#include "reports/buckets.h"

#include <algorithm>
#include <array>
#include <date/date.h>
#include <fmt/format.h>

namespace tolvik {
namespace {

constexpr std::array<std::string_view, 7> kWeekdays{"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
constexpr std::array<std::string_view, 12> kMonths{"January",   "February", "March",    "April",
                                                   "May",       "June",     "July",     "August",
                                                   "September", "October",  "November", "December"};
constexpr Millis kHour{3'600'000};

struct Civil {
    int year = 0;
    unsigned month = 1;
    unsigned day = 1;
};

Civil civil(DayKey key) {
    const date::year_month_day ymd{date::sys_days{date::days{key.days}}};
    return {static_cast<int>(ymd.year()), static_cast<unsigned>(ymd.month()), static_cast<unsigned>(ymd.day())};
}

std::string_view shortMonth(const Civil& day) {
    return kMonths[day.month - 1].substr(0, 3);
}

/// The first instant in (from, to] from which the clock is shifted against `from`; `to` when it is not.
Instant shiftBetween(Instant from, Instant to, const TimeZone& zone) {
    const int offset = zone.offsetMinutes(from);
    if (zone.offsetMinutes(to - Millis{1}) == offset) {
        return to;
    }
    Instant same = from;
    Instant shifted = to - Millis{1};
    while (shifted - same > Millis{1}) {
        const Instant middle = same + (shifted - same) / 2;
        (zone.offsetMinutes(middle) == offset ? same : shifted) = middle;
    }
    return shifted;
}

std::vector<BucketPlace> hours(DaySpan days, const TimeZone& zone) {
    std::vector<BucketPlace> out;
    const Instant end = zone.startOf(days.last.plus(1));
    for (Instant at = zone.startOf(days.first); at < end;) {
        const LocalTime time = zone.timeOf(at);
        const Millis left = kHour - Millis{(time.minute * 60 + time.second) * 1000};
        const Instant next = shiftBetween(at, std::min(end, at + left), zone);
        const DayKey day = zone.dayOf(at);
        out.push_back({at, next, {day, day}, fmt::format("{:02}:00", time.hour)});
        at = next;
    }
    return out;
}

/// The first day of the bucket after the one that `day` lies in.
DayKey nextBucket(BucketStrategy strategy, DayKey day, int firstWeekday) {
    switch (strategy) {
        case BucketStrategy::weekly:
            return day.plus(7 - (day.weekday() - firstWeekday + 7) % 7);
        case BucketStrategy::monthly: {
            const auto ymd = civil(day);
            const auto next = date::year{ymd.year} / static_cast<int>(ymd.month) + date::months{1};
            return {static_cast<std::int32_t>(date::sys_days{next / 1}.time_since_epoch().count())};
        }
        default:
            return day.plus(1);
    }
}

std::string labelOf(BucketStrategy strategy, DayKey day, bool namesYear) {
    const auto ymd = civil(day);
    switch (strategy) {
        case BucketStrategy::dailyWeekLabeled:
            return std::string(kWeekdays[static_cast<std::size_t>(day.weekday())]);
        case BucketStrategy::weekly:
            return fmt::format("{} {}", ymd.day, shortMonth(ymd));
        case BucketStrategy::monthly:
            return namesYear ? fmt::format("{} {}", shortMonth(ymd), ymd.year) : std::string(shortMonth(ymd));
        default:
            return std::to_string(ymd.day);
    }
}

}  // namespace

std::vector<BucketPlace> bucketsOf(BucketStrategy strategy, DaySpan days, int firstWeekday, const TimeZone& zone) {
    if (strategy == BucketStrategy::hourly) {
        auto out = hours(days, zone);
        if (!out.empty()) {
            return out;
        }
        // A day that the zone skips: one bucket without length.
        return {{zone.startOf(days.first), zone.startOf(days.first), days, "00:00"}};
    }
    const auto first = civil(days.first);
    const auto last = civil(days.last);
    const bool namesYear =
        (last.year - first.year) * 12 + static_cast<int>(last.month) >= static_cast<int>(first.month) + 12;
    std::vector<BucketPlace> out;
    Instant begin = zone.startOf(days.first);
    for (DayKey day = days.first; day <= days.last;) {
        const DayKey whole = nextBucket(strategy, day, firstWeekday);
        const DayKey next = std::min(whole, days.last.plus(1));
        const Instant end = zone.startOf(next);
        const bool isWhole = next == whole && nextBucket(strategy, day.plus(-1), firstWeekday) == day;
        out.push_back({begin, end, {day, next.plus(-1)}, labelOf(strategy, day, namesYear), isWhole});
        begin = end;
        day = next;
    }
    return out;
}

std::string longDate(DayKey day) {
    const auto ymd = civil(day);
    return fmt::format("{} {} {}", ymd.day, kMonths[ymd.month - 1], ymd.year);
}

}  // namespace tolvik
