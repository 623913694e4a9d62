#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/clock.h"
#include "base/result.h"
#include "core/records.h"

namespace tolvik {

/// The log that questions are answered from. Whoever makes it keeps the records alive and unchanged meanwhile.
struct AnswerLog {
    std::span<const TaskModel> tasks;
    std::span<const TagModel> projects;
    /// In any order.
    std::span<const TimeEntry> entries;
};

/// When and where a question is asked.
struct AnswerFrame {
    /// Stands for the end of an entry that still runs.
    Instant now;
    const TimeZone& zone;
    /// 0 = Sunday … 6 = Saturday.
    int firstWeekday = 1;
};

/// Time of one task that an answer relies on.
struct Citation {
    Identifier taskId;
    /// At least 1.
    std::int64_t timeMs = 0;

    bool operator==(const Citation&) const = default;
};

struct Answer {
    /// One to a few sentences.
    std::string text;
    /// The figure of time that the answer rests on, and what its citations add up to. Of a comparison the sum of both
    /// sides.
    std::int64_t totalMs = 0;
    /// The largest first, each task once.
    std::vector<Citation> citations;

    bool operator==(const Answer&) const = default;
};

/// Why a question is not answered, in words for the user that say what can be asked instead.
struct Refusal {
    std::string text;
};

/// Answers an English question about tracked time, tasks, projects and periods, by rules: every word of the question
/// must have been understood, and names and periods must be clear, else it is refused. Time counts in the period in
/// which it was spent: an entry over a period's end is cut there. The same arguments give the same answer. Any thread.
[[nodiscard]] Result<Answer, Refusal> answerQuestion(std::string_view question, const AnswerLog& log,
                                                     const AnswerFrame& frame);

}  // namespace tolvik
