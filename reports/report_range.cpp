#include "reports/report_range.h"

#include <algorithm>
#include <array>
#include <date/date.h>
#include <string>
#include <unicode/ucal.h>
#include <utility>

namespace tolvik {
namespace {

constexpr std::array<std::pair<ReportRange, std::string_view>, 5> kRanges{{{ReportRange::month, "month"},
                                                                           {ReportRange::quarter, "quarter"},
                                                                           {ReportRange::half, "half"},
                                                                           {ReportRange::year, "year"},
                                                                           {ReportRange::custom, "custom"}}};
constexpr int kQuarterWeeks = 13;
constexpr int kHalfWeeks = 26;
constexpr int kMonday = 1;

date::year_month_day civil(DayKey day) {
    return date::year_month_day{date::sys_days{date::days{day.days}}};
}

DayKey dayKey(date::sys_days day) {
    return {static_cast<std::int32_t>(day.time_since_epoch().count())};
}

/// The first day of the week that is `weeks` - 1 before the one of `today`.
DayKey firstOfWeeks(DayKey today, int weeks, int firstWeekday) {
    const int into = (today.weekday() - firstWeekday + 7) % 7;
    return today.plus(-into - 7 * (weeks - 1));
}

DayKey dayAfterLastMonths(DayKey today) {
    const auto ymd = civil(today);
    const auto before = ymd.year() / ymd.month() - date::months{1};
    const auto lastOfBefore = date::year_month_day{before / date::last}.day();
    // After a day that last month does not have, this month begins.
    return ymd.day() >= lastOfBefore ? dayKey(date::sys_days{ymd.year() / ymd.month() / 1})
                                     : dayKey(date::sys_days{before / ymd.day()}).plus(1);
}

}  // namespace

std::string_view nameOf(ReportRange range) {
    return std::ranges::find(kRanges, range, &decltype(kRanges)::value_type::first)->second;
}

std::optional<ReportRange> reportRangeNamed(std::string_view name) {
    const auto* found = std::ranges::find(kRanges, name, &decltype(kRanges)::value_type::second);
    return found == kRanges.end() ? std::nullopt : std::optional(found->first);
}

std::string_view nameOf(BucketStrategy strategy) {
    switch (strategy) {
        case BucketStrategy::hourly:
            return "hourly";
        case BucketStrategy::dailyWeekLabeled:
            return "dailyWeekLabeled";
        case BucketStrategy::dailyDayLabeled:
            return "dailyDayLabeled";
        case BucketStrategy::weekly:
            return "weekly";
        case BucketStrategy::monthly:
            return "monthly";
    }
    return "";
}

DaySpan daysOf(ReportRange range, DayKey today, int firstWeekday) {
    switch (range) {
        case ReportRange::month:
            return {dayAfterLastMonths(today), today};
        case ReportRange::quarter:
            return {firstOfWeeks(today, kQuarterWeeks, firstWeekday), today};
        case ReportRange::half:
            return {firstOfWeeks(today, kHalfWeeks, firstWeekday), today};
        case ReportRange::year: {
            const auto ymd = civil(today);
            return {dayKey(date::sys_days{(ymd.year() / ymd.month() - date::months{11}) / 1}), today};
        }
        case ReportRange::custom:
            break;
    }
    return {today, today};
}

BucketStrategy strategyFor(ReportRange range, int spanDays) {
    switch (range) {
        case ReportRange::month:
            return BucketStrategy::dailyDayLabeled;
        case ReportRange::quarter:
        case ReportRange::half:
            return BucketStrategy::weekly;
        case ReportRange::year:
            return BucketStrategy::monthly;
        case ReportRange::custom:
            break;
    }
    if (spanDays < 2) {
        return BucketStrategy::hourly;
    }
    if (spanDays <= 14) {
        return BucketStrategy::dailyWeekLabeled;
    }
    if (spanDays <= 31) {
        return BucketStrategy::dailyDayLabeled;
    }
    return spanDays <= 180 ? BucketStrategy::weekly : BucketStrategy::monthly;
}

std::string_view chartTitle(ReportRange range, int spanDays) {
    switch (strategyFor(range, spanDays)) {
        case BucketStrategy::hourly:
            return "Hourly breakdown";
        case BucketStrategy::dailyWeekLabeled:
        case BucketStrategy::dailyDayLabeled:
            return "Daily breakdown";
        case BucketStrategy::weekly:
            return "Weekly breakdown";
        case BucketStrategy::monthly:
            return "Monthly breakdown";
    }
    return "";
}

std::size_t labelStep(std::size_t buckets) {
    if (buckets < 13) {
        return 1;
    }
    if (buckets <= 16) {
        return 2;
    }
    return buckets <= 31 ? 3 : (buckets + 11) / 12;
}

bool isOverExportCap(ReportRange range, int spanDays) {
    return range == ReportRange::custom && spanDays > kLongestExportDays;
}

DaySpan exportedPart(DaySpan days) {
    return {std::max(days.first, days.last.plus(1 - kLongestExportDays)), days.last};
}

int firstWeekdayOf(std::string_view locale) {
    const std::string name(locale.substr(0, locale.find('.')));
    if (name.empty() || name == "C" || name == "POSIX") {
        return kMonday;
    }
    UErrorCode status = U_ZERO_ERROR;
    UCalendar* calendar = ucal_open(u"UTC", 3, name.c_str(), UCAL_GREGORIAN, &status);
    if (U_FAILURE(status) != 0) {
        return kMonday;
    }
    const int first = ucal_getAttribute(calendar, UCAL_FIRST_DAY_OF_WEEK);
    ucal_close(calendar);
    // The library counts from Sunday = 1.
    return first - 1;
}

}  // namespace tolvik
