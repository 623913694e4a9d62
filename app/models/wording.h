#pragma once

#include <QLocale>
#include <QString>
#include <cstdint>
#include <string>

#include "base/clock.h"
#include "base/time.h"

/// How lengths, times and days read in the window. Everything follows the default QLocale and the given zone.
namespace tolvik::wording {

[[nodiscard]] inline QString fromUtf8(const std::string& text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

/// "48m", "1h 08m"; under a minute "0m".
[[nodiscard]] QString length(std::int64_t ms);
/// As `length`, but a task without any time has an en dash.
[[nodiscard]] QString lengthOrDash(std::int64_t ms);
/// "48:08", "1:12:08".
[[nodiscard]] QString clock(std::int64_t ms);
/// "3 hours 11 minutes", for listening to.
[[nodiscard]] QString spokenLength(std::int64_t ms);
/// The time of day in the locale's short form, without seconds.
[[nodiscard]] QString timeOfDay(LocalTime time);
[[nodiscard]] QString timeOfDay(Instant instant, const TimeZone& zone);
/// "Thursday 19 November", with the year when it is not `today`'s.
[[nodiscard]] QString longDay(DayKey day, DayKey today);
/// "3 July", with the year when it is not `today`'s.
[[nodiscard]] QString shortDay(DayKey day, DayKey today);
/// "Today", "Yesterday" or the day of the week.
[[nodiscard]] QString dayName(DayKey day, DayKey today);
/// "Thursday".
[[nodiscard]] QString weekday(DayKey day);
/// "T" for Thursday.
[[nodiscard]] QString weekdayLetter(DayKey day);

}  // namespace tolvik::wording
