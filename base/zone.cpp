#include "base/zone.h"

#include <chrono>
#include <date/date.h>
#include <date/tz.h>
#include <exception>

namespace tolvik {
namespace {

constexpr std::int64_t kDayMs = 86'400'000;

const date::time_zone* located(std::string_view name) {
    try {
        return date::locate_zone(std::string(name));
    } catch (const std::exception&) {
        return nullptr;
    }
}

std::int64_t flooredDays(std::int64_t ms) {
    return (ms >= 0 ? ms : ms - (kDayMs - 1)) / kDayMs;
}

date::sys_time<Millis> sysTime(Instant instant) {
    return date::sys_time<Millis>{Millis{instant.ms}};
}

}  // namespace

std::optional<NamedTimeZone> NamedTimeZone::find(std::string_view name) {
    const auto* zone = located(name);
    return zone == nullptr ? std::nullopt : std::optional(NamedTimeZone(zone));
}

NamedTimeZone::NamedTimeZone(std::string_view name) : zone_(located(name)) {}

std::int64_t NamedTimeZone::localMs(Instant instant) const {
    if (zone_ == nullptr) {
        return instant.ms;
    }
    const auto offset = zone_->get_info(sysTime(instant)).offset;
    return instant.ms + std::chrono::duration_cast<Millis>(offset).count();
}

DayKey NamedTimeZone::dayOf(Instant instant) const {
    return {static_cast<std::int32_t>(flooredDays(localMs(instant)))};
}

LocalTime NamedTimeZone::timeOf(Instant instant) const {
    const std::int64_t local = localMs(instant);
    const auto seconds = static_cast<int>((local - flooredDays(local) * kDayMs) / 1000);
    return {seconds / 3600, seconds / 60 % 60, seconds % 60};
}

Instant NamedTimeZone::startOf(DayKey day) const {
    const std::int64_t midnight = std::int64_t{day.days} * kDayMs;
    if (zone_ == nullptr) {
        return {midnight};
    }
    const auto info = zone_->get_info(date::local_time<Millis>{Millis{midnight}});
    if (info.result == date::local_info::nonexistent) {
        return {std::chrono::duration_cast<Millis>(info.first.end.time_since_epoch()).count()};
    }
    return {midnight - std::chrono::duration_cast<Millis>(info.first.offset).count()};
}

std::optional<Instant> NamedTimeZone::at(DayKey day, LocalTime time) const {
    const std::int64_t local =
        std::int64_t{day.days} * kDayMs + ((std::int64_t{time.hour} * 60 + time.minute) * 60 + time.second) * 1000;
    if (zone_ == nullptr) {
        return Instant{local};
    }
    const auto info = zone_->get_info(date::local_time<Millis>{Millis{local}});
    if (info.result == date::local_info::nonexistent) {
        return std::nullopt;
    }
    return Instant{local - std::chrono::duration_cast<Millis>(info.first.offset).count()};
}

int NamedTimeZone::offsetMinutes(Instant instant) const {
    return static_cast<int>((localMs(instant) - instant.ms) / 60'000);
}

std::string NamedTimeZone::name() const {
    return zone_ == nullptr ? "UTC" : zone_->name();
}

}  // namespace tolvik
