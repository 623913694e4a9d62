#include "commands/report_command.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "commands/answers.h"
#include "commands/log_report.h"
#include "commands/report_words.h"
#include "commands/task_lookup.h"
#include "commands/words.h"

namespace tolvik {
namespace {

using Json = nlohmann::ordered_json;

/// The locale of dates: the first of these variables that is set and not empty.
std::string dateLocale() {
    for (const char* variable : {"LC_ALL", "LC_TIME", "LANG"}) {
        if (const char* value = std::getenv(variable); value != nullptr && *value != '\0') {
            return value;
        }
    }
    return {};
}

Result<ProjectFilter, CommandResponse> filterOf(const AppStore& store, const CommandRequest& request) {
    const auto name = request.option("project");
    if (name && request.has("no-project")) {
        return failure(refusal(request, ExitCode::usage, "--project and --no-project exclude each other."));
    }
    if (!name) {
        return request.has("no-project") ? ProjectFilter{ProjectFilter::Unassigned{}} : ProjectFilter{};
    }
    const auto project = lookUpProject(store.tags(), *name);
    if (project.found != nullptr) {
        return ProjectFilter{ProjectFilter::Tag{project.found->id}};
    }
    if (project.candidates.empty()) {
        return failure(
            refusal(request, ExitCode::nothing,
                    fmt::format("There is no project “{}”. All of them: tolvik project list", oneLine(*name))));
    }
    std::string why = fmt::format("“{}” fits several projects. Write more of the name, or the id:", oneLine(*name));
    for (const TagModel* candidate : project.candidates) {
        why += fmt::format("\n  {}  {}", candidate->id.text(), oneLine(candidate->name));
    }
    return failure(refusal(request, ExitCode::nothing, why));
}

}  // namespace

Result<ReportQuery, std::string> reportQueryOf(const CommandRequest& request, DayKey today) {
    ReportQuery query;
    query.firstWeekday = firstWeekdayOf(dateLocale());
    const auto name = request.option("range");
    const auto from = request.option("from");
    const auto to = request.option("to");
    if (!from && to) {
        return failure(std::string("--to needs --from: the first day of the range."));
    }
    if (!from) {
        const auto range = reportRangeNamed(name.value_or("month"));
        if (!range || *range == ReportRange::custom) {
            return failure(fmt::format(
                "\"{}\" is no range. Write month, quarter, half or year; or --from DAY --to DAY.", oneLine(*name)));
        }
        query.range = *range;
        query.days = daysOf(*range, today, query.firstWeekday);
        return query;
    }
    if (name && *name != nameOf(ReportRange::custom)) {
        return failure(std::string("--range and --from exclude each other."));
    }
    const auto first = dayNamed(*from, today);
    const auto last = dayNamed(to.value_or("today"), today);
    if (!first || !last) {
        return failure(first ? last.error() : first.error());
    }
    if (*last < *first) {
        return failure(fmt::format("The range ends on {}, before it begins on {}.", last->text(), first->text()));
    }
    query.range = ReportRange::custom;
    query.days = {*first, *last};
    return query;
}

Result<WholeLog, CommandResponse> takeLogPart(const AppStore& store, DaySpan days, const CommandRequest& request) {
    const auto filter = filterOf(store, request);
    if (!filter) {
        return failure(filter.error());
    }
    WholeLog part;
    part.tags = store.tags();
    part.timeEntries = store.entriesStarting(days.first, days.last);
    const RecordLookup records = lookupIn(store);
    // Whether a task's entries are wanted.
    std::unordered_map<Identifier, bool> tasks;
    std::erase_if(part.timeEntries, [&](const TimeEntry& entry) {
        const auto [wanted, isNew] = tasks.try_emplace(entry.taskId);
        if (isNew) {
            const TaskModel* task = records.task(entry.taskId);
            const TagModel* project = records.projectOf(task);
            wanted->second = filter->accepts(project == nullptr ? std::nullopt : std::optional(project->id));
            if (wanted->second && task != nullptr) {
                part.tasks.push_back(*task);
            }
        }
        return !wanted->second;
    });
    return part;
}

CommandResponse runLogPart(const AppStore& store, const CommandRequest& request) {
    const auto first = DayKey::parse(request.arguments.front());
    const auto last = DayKey::parse(request.arguments.back());
    if (!first || !last || *last < *first) {
        return refusal(request, ExitCode::usage, "The days are not two days.");
    }
    auto part = takeLogPart(store, {*first, *last}, request);
    if (!part) {
        return std::move(part.error());
    }
    CommandResponse response;
    appendWholeLog(response.out, *part);
    return response;
}

namespace {

/// How wide the report is written. The error is for the user.
Result<std::size_t, std::string> columnsOf(const CommandRequest& request) {
    constexpr std::size_t narrowest = 40;
    constexpr std::size_t widest = 160;
    const auto text = request.option("width").value_or("80");
    std::size_t width = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), width);
    if (error != std::errc{} || end != text.data() + text.size() || width == 0) {
        return failure(fmt::format("\"{}\" is no width. Write a number of columns.", oneLine(text)));
    }
    return std::clamp(width, narrowest, widest);
}

}  // namespace

CommandResponse runReport(const AppStore& store, ReportBook& book, const CommandRequest& request) {
    auto query = reportQueryOf(request, store.today());
    if (!query) {
        return refusal(request, ExitCode::usage, query.error());
    }
    auto filter = filterOf(store, request);
    if (!filter) {
        return std::move(filter.error());
    }
    query->filter = *filter;
    const auto columns = columnsOf(request);
    if (!columns) {
        return refusal(request, ExitCode::usage, columns.error());
    }
    const auto report = book.report(*query);
    if (request.has("json")) {
        return {ExitCode::done, reportJson(*report), {}};
    }
    const auto* tag = std::get_if<ProjectFilter::Tag>(&filter->choice);
    const TagModel* project = tag == nullptr ? nullptr : store.tagById(tag->id);
    return {ExitCode::done,
            reportText(*report, project == nullptr ? std::string() : project->name,
                       {.columns = *columns, .isColoured = request.has("colour")}),
            {}};
}

}  // namespace tolvik
