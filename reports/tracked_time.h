#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <optional>

#include "base/clock.h"
#include "core/records.h"

namespace tolvik {

/// Where the records that entries name are found; null for what is gone.
struct RecordLookup {
    std::function<const TaskModel*(const Identifier&)> task;
    std::function<const TagModel*(const Identifier&)> tag;

    /// The project of a task, if there are both.
    [[nodiscard]] const TagModel* projectOf(const TaskModel* owner) const {
        return owner == nullptr || !owner->tagId ? nullptr : tag(*owner->tagId);
    }
};

/// How long an entry counts, in milliseconds: its own length; else from start to end, of a running one up to `now`.
/// Never negative.
[[nodiscard]] inline std::int64_t trackedMs(const TimeEntry& entry, Instant now) {
    std::int64_t length = 0;
    if (entry.durationMs) {
        length = *entry.durationMs;
    } else if (const auto start = entry.startedAt.instant()) {
        const auto end = entry.endedAt ? entry.endedAt->instant() : std::optional(now);
        length = end ? (*end - *start).count() : 0;
    }
    return std::max<std::int64_t>(0, length);
}

/// The day of an entry's start; of a start that is no instant the day that its first ten characters name.
[[nodiscard]] inline std::optional<DayKey> startDay(const TimeEntry& entry, const TimeZone& zone) {
    const auto start = entry.startedAt.instant();
    return start ? std::optional(zone.dayOf(*start)) : DayKey::parse(entry.startedAt.text().substr(0, 10));
}

}  // namespace tolvik
