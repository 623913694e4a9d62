#include "app/models/wording.h"

#include <QDate>
#include <QTime>
#include <algorithm>

namespace tolvik::wording {
namespace {

constexpr std::int64_t kMinute = 60'000;

QDate toDate(DayKey day) {
    return QDate(1970, 1, 1).addDays(day.days);
}

QString counted(std::int64_t count, const char* one, const char* many) {
    return QString::number(count) + QLatin1Char(' ') + QLatin1String(count == 1 ? one : many);
}

}  // namespace

QString length(std::int64_t ms) {
    const std::int64_t minutes = std::max<std::int64_t>(ms, 0) / kMinute;
    if (minutes < 60) {
        return QStringLiteral("%1m").arg(minutes);
    }
    return QStringLiteral("%1h %2m").arg(minutes / 60).arg(minutes % 60, 2, 10, QLatin1Char('0'));
}

QString lengthOrDash(std::int64_t ms) {
    return ms <= 0 ? QStringLiteral("–") : length(ms);
}

QString clock(std::int64_t ms) {
    const std::int64_t seconds = std::max<std::int64_t>(ms, 0) / 1000;
    const std::int64_t hours = seconds / 3600;
    const auto twoDigits = [](std::int64_t value) { return QStringLiteral("%1").arg(value, 2, 10, QLatin1Char('0')); };
    const QString tail = twoDigits(seconds % 60);
    if (hours == 0) {
        return QStringLiteral("%1:%2").arg(twoDigits(seconds / 60), tail);
    }
    return QStringLiteral("%1:%2:%3").arg(QString::number(hours), twoDigits(seconds / 60 % 60), tail);
}

QString spokenLength(std::int64_t ms) {
    const std::int64_t minutes = std::max<std::int64_t>(ms, 0) / kMinute;
    const std::int64_t hours = minutes / 60;
    QString rest = counted(minutes % 60, "minute", "minutes");
    if (hours == 0) {
        return rest;
    }
    const QString whole = counted(hours, "hour", "hours");
    return minutes % 60 == 0 ? whole : whole + QLatin1Char(' ') + rest;
}

QString timeOfDay(LocalTime time) {
    const QLocale locale;
    const QTime value(std::clamp(time.hour, 0, 23), std::clamp(time.minute, 0, 59));
    // The C locale's short form has seconds.
    return locale.language() == QLocale::C ? value.toString(QStringLiteral("HH:mm"))
                                           : locale.toString(value, QLocale::ShortFormat);
}

QString timeOfDay(Instant instant, const TimeZone& zone) {
    return timeOfDay(zone.timeOf(instant));
}

QString longDay(DayKey day, DayKey today) {
    const QDate date = toDate(day);
    const bool sameYear = date.year() == toDate(today).year();
    return QLocale().toString(date, sameYear ? QStringLiteral("dddd d MMMM") : QStringLiteral("dddd d MMMM yyyy"));
}

QString shortDay(DayKey day, DayKey today) {
    const QDate date = toDate(day);
    const bool sameYear = date.year() == toDate(today).year();
    return QLocale().toString(date, sameYear ? QStringLiteral("d MMMM") : QStringLiteral("d MMMM yyyy"));
}

QString dayName(DayKey day, DayKey today) {
    if (day == today) {
        return QStringLiteral("Today");
    }
    if (day == today.plus(-1)) {
        return QStringLiteral("Yesterday");
    }
    return weekday(day);
}

QString weekday(DayKey day) {
    return QLocale().toString(toDate(day), QStringLiteral("dddd"));
}

QString weekdayLetter(DayKey day) {
    const int qtDay = day.weekday() == 0 ? 7 : day.weekday();
    const QString name = QLocale().standaloneDayName(qtDay, QLocale::NarrowFormat);
    return (name.isEmpty() ? weekday(day) : name).left(1).toUpper();
}

}  // namespace tolvik::wording
