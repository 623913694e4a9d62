#include "base/zone.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <date/date.h>
#include <date/tz.h>
#include <date/tz_private.h>
#include <exception>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <string>
#include <utility>

namespace tolvik {
namespace {

constexpr std::int64_t kDayMs = 86'400'000;

/// Where the time zone library looks as well.
constexpr std::string_view kDatabase = "/usr/share/zoneinfo/";

/// What the library reads without looking at it twice: a file of a zone, below the database's folder.
bool isZoneFile(std::string_view name) {
    const bool isPlain = std::ranges::all_of(name, [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '+' ||
               c == '-' || c == '/';
    });
    if (name.empty() || !isPlain || name.front() == '/') {
        return false;
    }
    std::array<char, 4> magic{};
    std::ifstream file(std::string(kDatabase).append(name), std::ios::binary);
    return file.read(magic.data(), magic.size()) && std::string_view(magic.data(), magic.size()) == "TZif";
}

/// The library's own search lists the whole database first, a thousand calls of the system in the start of every
/// process; a zone made by its name reads one file.
const date::time_zone* located(std::string_view name) {
    static std::mutex mutex;
    static std::map<std::string, date::time_zone, std::less<>> zones;
    const std::scoped_lock lock(mutex);
    if (const auto known = zones.find(name); known != zones.end()) {
        return &known->second;
    }
    try {
        if (isZoneFile(name)) {
            date::time_zone zone(std::string(name), date::detail::undocumented{});
            (void)zone.get_info(date::sys_seconds{});
            return &zones.emplace(name, std::move(zone)).first->second;
        }
        return std::filesystem::exists(kDatabase) ? nullptr : date::locate_zone(std::string(name));
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
