#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <unordered_map>
#include <vector>

#include "ai/answer/answer.h"
#include "reports/report_range.h"

namespace tolvik {

/// Time on one task, without a break.
struct Worked {
    Identifier taskId;
    Instant begin;
    Instant end;

    [[nodiscard]] std::int64_t ms() const { return end.ms - begin.ms; }
};

struct DayTotal {
    DayKey day;
    std::int64_t ms = 0;
};

/// Adds up what a log holds. The log and the frame outlive it.
class Tally {
public:
    using Accepts = std::function<bool(const Identifier& taskId)>;

    Tally(const AnswerLog& log, const AnswerFrame& frame);

    /// Null when it is gone.
    [[nodiscard]] const TaskModel* task(const Identifier& id) const;
    [[nodiscard]] const TagModel* project(const Identifier& id) const;
    /// Of a task; null when it has none or it is gone.
    [[nodiscard]] const TagModel* projectOf(const Identifier& taskId) const;

    /// The time within the days (all without) of the tasks that pass, cut at the days' ends; by start.
    [[nodiscard]] std::vector<Worked> worked(const std::optional<DaySpan>& days, const Accepts& accepts) const;
    /// The days on which there is time, in order. A stretch over midnight counts on both days what lies in them.
    [[nodiscard]] std::vector<DayTotal> perDay(const std::vector<Worked>& worked) const;
    [[nodiscard]] const AnswerFrame& frame() const { return frame_; }

private:
    const AnswerLog& log_;
    const AnswerFrame& frame_;
    std::unordered_map<Identifier, const TaskModel*> tasks_;
    std::unordered_map<Identifier, const TagModel*> projects_;
};

/// One for each task with time, the largest first.
[[nodiscard]] std::vector<Citation> citationsOf(const std::vector<Worked>& worked);
[[nodiscard]] std::int64_t totalOf(const std::vector<Worked>& worked);

}  // namespace tolvik
