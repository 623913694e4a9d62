#include "commands/log_report.h"

#include <algorithm>
#include <charconv>
#include <fmt/format.h>
#include <limits>
#include <map>
#include <nlohmann/json.hpp>
#include <unordered_map>
#include <utility>

#include "base/text.h"
#include "commands/answers.h"
#include "commands/words.h"

namespace tolvik {
namespace {

using Json = nlohmann::ordered_json;

Json optional(const std::optional<Identifier>& id) {
    return id ? Json(id->text()) : Json();
}

Json optional(const std::optional<Timestamp>& time) {
    return time ? Json(time->text()) : Json();
}

std::string projectName(const AppStore& store, const std::optional<Identifier>& id) {
    const TagModel* project = id ? store.tagById(*id) : nullptr;
    return project == nullptr ? std::string() : project->name;
}

Json projectJson(const AppStore& store, const std::optional<Identifier>& id) {
    const TagModel* project = id ? store.tagById(*id) : nullptr;
    return project == nullptr ? Json() : Json(project->name);
}

std::int64_t todayMs(const ReportView& view) {
    const auto today = view.store.today();
    const auto days = view.store.trackedPerDay(today, today);
    return days.empty() ? 0 : days.front();
}

/// The part of an entry that lies in a day.
struct Stretch {
    const TimeEntry* entry = nullptr;
    Instant from;
    Instant to;
    bool running = false;
};

std::vector<Stretch> stretchesOf(const std::vector<TimeEntry>& entries, const ReportView& view, DayKey day) {
    const Instant start = view.timeZone.startOf(day);
    const Instant end = view.timeZone.startOf(day.plus(1));
    std::vector<Stretch> stretches;
    for (const auto& entry : entries) {
        const auto from = entry.startedAt.instant();
        const auto ended = entry.endedAt ? entry.endedAt->instant() : std::optional(view.clock.now());
        if (!from || !ended) {
            continue;
        }
        const Instant to = std::min(*ended, end);
        stretches.push_back(
            {&entry, std::max(*from, start), std::max(to, std::max(*from, start)), entry.isRunning() && *ended < end});
    }
    std::ranges::stable_sort(stretches, {}, &Stretch::from);
    return stretches;
}

std::string titleOf(const AppStore& store, const Identifier& id) {
    const TaskModel* task = store.taskById(id);
    return task == nullptr ? "(deleted task)" : task->title;
}

std::string dayJson(const ReportView& view, DayKey day, const std::vector<Stretch>& stretches) {
    const auto& store = view.store;
    std::int64_t total = 0;
    Json entries = Json::array();
    std::vector<Identifier> order;
    std::unordered_map<Identifier, std::int64_t> sums;
    for (const auto& stretch : stretches) {
        const auto length = (stretch.to - stretch.from).count();
        total += length;
        const auto& entry = *stretch.entry;
        if (!sums.contains(entry.taskId)) {
            order.push_back(entry.taskId);
        }
        sums[entry.taskId] += length;
        entries.push_back(Json{{"id", entry.id.text()},
                               {"taskId", entry.taskId.text()},
                               {"taskTitle", titleOf(store, entry.taskId)},
                               {"startedAt", entry.startedAt.text()},
                               {"endedAt", optional(entry.endedAt)},
                               {"durationMs", length},
                               {"running", entry.isRunning()}});
    }
    Json switches = Json::array();
    for (const auto& log : store.switchLogsOn(day)) {
        switches.push_back(Json{{"id", log.id.text()},
                                {"fromTaskId", optional(log.fromTaskId)},
                                {"toTaskId", log.toTaskId.text()},
                                {"toTaskTitle", titleOf(store, log.toTaskId)},
                                {"switchedAt", log.switchedAt.text()},
                                {"reason", log.reason ? Json(*log.reason) : Json()},
                                {"source", log.source}});
    }
    Json tasks = Json::array();
    for (const auto& id : order) {
        tasks.push_back(Json{{"taskId", id.text()}, {"taskTitle", titleOf(store, id)}, {"totalMs", sums[id]}});
    }
    return dumped(
        Json{{"day", day.text()}, {"totalMs", total}, {"entries", entries}, {"switches", switches}, {"tasks", tasks}});
}

}  // namespace

ReportForm formOf(const CommandRequest& request) {
    if (request.has("json")) {
        return ReportForm::json;
    }
    return request.has("colour") ? ReportForm::coloured : ReportForm::plain;
}

std::string statusReport(const ReportView& view, ReportForm form) {
    const auto& store = view.store;
    const TaskModel* task = store.activeTask();
    const TimeEntry* entry = store.runningEntry();
    const std::int64_t today = todayMs(view);
    const auto started = entry == nullptr ? std::nullopt : entry->startedAt.instant();
    const std::int64_t elapsed = started ? (view.clock.now() - *started).count() : 0;
    if (form == ReportForm::json) {
        Json running;
        if (task != nullptr) {
            running = Json{{"taskId", task->id.text()},
                           {"taskTitle", task->title},
                           {"project", projectJson(store, task->tagId)},
                           {"startedAt", entry == nullptr ? Json() : Json(entry->startedAt.text())},
                           {"elapsedMs", elapsed}};
        }
        const auto undoable = store.undoable();
        const auto problem = store.saveProblem();
        return dumped(Json{{"running", running},
                           {"todayMs", today},
                           {"undoable", undoable ? Json(*undoable) : Json()},
                           {"problem", problem ? Json(std::string(describe(*problem))) : Json()}});
    }
    const Palette palette(form == ReportForm::coloured);
    const auto todayLine = palette.faint(fmt::format("today {}", durationWords(today)));
    if (task != nullptr) {
        const auto project = projectName(store, task->tagId);
        return fmt::format("{} {}{}   {}{}   {}\n", palette.running("●"), palette.strong(oneLine(task->title)),
                           project.empty() ? "" : fmt::format("  [{}]", oneLine(project)), durationWords(elapsed),
                           started ? " since " + clockWords(view.timeZone.timeOf(*started)) : "", todayLine);
    }
    const TaskModel* last = store.taskToResume();
    return fmt::format("{} Nothing is running.   {}\n{}\n", palette.faint("○"), todayLine,
                       last == nullptr ? "  Begin with: tolvik start TITLE"
                                       : fmt::format("  Go on with “{}”: tolvik resume", oneLine(last->title)));
}

std::string dayReport(const ReportView& view, DayKey day, ReportForm form) {
    const auto entries = view.store.entriesOn(day);
    const auto stretches = stretchesOf(entries, view, day);
    if (form == ReportForm::json) {
        return dayJson(view, day, stretches);
    }
    const Palette palette(form == ReportForm::coloured);
    if (stretches.empty()) {
        return fmt::format("{}\n  No time tracked on this day.\n", palette.strong(dayWords(day)));
    }
    constexpr std::size_t titleWidth = 44;
    std::int64_t total = 0;
    std::vector<Identifier> order;
    std::unordered_map<Identifier, std::int64_t> sums;
    std::string lines;
    // A switch and the entry that it began carry the same instant.
    std::map<std::pair<Identifier, std::string>, std::string> reasons;
    for (const auto& log : view.store.switchLogsOn(day)) {
        if (log.reason) {
            reasons[{log.toTaskId, log.switchedAt.text()}] = *log.reason;
        }
    }
    for (const auto& stretch : stretches) {
        const auto length = (stretch.to - stretch.from).count();
        const auto& id = stretch.entry->taskId;
        total += length;
        if (!sums.contains(id)) {
            order.push_back(id);
        }
        sums[id] += length;
        const TaskModel* task = view.store.taskById(id);
        const auto project = projectName(view.store, task == nullptr ? std::nullopt : task->tagId);
        const auto until = stretch.running ? std::string("now  ")
                           : stretch.to == view.timeZone.startOf(day.plus(1))
                               ? std::string("24:00")
                               : clockWords(view.timeZone.timeOf(stretch.to));
        const auto reason = reasons.find({id, stretch.entry->startedAt.text()});
        std::string beside = project.empty() ? std::string() : fmt::format("  [{}]", oneLine(project));
        if (reason != reasons.end()) {
            beside += "  " + oneLine(reason->second);
        }
        auto title = padded(oneLine(titleOf(view.store, id)), titleWidth);
        if (beside.empty()) {
            title.erase(title.find_last_not_of(' ') + 1);
        }
        lines += fmt::format("  {} – {}  {:>10}  {}{}\n", clockWords(view.timeZone.timeOf(stretch.from)), until,
                             durationWords(length), stretch.running ? palette.running(title) : title,
                             beside.empty() ? "" : palette.faint(beside));
    }
    std::string text = fmt::format("{}   {}\n{}", palette.strong(dayWords(day)), durationWords(total), lines);
    if (order.size() > 1) {
        std::ranges::stable_sort(order, [&](const auto& a, const auto& b) { return sums[a] > sums[b]; });
        text += "\n";
        for (const auto& id : order) {
            auto title = padded(oneLine(titleOf(view.store, id)), titleWidth);
            title.erase(title.find_last_not_of(' ') + 1);
            text += fmt::format("  {:>13}  {:>10}  {}\n", "", durationWords(sums[id]), title);
        }
    }
    return text;
}

std::string taskReport(const ReportView& view, const std::vector<TaskInfo>& candidates, bool finished,
                       ReportForm form) {
    std::unordered_map<Identifier, int> positions;
    for (const auto& candidate : candidates) {
        positions.emplace(candidate.id, candidate.position);
    }
    std::vector<const TaskModel*> tasks;
    for (const auto& task : view.store.tasks()) {
        if (finished || task.isOpen() || positions.contains(task.id)) {
            tasks.push_back(&task);
        }
    }
    const auto positionOf = [&](const TaskModel& task) {
        const auto found = positions.find(task.id);
        return found == positions.end() ? std::nullopt : std::optional(found->second);
    };
    std::ranges::stable_sort(tasks, [&](const TaskModel* a, const TaskModel* b) {
        const auto rank = [&](const TaskModel* task) {
            return positionOf(*task).value_or(std::numeric_limits<int>::max());
        };
        if (rank(a) != rank(b)) {
            return rank(a) < rank(b);
        }
        if (a->isOpen() != b->isOpen()) {
            return a->isOpen();
        }
        return b->updatedAt < a->updatedAt;
    });
    if (form == ReportForm::json) {
        Json json = Json::array();
        for (const auto* one : tasks) {
            const auto& task = *one;
            const auto position = positionOf(task);
            json.push_back(Json{{"id", task.id.text()},
                                {"title", task.title},
                                {"position", position ? Json(*position) : Json()},
                                {"isActive", task.isActive},
                                {"status", task.status},
                                {"project", projectJson(view.store, task.tagId)},
                                {"updatedAt", task.updatedAt.text()}});
        }
        return dumped(json);
    }
    if (tasks.empty()) {
        return "No open tasks. Begin with: tolvik start TITLE\n";
    }
    const Palette palette(form == ReportForm::coloured);
    std::string text;
    for (const auto* one : tasks) {
        const auto& task = *one;
        const auto position = positionOf(task);
        const auto project = projectName(view.store, task.tagId);
        const auto mark = task.isActive ? palette.running("●") : task.isOpen() ? std::string(" ") : std::string("✓");
        const auto title = oneLine(task.title);
        text += fmt::format("{:>4} {} {}{}\n", position ? std::to_string(*position) : "", mark,
                            task.isActive   ? palette.strong(title)
                            : task.isOpen() ? title
                                            : palette.faint(title),
                            project.empty() ? "" : palette.faint(fmt::format("  [{}]", oneLine(project))));
    }
    return text;
}

std::string projectReport(const ReportView& view, const std::optional<Identifier>& current, ReportForm form) {
    if (form == ReportForm::json) {
        Json json = Json::array();
        for (const auto& project : view.store.tags()) {
            json.push_back(Json{{"id", project.id.text()},
                                {"name", project.name},
                                {"colorIndex", project.colorIndex},
                                {"isCurrent", current == project.id}});
        }
        return dumped(json);
    }
    if (view.store.tags().empty()) {
        return "No projects. Make one with: tolvik project add NAME\n";
    }
    std::string text;
    for (const auto& project : view.store.tags()) {
        text += oneLine(project.name) + (current == project.id ? "   (current)" : "") + "\n";
    }
    return text;
}

Result<DayKey, std::string> dayNamed(std::string_view text, DayKey today) {
    if (text == "today") {
        return today;
    }
    if (text == "yesterday") {
        return today.plus(-1);
    }
    if (const auto day = DayKey::parse(text)) {
        return *day;
    }
    int back = 0;
    const auto digits = text.starts_with('-') ? text.substr(1) : text;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), back);
    if (error == std::errc{} && end == digits.data() + digits.size() && back >= 0 && back < 100'000) {
        return today.plus(-back);
    }
    return failure(fmt::format("\"{}\" is no day. Write yyyy-mm-dd, today, yesterday or a number of days back.", text));
}

}  // namespace tolvik
