#pragma once

#include <chrono>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "base/clock.h"
#include "base/zone.h"

namespace tolvik {

/// The user's zone as the machine has it: the variable TZ, else the link /etc/localtime, else the name in
/// /etc/timezone, else UTC. A change of these is noticed within a second. Any thread.
class SystemTimeZone final : public TimeZone {
public:
    /// `root` stands before the two paths, for tests; the variable is read only where it is empty.
    explicit SystemTimeZone(std::string root = {}, Millis checkEvery = Millis{1000});

    [[nodiscard]] DayKey dayOf(Instant instant) const override { return current().dayOf(instant); }
    [[nodiscard]] LocalTime timeOf(Instant instant) const override { return current().timeOf(instant); }
    [[nodiscard]] Instant startOf(DayKey day) const override { return current().startOf(day); }
    [[nodiscard]] std::optional<Instant> at(DayKey day, LocalTime time) const override {
        return current().at(day, time);
    }
    [[nodiscard]] int offsetMinutes(Instant instant) const override { return current().offsetMinutes(instant); }
    [[nodiscard]] std::string name() const override { return current().name(); }

private:
    [[nodiscard]] NamedTimeZone current() const;
    [[nodiscard]] std::string configuredName() const;

    std::string root_;
    Millis checkEvery_;
    mutable std::mutex mutex_;
    mutable std::string configured_;
    mutable NamedTimeZone zone_;
    mutable std::chrono::steady_clock::time_point checked_;
};

/// The IANA name in a value of TZ: "Europe/Helsinki", ":Europe/Helsinki", a path into the zone database, and fixed
/// whole-hour offsets such as "UTC-3" (which lies three hours east). Empty when it is none of these.
[[nodiscard]] std::string zoneNameOfVariable(std::string_view value);

}  // namespace tolvik
