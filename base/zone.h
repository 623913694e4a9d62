#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "base/clock.h"

namespace date {
class time_zone;
}

namespace tolvik {

/// The zone of an IANA name, by the rules of the time zone database. Value type, any thread.
class NamedTimeZone final : public TimeZone {
public:
    /// None when the database has no such zone.
    [[nodiscard]] static std::optional<NamedTimeZone> find(std::string_view name);
    /// The named zone; UTC when the database has no such zone, and without a database as well.
    explicit NamedTimeZone(std::string_view name);
    NamedTimeZone(const NamedTimeZone& other) : zone_(other.zone_) {}
    NamedTimeZone& operator=(const NamedTimeZone& other) {  // NOLINT(bugprone-unhandled-self-assignment)
        zone_ = other.zone_;
        return *this;
    }
    ~NamedTimeZone() override = default;

    [[nodiscard]] DayKey dayOf(Instant instant) const override;
    [[nodiscard]] LocalTime timeOf(Instant instant) const override;
    [[nodiscard]] Instant startOf(DayKey day) const override;
    [[nodiscard]] std::optional<Instant> at(DayKey day, LocalTime time) const override;
    [[nodiscard]] int offsetMinutes(Instant instant) const override;
    [[nodiscard]] std::string name() const override;

private:
    explicit NamedTimeZone(const date::time_zone* zone) : zone_(zone) {}
    [[nodiscard]] std::int64_t localMs(Instant instant) const;

    /// Belongs to the database, which lives as long as the process; null stands for UTC.
    const date::time_zone* zone_ = nullptr;
};

}  // namespace tolvik
