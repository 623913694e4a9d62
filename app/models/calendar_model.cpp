#include "app/models/calendar_model.h"

#include <QDate>
#include <QLocale>

#include "app/models/wording.h"

namespace tolvik {
namespace {

QDate toDate(DayKey day) {
    return QDate(1970, 1, 1).addDays(day.days);
}

}  // namespace

CalendarModel::CalendarModel(const AppStore& store, QObject* parent)
    : QObject(parent), store_(store), start_(monthOf(store.today())) {}

DayKey CalendarModel::monthOf(DayKey day) {
    return day.plus(1 - toDate(day).day());
}

void CalendarModel::show(int day) {
    used_ = true;
    start_ = monthOf(std::min(DayKey{day}, store_.today()));
    update();
    Q_EMIT changed();
}

void CalendarModel::shift(int months) {
    const auto to = QDate(1970, 1, 1).daysTo(toDate(start_).addMonths(months));
    const DayKey start{static_cast<std::int32_t>(to)};
    if (start <= store_.today()) {
        show(start.days);
    }
}

void CalendarModel::update() {
    if (used_) {
        days_.updateMonth(store_, start_);
    }
}

QString CalendarModel::title() const {
    const QDate date = toDate(start_);
    return QLocale().standaloneMonthName(date.month()) + u' ' + QString::number(date.year());
}

bool CalendarModel::isPresent() const {
    return start_ == monthOf(store_.today());
}

QStringList CalendarModel::weekLetters() const {
    QStringList letters;
    // 1970-01-04 was a Sunday.
    const int first = static_cast<int>(QLocale().firstDayOfWeek()) % 7;
    for (int i = 0; i < 7; ++i) {
        letters << wording::weekdayLetter(DayKey{3 + first + i});
    }
    return letters;
}

}  // namespace tolvik
