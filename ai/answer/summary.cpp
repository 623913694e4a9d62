#include "ai/answer/summary.h"

#include <algorithm>
#include <fmt/format.h>

#include "ai/answer/answer_words.h"
#include "ai/answer/calendar.h"
#include "ai/answer/tally.h"
#include "reports/report_data.h"

namespace tolvik {
namespace {

constexpr Millis kFocus{25 * 60'000};
constexpr Millis kPause{60'000};

std::int64_t focusBlocksIn(const std::vector<Worked>& worked) {
    std::int64_t blocks = 0;
    for (std::size_t at = 0; at < worked.size();) {
        auto end = worked[at].end;
        const auto first = at++;
        while (at < worked.size() && worked[at].taskId == worked[first].taskId && worked[at].begin - end <= kPause) {
            end = std::max(end, worked[at++].end);
        }
        blocks += end - worked[first].begin >= kFocus ? 1 : 0;
    }
    return blocks;
}

RecordLookup lookupIn(const Tally& tally) {
    return {.task = [&tally](const Identifier& id) { return tally.task(id); },
            .tag = [&tally](const Identifier& id) { return tally.project(id); }};
}

ReportData reportOn(const DaySpan& days, const AnswerLog& log, const Tally& tally) {
    const auto& frame = tally.frame();
    return makeReport({.range = ReportRange::custom, .days = days, .firstWeekday = frame.firstWeekday},
                      {log.entries.begin(), log.entries.end()}, lookupIn(tally), frame.zone, frame.now);
}

bool everyone(const Identifier& /*taskId*/) {
    return true;
}

std::string projectSentence(const ReportData& report) {
    constexpr std::size_t most = 3;
    std::vector<std::string> parts;
    std::int64_t rest = 0;
    std::int64_t others = 0;
    for (const auto& tag : report.byTag) {
        if (tag.totalMs == 0) {
            continue;
        }
        if (parts.size() < most) {
            parts.push_back(fmt::format("{} took {} ({} %)", tag.tagId ? tag.tagName : "time without a project",
                                        lengthWords(tag.totalMs), tag.percent));
        } else {
            rest += tag.totalMs;
            ++others;
        }
    }
    if (others > 0) {
        parts.push_back(fmt::format("{} {}", countWords(others, "other", "others"), lengthWords(rest)));
    }
    return parts.empty() ? std::string() : " " + capitalised(listed(parts)) + ".";
}

}  // namespace

DaySummary summaryOf(DayKey day, const AnswerLog& log, const AnswerFrame& frame) {
    const Tally tally(log, frame);
    const auto worked = tally.worked(DaySpan{day, day}, everyone);
    const auto tasks = citationsOf(worked);
    DaySummary summary;
    summary.totalMs = totalOf(worked);
    summary.taskCount = static_cast<std::int64_t>(tasks.size());
    summary.focusBlocks = focusBlocksIn(worked);
    const bool isToday = frame.zone.dayOf(frame.now) == day;
    const auto when = isToday ? "Today" : capitalised(calendar::spanWords({day, day}));
    if (tasks.empty()) {
        summary.narrative = when + (isToday ? " nothing is tracked yet." : " nothing was tracked.");
        return summary;
    }
    std::vector<std::pair<const TagModel*, std::int64_t>> projects;
    for (const auto& task : tasks) {
        if (const auto* project = tally.projectOf(task.taskId)) {
            auto found = std::ranges::find(projects, project, &std::pair<const TagModel*, std::int64_t>::first);
            if (found == projects.end()) {
                found = projects.insert(found, {project, 0});
            }
            found->second += task.timeMs;
        }
    }
    const auto title = [&](const Citation& one) {
        const auto* task = tally.task(one.taskId);
        return fmt::format("{} ({})", quoted(task == nullptr ? "Unknown" : task->title), lengthWords(one.timeMs));
    };
    auto& text = summary.narrative;
    text = fmt::format(
        "{} you tracked {} on {}, {}.", when, lengthWords(summary.totalMs),
        countWords(summary.taskCount, "task", "tasks"),
        summary.focusBlocks == 0
            ? "without a stretch of 25 minutes on one of them"
            : "with " + countWords(summary.focusBlocks, "focus block", "focus blocks") + " of 25 minutes or more");
    text += tasks.size() == 1 ? fmt::format(" All of it went to {}.", title(tasks[0]))
                              : fmt::format(" Most went to {}, then to {}.", title(tasks[0]), title(tasks[1]));
    if (!projects.empty()) {
        const auto top = std::ranges::max(projects, {}, &std::pair<const TagModel*, std::int64_t>::second);
        summary.topProject = top.first->name;
        text += fmt::format(" The project {} took {}.", top.first->name, lengthWords(top.second));
    }
    return summary;
}

std::string narrativeOf(const DaySpan& days, const AnswerLog& log, const AnswerFrame& frame) {
    const Tally tally(log, frame);
    const auto report = reportOn(days, log, tally);
    const auto when = calendar::spanWords(days);
    if (report.totalMs == 0) {
        return fmt::format("{} no time was tracked.", capitalised(when));
    }
    const auto perDay = tally.perDay(tally.worked(days, everyone));
    auto text = fmt::format("{} you tracked {} on {} and {}.", capitalised(when), lengthWords(report.totalMs),
                            countWords(static_cast<std::int64_t>(perDay.size()), "day", "days"),
                            countWords(static_cast<std::int64_t>(report.byTask.size()), "task", "tasks"));
    text += projectSentence(report);
    if (perDay.size() > 1) {
        const auto longest = std::ranges::max(perDay, {}, &DayTotal::ms);
        text +=
            fmt::format(" The longest day was {} with {}.", calendar::dayWords(longest.day), lengthWords(longest.ms));
    }
    const DaySpan before{days.first.plus(-days.days()), days.first.plus(-1)};
    const auto earlier = reportOn(before, log, tally).totalMs;
    if (earlier > 0) {
        const auto difference = report.totalMs - earlier;
        text += fmt::format(" That is {} than in the {} before.",
                            difference == 0 ? "no more and no less"
                                            : lengthWords(std::abs(difference)) + (difference > 0 ? " more" : " less"),
                            countWords(days.days(), "day", "days"));
    }
    return text;
}

}  // namespace tolvik
