#pragma once

#include <optional>
#include <string>

#include "base/identifier.h"
#include "base/time.h"

namespace tolvik {

/// Where the present comes from. Any thread.
class Clock {
public:
    Clock() = default;
    Clock(const Clock&) = delete;
    Clock& operator=(const Clock&) = delete;
    virtual ~Clock() = default;

    [[nodiscard]] virtual Instant now() const = 0;
};

/// A wall-clock reading within a day, for labels. 0–23, 0–59, 0–59.
struct LocalTime {
    int hour = 0;
    int minute = 0;
    int second = 0;
};

/// The user's current time zone, which may change while the process runs. Any thread.
class TimeZone {
public:
    TimeZone() = default;
    TimeZone(const TimeZone&) = delete;
    TimeZone& operator=(const TimeZone&) = delete;
    virtual ~TimeZone() = default;

    [[nodiscard]] virtual DayKey dayOf(Instant instant) const = 0;
    [[nodiscard]] virtual LocalTime timeOf(Instant instant) const = 0;
    /// The first instant of the day (not always midnight: some zones skip it).
    [[nodiscard]] virtual Instant startOf(DayKey day) const = 0;
    /// The instant of a wall-clock reading; none when the clock skips it, the earlier one when it comes twice.
    [[nodiscard]] virtual std::optional<Instant> at(DayKey day, LocalTime time) const = 0;
    /// Minutes east of UTC.
    [[nodiscard]] virtual int offsetMinutes(Instant instant) const = 0;
    /// The IANA name, for example "Europe/Helsinki".
    [[nodiscard]] virtual std::string name() const = 0;
};

/// Where chance comes from. Main loop only.
class Random {
public:
    Random() = default;
    Random(const Random&) = delete;
    Random& operator=(const Random&) = delete;
    virtual ~Random() = default;

    [[nodiscard]] virtual std::uint64_t next() = 0;
    [[nodiscard]] Identifier identifier() {
        const std::uint64_t high = next();
        return Identifier::fromRandom(high, next());
    }
};

}  // namespace tolvik
