#include "ai/answer/answer.h"

#include <algorithm>
#include <fmt/format.h>
#include <map>
#include <utility>

#include "ai/answer/answer_words.h"
#include "ai/answer/calendar.h"
#include "ai/answer/names.h"
#include "ai/answer/question.h"
#include "ai/answer/tally.h"
#include "ai/answer/tokens.h"

namespace tolvik {
namespace {

constexpr std::size_t kMostListed = 8;

/// Time under one heading: a title or a project.
struct Group {
    std::string name;
    std::vector<Worked> worked;
    std::int64_t ms = 0;
};

/// Answers one understood question.
class Answerer {
public:
    Answerer(const Tally& tally, Question question) : tally_(tally), question_(std::move(question)) {}

    [[nodiscard]] Answer answer() const {
        auto made = answered();
        for (auto taken = question_.taken.rbegin(); taken != question_.taken.rend(); ++taken) {
            made.text.insert(0, *taken);
        }
        return made;
    }

private:
    [[nodiscard]] const TimeZone& zone() const { return tally_.frame().zone; }
    [[nodiscard]] std::optional<DaySpan> period() const {
        return question_.periods.empty() ? std::nullopt : std::optional(question_.periods[0]);
    }
    [[nodiscard]] std::vector<Worked> worked(std::size_t subject = 0) const { return workedIn(period(), subject); }
    [[nodiscard]] std::vector<Worked> workedIn(const std::optional<DaySpan>& days, std::size_t subject = 0) const {
        return tally_.worked(days, [&](const Identifier& task) {
            return subject >= question_.subjects.size() || isOf(question_.subjects[subject], task);
        });
    }
    [[nodiscard]] bool isOf(const Subject& subject, const Identifier& task) const {
        if (!subject.isProject) {
            return std::ranges::binary_search(subject.ids, task);
        }
        const auto* project = tally_.projectOf(task);
        return project != nullptr && std::ranges::binary_search(subject.ids, project->id);
    }

    // --- words -----------------------------------------------------------------------------------------------------

    /// "in October 2026", "today", "in all since 1 September 2025".
    [[nodiscard]] std::string when(const std::optional<DaySpan>& days) const {
        const auto today = zone().dayOf(tally_.frame().now);
        if (!days) {
            const auto all = tally_.worked(std::nullopt, [](const Identifier&) { return true; });
            return all.empty() ? "in all" : "in all since " + calendar::dayWords(zone().dayOf(all.front().begin));
        }
        if (days->first == days->last && days->first == today) {
            return "today, " + calendar::dayWords(today) + ",";
        }
        return calendar::spanWords(*days);
    }
    [[nodiscard]] std::string when() const { return when(period()); }
    [[nodiscard]] std::string on(std::size_t subject = 0) const {
        return subject < question_.subjects.size() ? " on " + named(question_.subjects[subject]) : std::string();
    }
    static std::string named(const Subject& subject) {
        return (subject.isProject ? "the project " : "") + quoted(subject.name);
    }
    [[nodiscard]] Answer nothing() const {
        return {
            capitalised(when()) + (when().ends_with(',') ? " there" : ", there") + " is no time" + on() + ".", 0, {}};
    }
    static Answer resting(const std::vector<Worked>& worked, std::string text) {
        return {std::move(text), totalOf(worked), citationsOf(worked)};
    }
    /// "In October 2026 " or "Today, Thursday 19 November 2026, ".
    [[nodiscard]] std::string opening() const { return capitalised(when()) + " "; }

    [[nodiscard]] std::string titleOf(const Identifier& task) const {
        const auto* found = tally_.task(task);
        return found == nullptr ? "Unknown" : found->title;
    }

