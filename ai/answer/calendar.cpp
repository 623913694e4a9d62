#include "ai/answer/calendar.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <date/date.h>
#include <fmt/format.h>

namespace tolvik::calendar {
namespace {

constexpr std::array<std::string_view, 7> kWeekdays{"Sunday",   "Monday", "Tuesday", "Wednesday",
                                                    "Thursday", "Friday", "Saturday"};
constexpr std::array<std::string_view, 12> kMonths{"January",   "February", "March",    "April",
                                                   "May",       "June",     "July",     "August",
                                                   "September", "October",  "November", "December"};

DayKey key(date::sys_days day) {
    return {static_cast<std::int32_t>(day.time_since_epoch().count())};
}

bool sameButCase(std::string_view word, std::string_view name) {
    return std::ranges::equal(word, name, [](char a, char b) { return a == (b >= 'A' && b <= 'Z' ? b + 32 : b); });
}

std::string_view monthName(int month) {
    return kMonths[static_cast<std::size_t>(month - 1)];
}

}  // namespace

Civil civilOf(DayKey day) {
    const date::year_month_day ymd{date::sys_days{date::days{day.days}}};
    return {static_cast<int>(ymd.year()), static_cast<int>(static_cast<unsigned>(ymd.month())),
            static_cast<int>(static_cast<unsigned>(ymd.day()))};
}

std::optional<DayKey> dayOf(int year, int month, int day) {
    const auto ymd = date::year{year} / month / day;
    return ymd.ok() ? std::optional(key(date::sys_days{ymd})) : std::nullopt;
}

DaySpan weekOf(DayKey day, int firstWeekday) {
    const auto first = day.plus(-((day.weekday() - firstWeekday + 7) % 7));
    return {first, first.plus(6)};
}

DaySpan monthOf(int year, int month) {
    const auto ym = date::year{year} / 1 + date::months{month - 1};
    return {key(date::sys_days{ym / 1}), key(date::sys_days{ym / date::last})};
}

DaySpan quarterOf(int year, int quarter) {
    const int month = 3 * (quarter - 1) + 1;
    return {monthOf(year, month).first, monthOf(year, month + 2).last};
}

DaySpan yearOf(int year) {
    return {monthOf(year, 1).first, monthOf(year, 12).last};
}

std::optional<int> weekdayNamed(std::string_view word) {
    for (std::size_t i = 0; i < kWeekdays.size(); ++i) {
        // "sun" and "sat" are left to be words.
        if (sameButCase(word, kWeekdays[i]) || (i != 0 && i != 6 && sameButCase(word, kWeekdays[i].substr(0, 3))) ||
            (i == 2 && word == "tues") || (i == 4 && (word == "thur" || word == "thurs"))) {
            return static_cast<int>(i);
        }
    }
    return std::nullopt;
}

std::optional<int> monthNamed(std::string_view word) {
    for (std::size_t i = 0; i < kMonths.size(); ++i) {
        if (sameButCase(word, kMonths[i]) || sameButCase(word, kMonths[i].substr(0, 3)) || (i == 8 && word == "sept")) {
            return static_cast<int>(i) + 1;
        }
    }
    return std::nullopt;
}

std::string dayWords(DayKey day) {
    const auto c = civilOf(day);
    return fmt::format("{} {} {} {}", kWeekdays[static_cast<std::size_t>(day.weekday())], c.day, monthName(c.month),
                       c.year);
}

std::string spanWords(const DaySpan& days) {
    const auto a = civilOf(days.first);
    const auto b = civilOf(days.last);
    if (days.first == days.last) {
        return "on " + dayWords(days.first);
    }
    if (days == yearOf(a.year)) {
        return fmt::format("in {}", a.year);
    }
    if (days == monthOf(a.year, a.month)) {
        return fmt::format("in {} {}", monthName(a.month), a.year);
    }
    if (a.year != b.year) {
        return fmt::format("from {} {} {} to {} {} {}", a.day, monthName(a.month), a.year, b.day, monthName(b.month),
                           b.year);
    }
    return a.month == b.month
               ? fmt::format("from {} to {} {} {}", a.day, b.day, monthName(b.month), b.year)
               : fmt::format("from {} {} to {} {} {}", a.day, monthName(a.month), b.day, monthName(b.month), b.year);
}

}  // namespace tolvik::calendar
