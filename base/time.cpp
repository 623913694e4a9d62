#include "base/time.h"

#include <algorithm>
#include <date/date.h>
#include <deque>
#include <fmt/format.h>
#include <mutex>
#include <shared_mutex>
#include <unordered_map>

namespace tolvik {
namespace {

// 0000-01-01T00:00:00.000Z in Unix milliseconds, and the last writable millisecond of the year 9999.
constexpr std::int64_t kFirstMs = -62'167'219'200'000;
constexpr std::int64_t kLastMs = 253'402'300'799'999;

/// Texts that are not in the written form. Never shrinks: such texts come from damaged or foreign data and are few.
class OddTexts {
public:
    OddTexts() { (void)indexOf(""); }

    std::int64_t indexOf(std::string_view text) {
        const std::unique_lock lock(mutex_);
        const auto found = indexes_.find(text);
        if (found != indexes_.end()) {
            return found->second;
        }
        const auto index = static_cast<std::int64_t>(texts_.size());
        texts_.emplace_back(text);
        indexes_.emplace(texts_.back(), index);
        return index;
    }

    const std::string& text(std::int64_t index) {
        const std::shared_lock lock(mutex_);
        return texts_[static_cast<std::size_t>(index)];
    }

private:
    std::shared_mutex mutex_;
    std::deque<std::string> texts_;
    std::unordered_map<std::string_view, std::int64_t> indexes_;
};

OddTexts& oddTexts() {
    static OddTexts texts;
    return texts;
}

/// Reads `count` digits at `at`; -1 when they are not all digits.
int digits(std::string_view text, std::size_t at, std::size_t count) {
    if (at + count > text.size()) {
        return -1;
    }
    int value = 0;
    for (std::size_t i = at; i < at + count; ++i) {
        if (text[i] < '0' || text[i] > '9') {
            return -1;
        }
        value = value * 10 + (text[i] - '0');
    }
    return value;
}

/// "Z" or "+hh:mm" as minutes east of UTC.
std::optional<int> zoneMinutes(std::string_view zone) {
    if (zone == "Z") {
        return 0;
    }
    if (zone.size() != 6 || (zone[0] != '+' && zone[0] != '-') || zone[3] != ':') {
        return std::nullopt;
    }
    const int hours = digits(zone, 1, 2);
    const int minutes = digits(zone, 4, 2);
    if (hours < 0 || hours > 23 || minutes < 0 || minutes > 59) {
        return std::nullopt;
    }
    const int total = hours * 60 + minutes;
    return zone[0] == '-' ? -total : total;
}

bool isWrittenForm(std::string_view text) {
    return text.size() == 24 && text[23] == 'Z' && text[19] == '.';
}

}  // namespace

std::string formatInstant(Instant instant) {
    const std::chrono::sys_time<Millis> time{Millis{std::clamp(instant.ms, kFirstMs, kLastMs)}};
    const auto day = date::floor<date::days>(time);
    const date::year_month_day ymd{day};
    const date::hh_mm_ss<Millis> clock{time - day};
    return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}.{:03}Z", static_cast<int>(ymd.year()),
                       static_cast<unsigned>(ymd.month()), static_cast<unsigned>(ymd.day()), clock.hours().count(),
                       clock.minutes().count(), clock.seconds().count(), clock.subseconds().count());
}

std::optional<Instant> parseInstant(std::string_view text) {
    // yyyy-MM-ddTHH:mm:ss.f…Z
    if (text.size() < 22 || text[4] != '-' || text[7] != '-' || text[10] != 'T' || text[13] != ':' || text[16] != ':' ||
        text[19] != '.') {
        return std::nullopt;
    }
    const int year = digits(text, 0, 4);
    const int month = digits(text, 5, 2);
    const int dayOfMonth = digits(text, 8, 2);
    const int hour = digits(text, 11, 2);
    const int minute = digits(text, 14, 2);
    const int second = digits(text, 17, 2);
    if (year < 0 || month < 0 || dayOfMonth < 0 || hour < 0 || hour > 23 || minute < 0 || minute > 59 || second < 0 ||
        second > 59) {
        return std::nullopt;
    }
    std::size_t end = 20;
    std::int64_t ms = 0;
    std::int64_t unit = 100;
    while (end < text.size() && text[end] >= '0' && text[end] <= '9') {
        ms += unit * (text[end] - '0');
        unit /= 10;
        ++end;
    }
    if (end == 20) {
        return std::nullopt;
    }
    const auto zone = zoneMinutes(text.substr(end));
    const date::year_month_day ymd{date::year{year}, date::month{static_cast<unsigned>(month)},
                                   date::day{static_cast<unsigned>(dayOfMonth)}};
    if (!zone || !ymd.ok()) {
        return std::nullopt;
    }
    const std::int64_t days = date::sys_days{ymd}.time_since_epoch().count();
    return Instant{(((days * 24 + hour) * 60 + minute - *zone) * 60 + second) * 1000 + ms};
}

// The complement of the empty text's index, which is 0.
Timestamp::Timestamp() : bits_(-1) {}

Timestamp::Timestamp(Instant instant) : bits_(std::clamp(instant.ms, kFirstMs, kLastMs) - kFirstMs) {}

Timestamp::Timestamp(std::string_view text) {
    const auto instant = isWrittenForm(text) ? parseInstant(text) : std::nullopt;
    bits_ = instant ? instant->ms - kFirstMs : ~oddTexts().indexOf(text);
}

std::optional<Instant> Timestamp::instant() const {
    if (!isInterned()) {
        return Instant{bits_ + kFirstMs};
    }
    return parseInstant(oddTexts().text(~bits_));
}

std::string Timestamp::text() const {
    return isInterned() ? oddTexts().text(~bits_) : formatInstant(Instant{bits_ + kFirstMs});
}

std::strong_ordering operator<=>(Timestamp a, Timestamp b) {
    if (!a.isInterned() && !b.isInterned()) {
        return a.bits_ <=> b.bits_;
    }
    return a.text() <=> b.text();
}

std::string DayKey::text() const {
    const date::year_month_day ymd{date::sys_days{date::days{days}}};
    return fmt::format("{:04}-{:02}-{:02}", static_cast<int>(ymd.year()), static_cast<unsigned>(ymd.month()),
                       static_cast<unsigned>(ymd.day()));
}

std::optional<DayKey> DayKey::parse(std::string_view text) {
    if (text.size() != 10 || text[4] != '-' || text[7] != '-') {
        return std::nullopt;
    }
    const int year = digits(text, 0, 4);
    const int month = digits(text, 5, 2);
    const int day = digits(text, 8, 2);
    if (year < 0 || month < 0 || day < 0) {
        return std::nullopt;
    }
    const date::year_month_day ymd{date::year{year}, date::month{static_cast<unsigned>(month)},
                                   date::day{static_cast<unsigned>(day)}};
    if (!ymd.ok()) {
        return std::nullopt;
    }
    return DayKey{static_cast<std::int32_t>(date::sys_days{ymd}.time_since_epoch().count())};
}

}  // namespace tolvik