    /// By title or by project, the largest first; time without a project is left out of projects.
    [[nodiscard]] std::vector<Group> groups(const std::vector<Worked>& all, bool byProject) const {
        std::map<std::string, Group> found;
        for (const auto& one : all) {
            const auto* project = tally_.projectOf(one.taskId);
            if (byProject && project == nullptr) {
                continue;
            }
            const auto name = byProject ? project->name : titleOf(one.taskId);
            auto& group = found[nameKey(name)];
            group.name = group.name.empty() ? name : group.name;
            group.ms += one.ms();
            group.worked.push_back(one);
        }
        std::vector<Group> out;
        out.reserve(found.size());
        for (auto& [key, group] : found) {
            out.push_back(std::move(group));
        }
        std::ranges::stable_sort(out, std::greater(), &Group::ms);
        return out;
    }
    [[nodiscard]] static std::string listedGroups(const std::vector<Group>& groups) {
        std::vector<std::string> parts;
        std::int64_t rest = 0;
        for (const auto& group : groups) {
            if (parts.size() < kMostListed) {
                parts.push_back(fmt::format("{} {}", quoted(group.name), lengthWords(group.ms)));
            } else {
                rest += group.ms;
            }
        }
        if (rest > 0) {
            parts.push_back(fmt::format("{} others {}", groups.size() - kMostListed, lengthWords(rest)));
        }
        return listed(parts);
    }

    // --- answers ---------------------------------------------------------------------------------------------------

    [[nodiscard]] Answer answered() const {
        switch (question_.intent) {
            case Intent::total:
                return total();
            case Intent::list:
                return list(false);
            case Intent::listProjects:
                return list(true);
            case Intent::longestDay:
                return day(true);
            case Intent::shortestDay:
                return day(false);
            case Intent::mostProject:
                return extreme(true, true);
            case Intent::leastProject:
                return extreme(true, false);
            case Intent::mostTask:
                return extreme(false, true);
            case Intent::leastTask:
                return extreme(false, false);
            case Intent::lastWork:
                return edge(false);
            case Intent::firstWork:
                return edge(true);
            case Intent::countDays:
                return countDays();
            case Intent::countTasks:
                return count(false);
            case Intent::countProjects:
                return count(true);
            case Intent::average:
                return average();
            case Intent::comparePeriods:
                return comparePeriods();
            case Intent::compareNames:
                return compareNames();
            case Intent::share:
                return share();
            case Intent::current:
                return current();
            case Intent::dayStart:
                return dayEdge(true);
            case Intent::dayEnd:
                return dayEdge(false);
        }
        return nothing();
    }

    [[nodiscard]] Answer total() const {
        const auto all = worked();
        if (all.empty()) {
            return nothing();
        }
        auto text = opening() + "you tracked " + lengthWords(totalOf(all)) + on();
        const auto titles = groups(all, false);
        const bool namesTitle = !question_.subjects.empty() && !question_.subjects[0].isProject;
        if (titles.size() == 1 && !namesTitle) {
            text += ", all on " + quoted(titles[0].name);
        } else if (titles.size() > 1) {
            text += fmt::format(", the largest part on {} ({})", quoted(titles[0].name), lengthWords(titles[0].ms));
        }
        return resting(all, text + ".");
    }

    [[nodiscard]] Answer list(bool byProject) const {
        auto all = worked();
        if (byProject) {
            std::erase_if(all, [&](const Worked& one) { return tally_.projectOf(one.taskId) == nullptr; });
        }
        if (all.empty()) {
            return nothing();
        }
        return resting(all, fmt::format("{}you tracked {}{}{}: {}.", opening(), lengthWords(totalOf(all)), on(),
                                        byProject ? " on projects" : "", listedGroups(groups(all, byProject))));
    }

    [[nodiscard]] Answer day(bool isLongest) const {
        const auto all = worked();
        const auto days = tally_.perDay(all);
        if (days.empty()) {
            return nothing();
        }
        const auto best =
            isLongest ? std::ranges::max(days, {}, &DayTotal::ms).ms : std::ranges::min(days, {}, &DayTotal::ms).ms;
        const auto found = std::ranges::find(days, best, &DayTotal::ms);
        auto text = fmt::format("{}your {} day{} was {} with {}.", opening(), isLongest ? "longest" : "shortest", on(),
                                calendar::dayWords(found->day), lengthWords(best));
        if (std::ranges::count(days, best, &DayTotal::ms) > 1) {
            text += " Another day had just as much.";
        }
        return resting(workedIn(DaySpan{found->day, found->day}), std::move(text));
    }

