#include "app/models/day_strip_model.h"

#include <QDate>
#include <QLocale>
#include <algorithm>
#include <array>

#include "app/models/wording.h"

namespace tolvik {
namespace {

QDate toDate(int day) {
    return QDate(1970, 1, 1).addDays(day);
}

}  // namespace

std::span<const RowRole<DayCell>> DayCell::roles() {
    static constexpr std::array all{
        rowRole<&DayCell::day>("day"),
        RowRole<DayCell>{"letter",
                         [](const DayCell& row) { return QVariant(wording::weekdayLetter(DayKey{row.day})); }},
        RowRole<DayCell>{"number", [](const DayCell& row) { return QVariant(QString::number(toDate(row.day).day())); }},
        rowRole<&DayCell::fraction>("fraction"),
        rowRole<&DayCell::selected>("chosen"),
        rowRole<&DayCell::today>("today"),
        rowRole<&DayCell::future>("future"),
        rowRole<&DayCell::inMonth>("inMonth"),
        rowRole<&DayCell::spoken>("spoken")};
    return all;
}

void DayStripModel::setLength(int days) {
    if (days != length_ && days > 0) {
        length_ = days;
        Q_EMIT lengthChanged();
    }
}

std::vector<DayCell> DayStripModel::cells(const AppStore& store, DayKey first, DayKey last) {
    const std::vector<std::int64_t> tracked = store.trackedPerDay(first, std::min(last, store.today()));
    std::int64_t fullest = 1;
    for (const std::int64_t ms : tracked) {
        fullest = std::max(fullest, ms);
    }
    std::vector<DayCell> next;
    for (DayKey day = first; day <= last; day = day.plus(1)) {
        const auto at = static_cast<std::size_t>(day.days - first.days);
        // Whole minutes: a bar does not move with each second.
        const std::int64_t ms = at < tracked.size() ? tracked[at] / 60'000 * 60'000 : 0;
        const QString time = ms > 0 ? wording::spokenLength(ms) : QStringLiteral("no time");
        next.push_back({.day = day.days,
                        .trackedMs = ms,
                        .fraction = static_cast<double>(ms) / static_cast<double>(fullest),
                        .selected = day == store.currentDate(),
                        .today = day == store.today(),
                        .future = day > store.today(),
                        .spoken = wording::longDay(day, store.today()) + QStringLiteral(", ") + time});
    }
    return next;
}

void DayStripModel::update(const AppStore& store) {
    const int back = std::max(0, store.today().days - store.currentDate().days) / length_ * length_;
    const DayKey last = store.today().plus(-back);
    assign(cells(store, last.plus(1 - length_), last));
}

void DayStripModel::updateMonth(const AppStore& store, DayKey monthStart) {
    // Qt counts Monday as 1 and Sunday as 7.
    const int firstOfWeek = static_cast<int>(QLocale().firstDayOfWeek()) % 7;
    const int lead = (monthStart.weekday() - firstOfWeek + 7) % 7;
    const DayKey first = monthStart.plus(-lead);
    std::vector<DayCell> next = cells(store, first, first.plus(41));
    const QDate month = toDate(monthStart.days);
    for (DayCell& cell : next) {
        cell.inMonth = toDate(cell.day).month() == month.month();
    }
    assign(std::move(next));
}

}  // namespace tolvik
