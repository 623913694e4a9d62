#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ai/answer/names.h"
#include "ai/answer/period.h"

namespace tolvik {

/// What is asked for.
enum class Intent : std::uint8_t {
    total,           ///< how much time
    list,            ///< what was worked on
    listProjects,    ///< which projects were worked on
    longestDay,      ///< the day with the most time
    shortestDay,     ///< of the days with time the one with the least
    mostProject,     ///< the project with the most time
    leastProject,    ///< of the projects with time the one with the least
    mostTask,        ///< the title with the most time
    leastTask,       ///< of the titles with time the one with the least
    lastWork,        ///< when a name was last worked on
    firstWork,       ///< when a name was first worked on
    countDays,       ///< on how many days there is time
    countTasks,      ///< how many tasks have time
    countProjects,   ///< how many projects have time
    average,         ///< time a day
    comparePeriods,  ///< two periods
    compareNames,    ///< two names, and their sum
    share,           ///< how much of all time
    current,         ///< what runs now
    dayStart,        ///< when work began on a day
    dayEnd,          ///< when work ended on a day
};

/// A question as it was understood.
struct Question {
    Intent intent = Intent::total;
    /// Two for `compareNames`, else none or one.
    std::vector<Subject> subjects;
    /// Two for `comparePeriods`, else none (the whole log) or one.
    std::vector<DaySpan> periods;
    /// Names that were not written as in the log: what was asked, and what it was taken for.
    std::vector<std::string> taken;

    bool operator==(const Question&) const = default;
};

/// Understands a question, or says what keeps it from being clear.
[[nodiscard]] Result<Question, Refusal> understand(std::string_view question, const NameBook& names,
                                                   const PeriodFrame& frame);

}  // namespace tolvik
