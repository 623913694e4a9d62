#include "ai/answer/tally.h"

#include <algorithm>
#include <map>

namespace tolvik {
namespace {

/// When an entry was worked on; an entry whose start is no instant begins with the day that it names.
std::optional<Worked> workedIn(const TimeEntry& entry, const AnswerFrame& frame) {
    const auto start = entry.startedAt.instant();
    if (!start) {
        const auto day = DayKey::parse(entry.startedAt.text().substr(0, 10));
        if (!day) {
            return std::nullopt;
        }
        const auto begin = frame.zone.startOf(*day);
        return Worked{entry.taskId, begin, begin + Millis{std::max<std::int64_t>(0, entry.durationMs.value_or(0))}};
    }
    auto end = frame.now;
    if (entry.endedAt) {
        end = entry.endedAt->instant().value_or(*start + Millis{entry.durationMs.value_or(0)});
    }
    return Worked{entry.taskId, *start, end};
}

}  // namespace

Tally::Tally(const AnswerLog& log, const AnswerFrame& frame) : log_(log), frame_(frame) {
    tasks_.reserve(log.tasks.size());
    for (const auto& one : log.tasks) {
        tasks_.emplace(one.id, &one);
    }
    for (const auto& one : log.projects) {
        projects_.emplace(one.id, &one);
    }
}

const TaskModel* Tally::task(const Identifier& id) const {
    const auto found = tasks_.find(id);
    return found == tasks_.end() ? nullptr : found->second;
}

const TagModel* Tally::projectOf(const Identifier& taskId) const {
    const auto* owner = task(taskId);
    return owner == nullptr || !owner->tagId ? nullptr : project(*owner->tagId);
}

const TagModel* Tally::project(const Identifier& id) const {
    const auto found = projects_.find(id);
    return found == projects_.end() ? nullptr : found->second;
}

std::vector<Worked> Tally::worked(const std::optional<DaySpan>& days, const Accepts& accepts) const {
    const Instant begin = days ? frame_.zone.startOf(days->first) : Instant{INT64_MIN};
    const Instant end = days ? frame_.zone.startOf(days->last.plus(1)) : Instant{INT64_MAX};
    std::vector<Worked> out;
    for (const auto& entry : log_.entries) {
        auto one = workedIn(entry, frame_);
        if (!one) {
            continue;
        }
        one->begin = std::max(one->begin, begin);
        one->end = std::min(one->end, end);
        if (one->begin < one->end && accepts(one->taskId)) {
            out.push_back(*one);
        }
    }
    std::ranges::stable_sort(out, {}, &Worked::begin);
    return out;
}

std::vector<DayTotal> Tally::perDay(const std::vector<Worked>& worked) const {
    std::map<DayKey, std::int64_t> totals;
    for (const auto& one : worked) {
        for (auto from = one.begin; from < one.end;) {
            const auto day = frame_.zone.dayOf(from);
            const auto to = std::min(one.end, frame_.zone.startOf(day.plus(1)));
            totals[day] += (to - from).count();
            from = to;
        }
    }
    std::vector<DayTotal> out;
    out.reserve(totals.size());
    for (const auto& [day, ms] : totals) {
        out.push_back({day, ms});
    }
    return out;
}

std::vector<Citation> citationsOf(const std::vector<Worked>& worked) {
    std::unordered_map<Identifier, std::size_t> places;
    std::vector<Citation> out;
    for (const auto& one : worked) {
        const auto [place, isNew] = places.emplace(one.taskId, out.size());
        if (isNew) {
            out.push_back({one.taskId, 0});
        }
        out[place->second].timeMs += one.ms();
    }
    std::ranges::stable_sort(out, std::greater(), &Citation::timeMs);
    return out;
}

std::int64_t totalOf(const std::vector<Worked>& worked) {
    std::int64_t total = 0;
    for (const auto& one : worked) {
        total += one.ms();
    }
    return total;
}

}  // namespace tolvik