    [[nodiscard]] Answer extreme(bool byProject, bool isMost) const {
        const auto all = worked();
        const auto found = groups(all, byProject);
        if (found.empty()) {
            return nothing();
        }
        const auto& best = isMost ? found.front() : found.back();
        auto text =
            fmt::format("{}the {} with the {} time{} was {} with {}.", opening(), byProject ? "project" : "task",
                        isMost ? "most" : "least", on(), quoted(best.name), lengthWords(best.ms));
        std::vector<std::string> equals;
        for (const auto& one : found) {
            if (one.ms == best.ms && one.name != best.name) {
                equals.push_back(quoted(one.name));
            }
        }
        if (!equals.empty()) {
            text += " Just as much had " + listed(equals) + ".";
        } else if (isMost && found.size() > 1) {
            text += fmt::format(" Next was {} with {}.", quoted(found[1].name), lengthWords(found[1].ms));
        }
        return resting(best.worked, std::move(text));
    }

    [[nodiscard]] Answer edge(bool isFirst) const {
        const auto all = worked();
        if (all.empty()) {
            return nothing();
        }
        const auto& one = isFirst ? all.front() : *std::ranges::max_element(all, {}, &Worked::end);
        const bool runs = one.end == tally_.frame().now;
        return resting({one}, fmt::format("You {} worked{} on {}, {} to {} ({}).", isFirst ? "first" : "last", on(),
                                          calendar::dayWords(zone().dayOf(one.begin)), clockTime(zone(), one.begin),
                                          runs ? "now" : clockTime(zone(), one.end), lengthWords(one.ms())));
    }

    [[nodiscard]] Answer countDays() const {
        const auto all = worked();
        const auto days = static_cast<std::int64_t>(tally_.perDay(all).size());
        return days == 0 ? nothing()
                         : resting(all, fmt::format("{}you worked{} on {}, {} in all.", opening(), on(),
                                                    countWords(days, "day", "days"), lengthWords(totalOf(all))));
    }

    [[nodiscard]] Answer count(bool projects) const {
        auto all = worked();
        if (projects) {
            std::erase_if(all, [&](const Worked& one) { return tally_.projectOf(one.taskId) == nullptr; });
        }
        if (all.empty()) {
            return nothing();
        }
        const auto titles = groups(all, projects);
        const auto number = static_cast<std::int64_t>(titles.size());
        const auto tasks = static_cast<std::int64_t>(citationsOf(all).size());
        auto text =
            fmt::format("{}you worked on {}{}, {} in all", opening(),
                        projects ? countWords(number, "project", "projects") : countWords(tasks, "task", "tasks"),
                        on().empty() ? "" : " of" + on().substr(3), lengthWords(totalOf(all)));
        if (!projects && tasks != number) {
            text += fmt::format(" ({})", countWords(number, "title", "different titles"));
        }
        return resting(all, text + ".");
    }

    [[nodiscard]] Answer average() const {
        const auto all = worked();
        const auto days = static_cast<std::int64_t>(tally_.perDay(all).size());
        if (days == 0) {
            return nothing();
        }
        const auto ms = totalOf(all);
        auto text = fmt::format("{}you tracked {}{} on {}: {} on average for a day with tracked time", opening(),
                                lengthWords(ms), on(), countWords(days, "day", "days"), lengthWords(ms / days));
        if (const auto span = period(); span && span->days() > days) {
            text += fmt::format(", {} for each of the period’s {}", lengthWords(ms / span->days()),
                                countWords(span->days(), "day", "days"));
        }
        return resting(all, text + ".");
    }

    [[nodiscard]] Answer comparePeriods() const {
        const auto first = workedIn(question_.periods[0]);
        const auto second = workedIn(question_.periods[1]);
        const auto a = totalOf(first);
        const auto b = totalOf(second);
        auto both = first;
        both.insert(both.end(), second.begin(), second.end());
        return resting(both, fmt::format("{} {}, {} {}{}: {}.", capitalised(when(question_.periods[0])), lengthWords(a),
                                         when(question_.periods[1]), lengthWords(b), on(), difference(a, b)));
    }
    [[nodiscard]] static std::string difference(std::int64_t a, std::int64_t b) {
        return a == b ? "just as much" : fmt::format("{} {}", lengthWords(std::abs(a - b)), a > b ? "more" : "less");
    }

