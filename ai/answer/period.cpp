#include "ai/answer/period.h"

#include <algorithm>

#include "ai/answer/calendar.h"
#include "ai/answer/period_unit.h"

namespace tolvik {
namespace {

using Days = Result<DaySpan, std::string>;
using Kind = PeriodUnit::Kind;
constexpr std::string_view kSayBothDates =
    "Say both ends as dates with their year, for example “from 3 March 2026 to "
    "9 March 2026”.";

bool takeTo(PeriodCursor& cursor, bool isBetween) {
    return isBetween ? cursor.take("and")
                     : cursor.takeAll({"up", "to"}) || !cursor.takeAny({"to", "until", "till", "through"}).empty();
}

/// The same month and day in another year.
std::optional<DaySpan> inYear(const PeriodUnit& unit, int year) {
    const auto c = calendar::civilOf(unit.days->first);
    if (unit.kind == Kind::month) {
        return calendar::monthOf(year, c.month);
    }
    const auto day = calendar::dayOf(year, c.month, c.day);
    return day ? std::optional(DaySpan{*day, *day}) : std::nullopt;
}

Days joinedUnits(const PeriodUnit& a, const PeriodUnit& b, const PeriodFrame& frame) {
    if (!a.days || !b.days) {
        return a.days ? b.days : a.days;
    }
    DaySpan first = *a.days;
    if (a.yearOpen && !b.yearOpen && b.kind != Kind::weekday) {
        // "January to March 2025", "28 December to 3 January 2026"
        const int year = calendar::civilOf(b.days->first).year;
        const auto same = inYear(a, year);
        const auto before = inYear(a, year - 1);
        if (!same || !before) {
            return failure(std::string(kSayBothDates));
        }
        first = same->first <= b.days->first ? *same : *before;
    }
    const bool hasWeekday = a.kind == Kind::weekday || b.kind == Kind::weekday;
    const auto week = calendar::weekOf(frame.today, frame.firstWeekday);
    if (b.days->last < first.first || (hasWeekday && (first.first < week.first || b.days->first < week.first))) {
        return failure(std::string(kSayBothDates));
    }
    return DaySpan{first.first, b.days->last};
}

/// "3 and 9 March", "March 3 to 9".
std::optional<Days> takeDaysOfOneMonth(PeriodCursor& cursor, bool isBetween, const PeriodFrame& frame) {
    const auto begin = cursor.at();
    std::optional<int> month = calendar::monthNamed(cursor.peek());
    const bool monthFirst = month.has_value();
    cursor.moveTo(begin + (monthFirst ? 1U : 0U));
    static_cast<void>(cursor.take("the"));
    const auto from = cursor.takeDayOfMonth(false);
    if (!from || !takeTo(cursor, isBetween)) {
        cursor.moveTo(begin);
        return std::nullopt;
    }
    static_cast<void>(cursor.take("the"));
    const auto to = cursor.takeDayOfMonth(false);
    if (to && !monthFirst) {
        static_cast<void>(cursor.take("of"));
        month = calendar::monthNamed(cursor.peek());
        cursor.moveTo(cursor.at() + (month ? 1U : 0U));
    }
    // "March 3 to April 9" and "March 3 to 9 April" are two dates.
    if (!to || !month || (monthFirst && calendar::monthNamed(cursor.peek()))) {
        cursor.moveTo(begin);
        return std::nullopt;
    }
    const auto year = cursor.takeYear();
    const auto now = calendar::civilOf(frame.today);
    const auto resolved = [&](int y) -> std::optional<DaySpan> {
        const auto first = calendar::dayOf(y, *month, *from);
        const auto last = calendar::dayOf(y, *month, *to);
        return first && last && *first <= *last ? std::optional(DaySpan{*first, *last}) : std::nullopt;
    };
    if (year) {
        const auto days = resolved(*year);
        return days ? Days(*days) : Days(failure(std::string(kSayBothDates)));
    }
    const auto days = resolved(now.year);
    // Begun and not over: this year's and last year's are both thinkable.
    if (!days || (days->first <= frame.today && frame.today < days->last)) {
        return failure(std::string(kSayBothDates));
    }
    const auto before = resolved(now.year - 1);
    return days->last <= frame.today ? Days(*days) : before ? Days(*before) : Days(failure(std::string(kSayBothDates)));
}

std::optional<Days> takeSpan(PeriodCursor& cursor, const PeriodFrame& frame) {
    if (cursor.take("since") || cursor.takeAll({"ever", "since"})) {
        const auto unit = takeUnit(cursor, frame);
        if (!unit) {
            return std::nullopt;
        }
        return unit->days ? Days(DaySpan{unit->days->first, frame.today}) : unit->days;
    }
    const auto opener = cursor.takeAny({"between", "from"});
    if (opener.empty() && cursor.takeAny({"in", "on", "during", "for", "over", "within", "of", "throughout"}).empty()) {
        // A period may stand without a preposition.
    }
    if (auto days = takeDaysOfOneMonth(cursor, opener == "between", frame)) {
        return days;
    }
    const auto first = takeUnit(cursor, frame);
    if (!first) {
        return std::nullopt;
    }
    const auto behind = cursor.at();
    if (takeTo(cursor, opener == "between")) {
        if (const auto last = takeUnit(cursor, frame)) {
            return joinedUnits(*first, *last, frame);
        }
    }
    cursor.moveTo(behind);
    if (opener == "between") {
        return std::nullopt;
    }
    if (opener == "from" && !cursor.takeAny({"on", "onward", "onwards"}).empty()) {
        return first->days ? Days(DaySpan{first->days->first, frame.today}) : first->days;
    }
    return first->days;
}

}  // namespace

std::optional<PeriodWords> periodAt(std::span<const Token> tokens, std::size_t begin, const PeriodFrame& frame) {
    PeriodCursor cursor(tokens, begin);
    auto days = takeSpan(cursor, frame);
    if (!days) {
        return std::nullopt;
    }
    static_cast<void>(cursor.take("'s") || cursor.takeAll({"so", "far"}) || cursor.takeAll({"up", "to", "now"}) ||
                      cursor.takeAll({"until", "now"}) || cursor.takeAll({"to", "date"}));
    if (*days && (*days)->first > frame.today) {
        *days = failure(std::string("I can only look back: that time has not come yet."));
    } else if (*days) {
        (*days)->last = std::min((*days)->last, frame.today);
    }
    return PeriodWords{begin, cursor.at() - begin, std::move(*days)};
}

}  // namespace tolvik
