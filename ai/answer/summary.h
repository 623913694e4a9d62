#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "ai/answer/answer.h"
#include "reports/report_range.h"

namespace tolvik {

/// A day in figures and in words.
struct DaySummary {
    std::string narrative;
    /// Tracked on the day, cut at its midnights, the running entry up to now.
    std::int64_t totalMs = 0;
    /// Tasks with time on the day.
    std::int64_t taskCount = 0;
    /// Stretches of at least 25 minutes on one task; a break of up to a minute does not end one.
    std::int64_t focusBlocks = 0;
    /// The project with the most time; none when no task of the day has one.
    std::optional<std::string> topProject;

    bool operator==(const DaySummary&) const = default;
};

[[nodiscard]] DaySummary summaryOf(DayKey day, const AnswerLog& log, const AnswerFrame& frame);

/// A few sentences on a range of days, with the figures of a report on it: time counts where its entry starts. Only the
/// longest day and the number of days are cut at midnights.
[[nodiscard]] std::string narrativeOf(const DaySpan& days, const AnswerLog& log, const AnswerFrame& frame);

}  // namespace tolvik
