#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <unordered_map>

#include "base/clock.h"
#include "core/app_store.h"

namespace tolvik {

/// The time of projects and tasks over the whole log, with the last weeks one by one. Entries count where they start.
class ProjectTimes {
public:
    static constexpr std::size_t kWeeks = 12;

    struct Times {
        std::int64_t totalMs = 0;
        /// The present week last.
        std::array<std::int64_t, kWeeks> weeks{};
        std::optional<Instant> lastUsed;
    };

    /// Adds up what is closed anew when the log or the day changed, and what runs up to `now`. `firstWeekday`: 0 =
    /// Sunday … 6 = Saturday.
    void update(const AppStore& store, const TimeZone& zone, Instant now, int firstWeekday);

    /// None stands for tasks without a project, or of one that is gone.
    [[nodiscard]] Times of(const std::optional<Identifier>& tagId) const;
    [[nodiscard]] std::int64_t ofTask(const Identifier& taskId) const;

private:
    struct Sums {
        std::map<std::optional<Identifier>, Times> tags;
        std::map<Identifier, std::int64_t> tasks;
    };
    void add(Sums& sums, const AppStore& store, const TimeEntry& entry, std::int64_t ms) const;

    std::optional<std::uint64_t> revision_;
    /// The first instants of the weeks, and the end of the present one.
    std::array<Instant, kWeeks + 1> starts_{};
    Sums closed_;
    Sums all_;
};

}  // namespace tolvik
