#include "app/models/day_strip_model.h"

#include <QDate>
#include <QLocale>
#include <algorithm>

#include "app/models/wording.h"

namespace tolvik {
namespace {

QDate toDate(int day) {
    return QDate(1970, 1, 1).addDays(day);
}

}  // namespace

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
        next.push_back({.day = day.days,
                        .trackedMs = ms,
                        .fraction = static_cast<double>(ms) / static_cast<double>(fullest),
                        .selected = day == store.currentDate(),
                        .today = day == store.today(),
                        .future = day > store.today()});
    }
    return next;
}

void DayStripModel::update(const AppStore& store) {
    today_ = store.today();
    const int back = std::max(0, store.today().days - store.currentDate().days) / length_ * length_;
    const DayKey last = store.today().plus(-back);
    assign(cells(store, last.plus(1 - length_), last));
}

void DayStripModel::updateMonth(const AppStore& store, DayKey monthStart) {
    today_ = store.today();
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

QVariant DayStripModel::data(const QModelIndex& index, int role) const {
    const DayCell* cell = rowAt(index);
    if (cell == nullptr) {
        return {};
    }
    const DayKey day{cell->day};
    switch (role) {
        case DayRole:
            return cell->day;
        case LetterRole:
            return wording::weekdayLetter(day);
        case NumberRole:
        case Qt::DisplayRole:
            return QString::number(toDate(cell->day).day());
        case FractionRole:
            return cell->fraction;
        case SelectedRole:
            return cell->selected;
        case TodayRole:
            return cell->today;
        case FutureRole:
            return cell->future;
        case InMonthRole:
            return cell->inMonth;
        case SpokenRole: {
            const QString time =
                cell->trackedMs > 0 ? wording::spokenLength(cell->trackedMs) : QStringLiteral("no time");
            return wording::longDay(day, today_) + QStringLiteral(", ") + time;
        }
        default:
            return {};
    }
}

QHash<int, QByteArray> DayStripModel::roleNames() const {
    return {{DayRole, "day"},           {LetterRole, "letter"},   {NumberRole, "number"},
            {FractionRole, "fraction"}, {SelectedRole, "chosen"}, {TodayRole, "today"},
            {FutureRole, "future"},     {InMonthRole, "inMonth"}, {SpokenRole, "spoken"}};
}

}  // namespace tolvik