    [[nodiscard]] Answer compareNames() const {
        const auto first = worked(0);
        const auto second = worked(1);
        const auto a = totalOf(first);
        const auto b = totalOf(second);
        auto both = first;
        both.insert(both.end(), second.begin(), second.end());
        return resting(both, fmt::format("{}{} took {} and {} took {}, together {}: {} for the first.", opening(),
                                         named(question_.subjects[0]), lengthWords(a), named(question_.subjects[1]),
                                         lengthWords(b), lengthWords(a + b), difference(a, b)));
    }

    [[nodiscard]] Answer share() const {
        const auto own = worked();
        const auto all = workedIn(period(), question_.subjects.size());
        const auto part = totalOf(own);
        const auto whole = totalOf(all);
        if (part == 0) {
            return nothing();
        }
        return resting(own,
                       fmt::format("{}{} of {} went to {}: {} %.", opening(), lengthWords(part), lengthWords(whole),
                                   named(question_.subjects[0]), (200 * part + whole) / (2 * whole)));
    }

    [[nodiscard]] Answer current() const {
        const auto all = worked();
        const auto running = std::ranges::find_if(
            all, [&](const Worked& one) { return one.end == tally_.frame().now && runs(one.taskId); });
        return running == all.end()
                   ? Answer{"Nothing is running now.", 0, {}}
                   : resting({*running}, fmt::format("{} is running since {} ({}).", quoted(titleOf(running->taskId)),
                                                     clockTime(zone(), running->begin), lengthWords(running->ms())));
    }
    [[nodiscard]] bool runs(const Identifier& id) const {
        const auto* found = tally_.task(id);
        return found != nullptr && found->isActive;
    }

    [[nodiscard]] Answer dayEdge(bool isStart) const {
        const auto all = worked();
        if (all.empty()) {
            return nothing();
        }
        const auto at = isStart ? all.front().begin : std::ranges::max(all, {}, &Worked::end).end;
        return resting(all, fmt::format("{}you {} at {}; {} in all.", opening(),
                                        isStart                    ? "started"
                                        : at == tally_.frame().now ? "are still working, now"
                                                                   : "stopped",
                                        clockTime(zone(), at), lengthWords(totalOf(all))));
    }

    const Tally& tally_;
    Question question_;
};

/// Whether the citations can stand side by side: no time is counted twice.
bool overlaps(const Question& question, const AnswerLog& log) {
    if (question.intent == Intent::comparePeriods) {
        return question.periods[0].first <= question.periods[1].last &&
               question.periods[1].first <= question.periods[0].last;
    }
    if (question.intent != Intent::compareNames || question.subjects[0].isProject == question.subjects[1].isProject) {
        return false;
    }
    const auto& project = question.subjects[question.subjects[0].isProject ? 0 : 1];
    const auto& task = question.subjects[question.subjects[0].isProject ? 1 : 0];
    return std::ranges::any_of(log.tasks, [&](const TaskModel& one) {
        return std::ranges::binary_search(task.ids, one.id) && one.tagId &&
               std::ranges::binary_search(project.ids, *one.tagId);
    });
}

}  // namespace

Result<Answer, Refusal> answerQuestion(std::string_view text, const AnswerLog& log, const AnswerFrame& frame) {
    const auto question =
        understand(text, NameBook(log), {.today = frame.zone.dayOf(frame.now), .firstWeekday = frame.firstWeekday});
    if (!question) {
        return failure(question.error());
    }
    const bool isDayQuestion = question->intent == Intent::dayStart || question->intent == Intent::dayEnd;
    if (isDayQuestion && question->periods[0].days() != 1) {
        return failure(Refusal{"Ask for one day, for example “When did I start yesterday?”."});
    }
    if (overlaps(*question, log)) {
        return failure(Refusal{"The two overlap. Ask for each of them alone."});
    }
    const Tally tally(log, frame);
    return Answerer(tally, *question).answer();
}

}  // namespace tolvik
