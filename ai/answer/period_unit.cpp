#include "ai/answer/period_unit.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <fmt/format.h>

#include "ai/answer/calendar.h"

namespace tolvik {
namespace {

using calendar::civilOf;
using Kind = PeriodUnit::Kind;
constexpr std::string_view kNotYet = "I can only look back: that time has not come yet.";

std::optional<int> digits(std::string_view text) {
    int value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    const bool whole = error == std::errc() && end == text.data() + text.size() && !text.empty() && text[0] != '-';
    return whole ? std::optional(value) : std::nullopt;
}

PeriodUnit known(Kind kind, const DaySpan& days, bool yearOpen = false) {
    return {kind, days, yearOpen};
}
PeriodUnit known(DayKey day) {
    return known(Kind::day, {day, day});
}
PeriodUnit unsure(std::string text) {
    return {Kind::other, failure(std::move(text)), false};
}

std::string orWords(DayKey a, DayKey b) {
    return fmt::format("{} or {}", calendar::dayWords(a), calendar::dayWords(b));
}

/// "this", "last", "previous" or "next" before a week, month, quarter or year.
std::optional<PeriodUnit> takeRelative(PeriodCursor& cursor, const PeriodFrame& frame) {
    const bool article = cursor.take("the");
    if (cursor.takeAll({"week", "before", "last"})) {
        const auto week = calendar::weekOf(frame.today, frame.firstWeekday);
        return known(Kind::other, {week.first.plus(-14), week.first.plus(-8)});
    }
    if (cursor.takeAll({"month", "before", "last"})) {
        const auto now = civilOf(frame.today);
        return known(Kind::other, calendar::monthOf(now.year, now.month - 2));
    }
    const auto which = cursor.takeAny({"this", "current", "last", "previous", "past", "next", "coming"});
    if (which.empty()) {
        return std::nullopt;
    }
    const bool isPast = which == "last" || which == "past";
    if (isPast) {
        const auto before = cursor.at();
        if (const auto count = cursor.takeNumber()) {
            if (*count > 0 && (cursor.take("days") || (*count == 1 && cursor.take("day")))) {
                return known(Kind::other, {frame.today.plus(1 - std::min(*count, 40'000)), frame.today});
            }
            if (const auto many = cursor.takeAny({"weeks", "months", "quarters", "years"}); !many.empty()) {
                return unsure(
                    fmt::format("“{} {} {}” can be counted in two ways. Say it in days (“last 14 days”) or "
                                "with a first day (“since 3 March”).",
                                which, *count, many));
            }
            cursor.moveTo(before);
        }
    }
    const auto unit = cursor.takeAny({"week", "month", "quarter", "year", "weekend"});
    if (unit.empty()) {
        return std::nullopt;
    }
    if (which == "next" || which == "coming") {
        return unsure(std::string(kNotYet));
    }
    if (which == "past" || (article && which == "last")) {
        return unsure(
            fmt::format("“the {0} {1}” can be counted in two ways. Say “last {1}”, “this {1}” or “last 7 "
                        "days”.",
                        which, unit));
    }
    const int back = which == "this" || which == "current" ? 0 : 1;
    const auto now = civilOf(frame.today);
    if (unit == "week") {
        const auto week = calendar::weekOf(frame.today.plus(-7 * back), frame.firstWeekday);
        return known(Kind::other, week);
    }
    if (unit == "month") {
        return known(Kind::other, calendar::monthOf(now.year, now.month - back));
    }
    if (unit == "quarter") {
        return known(Kind::other, calendar::quarterOf(now.year, (now.month - 1) / 3 + 1 - back));
    }
    if (unit == "year") {
        return known(Kind::other, calendar::yearOf(now.year - back));
    }
    const int weekday = frame.today.weekday();
    if (back == 0 || weekday == 0 || weekday == 6) {
        return unsure("Say which days of the weekend, for example “from Saturday to Sunday” or with dates.");
    }
    const auto sunday = frame.today.plus(-weekday);
    return known(Kind::other, {sunday.plus(-1), sunday});
}

/// "Tuesday", "last Tuesday", "this Tuesday", "Tuesday last week".
std::optional<PeriodUnit> takeWeekday(PeriodCursor& cursor, const PeriodFrame& frame) {
    const auto which = cursor.takeAny({"last", "this", "next", "past"});
    const auto weekday = calendar::weekdayNamed(cursor.peek());
    if (!weekday) {
        return std::nullopt;
    }
    cursor.moveTo(cursor.at() + 1);
    const auto thisWeek = calendar::weekOf(frame.today, frame.firstWeekday);
    const auto inWeek = [&](DayKey first) { return first.plus((*weekday - first.weekday() + 7) % 7); };
    // The latest one before today.
    const auto latest = frame.today.plus(-((frame.today.weekday() - *weekday + 6) % 7 + 1));
    if (which.empty()) {
        const auto before = cursor.at();
        static_cast<void>(cursor.takeAny({"of", "in"}));
        if (cursor.takeAll({"last", "week"})) {
            return known(inWeek(thisWeek.first.plus(-7)));
        }
        if (cursor.takeAll({"this", "week"})) {
            return known(inWeek(thisWeek.first));
        }
        cursor.moveTo(before);
        if (frame.today.weekday() == *weekday) {
            return unsure(fmt::format("That could be {}. Say “today” or the date.", orWords(frame.today, latest)));
        }
        return known(Kind::weekday, {latest, latest});
    }
    if (which == "next") {
        return unsure(std::string(kNotYet));
    }
    if (which == "this") {
        return known(inWeek(thisWeek.first));
    }
    // In the week before, for all who count weeks so and for all who count back to the nearest.
    if (latest < thisWeek.first) {
        return known(latest);
    }
    return unsure(fmt::format("That could be {}. Say the date.", orWords(latest, latest.plus(-7))));
}

PeriodUnit dayOfYear(int month, int day, std::optional<int> year, const PeriodFrame& frame) {
    const int thisYear = civilOf(frame.today).year;
    // A day that is not in every year, such as 29 February, is looked for in the last eight.
    for (int back = 0; back <= 8; ++back) {
        const auto found = calendar::dayOf(year.value_or(thisYear - back), month, day);
        if (found && (year || *found <= frame.today)) {
            return {Kind::day, DaySpan{*found, *found}, !year};
        }
    }
    return unsure("There is no such day in the calendar.");
}

/// "3 March", "the 3rd of March 2026", "March 3", "October", "October 2025", "2026-03-03", "14.10.2026".
std::optional<PeriodUnit> takeDate(PeriodCursor& cursor, const PeriodFrame& frame) {
    if (const auto day = DayKey::parse(cursor.peek())) {
        cursor.moveTo(cursor.at() + 1);
        return known(*day);
    }
    const auto begin = cursor.at();
    const bool article = cursor.take("the");
    if (const auto day = cursor.takeDayOfMonth(false)) {
        static_cast<void>(cursor.take("of"));
        if (const auto month = calendar::monthNamed(cursor.peek())) {
            cursor.moveTo(cursor.at() + 1);
            return dayOfYear(*month, *day, cursor.takeYear(), frame);
        }
        cursor.moveTo(begin + (article ? 1U : 0U));
        if (article && cursor.takeDayOfMonth(true)) {
            const auto now = civilOf(frame.today);
            for (int back = 0; back < 3; ++back) {
                const auto month = civilOf(calendar::monthOf(now.year, now.month - back).first);
                if (const auto found = calendar::dayOf(month.year, month.month, *day); found && *found <= frame.today) {
                    return known(*found);
                }
            }
        }
        return std::nullopt;
    }
    const auto last = article ? std::string_view() : cursor.takeAny({"last", "this"});
    const auto month = calendar::monthNamed(cursor.peek());
    if (!month) {
        return std::nullopt;
    }
    cursor.moveTo(cursor.at() + 1);
    const auto now = civilOf(frame.today);
    const int latest = *month <= now.month ? now.year : now.year - 1;
    if (last == "last" && *month < now.month) {
        return unsure("Say which year you mean, for example “October 2025”.");
    }
    if (!last.empty()) {
        const int year = last == "this" ? now.year : (*month == now.month ? latest - 1 : latest);
        return known(Kind::month, calendar::monthOf(year, *month));
    }
    const auto behind = cursor.at();
    if (const auto year = cursor.takeYear()) {
        return known(Kind::month, calendar::monthOf(*year, *month));
    }
    static_cast<void>(cursor.take("the"));
    if (const auto day = cursor.takeDayOfMonth(false)) {
        return dayOfYear(*month, *day, cursor.takeYear(), frame);
    }
    cursor.moveTo(behind);
    return known(Kind::month, calendar::monthOf(latest, *month), true);
}

/// "Q3", "Q3 2025", "the third quarter of 2025", "2025".
std::optional<PeriodUnit> takeQuarterOrYear(PeriodCursor& cursor, const PeriodFrame& frame) {
    if (const auto year = cursor.takeYear()) {
        return known(Kind::other, calendar::yearOf(*year));
    }
    constexpr std::array<std::array<std::string_view, 3>, 4> names{
        {{"q1", "first", "1st"}, {"q2", "second", "2nd"}, {"q3", "third", "3rd"}, {"q4", "fourth", "4th"}}};
    static_cast<void>(cursor.take("the"));
    for (std::size_t i = 0; i < names.size(); ++i) {
        const auto begin = cursor.at();
        if (cursor.take(names[i][0]) ||
            ((cursor.take(names[i][1]) || cursor.take(names[i][2])) && cursor.take("quarter"))) {
            const auto behind = cursor.at();
            static_cast<void>(cursor.takeAny({"of", "in"}));
            const auto year = cursor.takeYear();
            if (!year) {
                cursor.moveTo(behind);
            }
            const auto now = civilOf(frame.today);
            const int quarter = static_cast<int>(i) + 1;
            const int latest = quarter <= (now.month - 1) / 3 + 1 ? now.year : now.year - 1;
            return known(Kind::other, calendar::quarterOf(year.value_or(latest), quarter));
        }
        cursor.moveTo(begin);
    }
    return std::nullopt;
}

std::optional<PeriodUnit> takeNearDay(PeriodCursor& cursor, const PeriodFrame& frame) {
    if (cursor.take("today")) {
        return known(frame.today);
    }
    if (cursor.take("yesterday")) {
        return known(frame.today.plus(-1));
    }
    if (cursor.take("tomorrow")) {
        return unsure(std::string(kNotYet));
    }
    if (const auto count = cursor.takeNumber()) {
        if ((cursor.take("days") || cursor.take("day")) && cursor.take("ago")) {
            return known(frame.today.plus(-std::min(*count, 40'000)));
        }
        return std::nullopt;
    }
    static_cast<void>(cursor.take("the"));
    return cursor.takeAll({"day", "before", "yesterday"}) ? std::optional(known(frame.today.plus(-2))) : std::nullopt;
}

/// "Tuesday 17 November", "Tuesday the 17th": both must name the same day.
std::optional<PeriodUnit> takeWeekdayAndDate(PeriodCursor& cursor, const PeriodFrame& frame) {
    const auto weekday = calendar::weekdayNamed(cursor.peek());
    if (!weekday) {
        return std::nullopt;
    }
    cursor.moveTo(cursor.at() + 1);
    auto date = takeDate(cursor, frame);
    if (!date || date->kind == Kind::month) {
        return std::nullopt;
    }
    if (date->days && date->days->first.weekday() != *weekday) {
        return unsure(fmt::format("That date is a {}. Say the weekday or the date alone.",
                                  calendar::dayWords(date->days->first)));
    }
    return date;
}

}  // namespace

std::string_view PeriodCursor::peek(std::size_t ahead) const {
    const auto at = at_ + ahead;
    return at < tokens_.size() && !tokens_[at].isQuoted ? std::string_view(tokens_[at].text) : std::string_view();
}

bool PeriodCursor::take(std::string_view word) {
    const bool stands = peek() == word;
    at_ += stands ? 1U : 0U;
    return stands;
}

bool PeriodCursor::takeAll(std::initializer_list<std::string_view> row) {
    std::size_t ahead = 0;
    for (const auto& word : row) {
        if (peek(ahead++) != word) {
            return false;
        }
    }
    at_ += row.size();
    return true;
}

std::string_view PeriodCursor::takeAny(std::initializer_list<std::string_view> choice) {
    for (const auto& word : choice) {
        if (take(word)) {
            return word;
        }
    }
    return {};
}

std::optional<int> PeriodCursor::takeNumber() {
    constexpr std::array<std::string_view, 13> numbers{"zero",  "one",   "two",  "three", "four",   "five",  "six",
                                                       "seven", "eight", "nine", "ten",   "eleven", "twelve"};
    const auto* const found = std::ranges::find(numbers, peek());
    auto number = found == numbers.end() ? digits(peek()) : std::optional(static_cast<int>(found - numbers.begin()));
    at_ += number ? 1U : 0U;
    return number;
}

std::optional<int> PeriodCursor::takeDayOfMonth(bool ordinal) {
    auto word = peek();
    const bool hasEnding = word.size() > 2 && (word.ends_with("st") || word.ends_with("nd") || word.ends_with("rd") ||
                                               word.ends_with("th"));
    if (hasEnding) {
        word.remove_suffix(2);
    }
    const auto day = digits(word);
    if (!day || *day < 1 || *day > 31 || (ordinal && !hasEnding)) {
        return std::nullopt;
    }
    ++at_;
    return day;
}

std::optional<int> PeriodCursor::takeYear() {
    const auto year = digits(peek());
    if (!year || peek().size() != 4 || *year < 2000 || *year > 2099) {
        return std::nullopt;
    }
    ++at_;
    return year;
}

std::optional<PeriodUnit> takeUnit(PeriodCursor& cursor, const PeriodFrame& frame) {
    const auto begin = cursor.at();
    std::optional<PeriodUnit> best;
    std::size_t end = begin;
    for (const auto& form : {takeNearDay, takeRelative, takeWeekdayAndDate, takeWeekday, takeDate, takeQuarterOrYear}) {
        cursor.moveTo(begin);
        if (auto unit = form(cursor, frame); unit && cursor.at() > end) {
            best = std::move(unit);
            end = cursor.at();
        }
    }
    cursor.moveTo(end);
    return best;
}

}  // namespace tolvik
