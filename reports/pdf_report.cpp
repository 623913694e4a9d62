#include "reports/pdf_report.h"

#include <array>
#include <date/date.h>
#include <fmt/format.h>
#include <memory>

#include "reports/project_summary.h"

namespace tolvik {
namespace {

constexpr std::array<std::string_view, 12> kMonths{"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                   "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

/// "1:05:30". Seconds, so that the rows add up to the total as far as it can be seen.
std::string hours(std::int64_t ms) {
    const std::int64_t seconds = ms / 1000;
    return fmt::format("{}:{:02}:{:02}", seconds / 3600, seconds / 60 % 60, seconds % 60);
}

std::string clock(Timestamp timestamp, const TimeZone& zone) {
    const auto instant = timestamp.instant();
    if (!instant) {
        return {};
    }
    const LocalTime time = zone.timeOf(*instant);
    return fmt::format("{:02}:{:02}", time.hour, time.minute);
}

/// "00:30 +1" on the day after the entry's.
std::string endClock(const Resolved& row, const TimeZone& zone) {
    std::string text = clock(row.endedAt, zone);
    const auto day = startDay(*row.entry, zone);
    const auto end = row.endedAt.instant();
    const int later = day && end ? zone.dayOf(*end).days - day->days : 0;
    return later == 0 ? text : text + fmt::format(" {:+}", later);
}

/// "Nov 10, 2026 at 12:00 PM"
std::string exportMoment(Instant now, const TimeZone& zone) {
    const date::year_month_day day{date::sys_days{date::days{zone.dayOf(now).days}}};
    const LocalTime time = zone.timeOf(now);
    return fmt::format("{} {}, {} at {}:{:02} {}", kMonths[static_cast<unsigned>(day.month()) - 1],
                       static_cast<unsigned>(day.day()), static_cast<int>(day.year()), (time.hour + 11) % 12 + 1,
                       time.minute, time.hour < 12 ? "AM" : "PM");
}

std::string counted(std::size_t count, std::string_view one, std::string_view many) {
    return fmt::format("{} {}", count, count == 1 ? one : many);
}

}  // namespace

PdfReport makePdfReport(const ExportInput& input) {
    const auto rows = std::make_shared<const std::vector<Resolved>>(resolveRows(input));
    const TimeZone& zone = input.zone;
    PdfReport report;
    report.title = fmt::format("Tolvik AI Export, {} to {}", input.days.first.text(), input.days.last.text());
    report.heading = "Time tracking export";
    report.exported = "Exported " + exportMoment(input.now, zone);
    report.entriesTitle = "Entries";
    report.columns = {"DATE", "TASK", "START", "END", "DURATION"};
    report.empty = "No entries in this range.";
    report.projectsTitle = "Projects";
    report.footer = "Page ";
    report.rowCount = rows->size();
    report.rowAt = [rows, &zone, days = std::make_shared<RowDays>(zone)](std::size_t index) {
        const Resolved& row = (*rows)[index];
        return PdfRow{std::string(days->textOf(*row.entry)), std::string(row.title()),
                      clock(row.entry->startedAt, zone), endClock(row, zone), hours(row.durationMs)};
    };
    std::int64_t total = 0;
    for (const ProjectSummary& summary : summarize(*rows)) {
        total += summary.totalMs;
        PdfProject project;
        project.title = summary.project == nullptr ? "Untagged" : summary.project->name;
        project.counts =
            fmt::format("{} total · {} · {}", hours(summary.totalMs), counted(summary.entryCount(), "entry", "entries"),
                        counted(summary.tasks.size(), "task", "tasks"));
        for (const TaskSummary& task : summary.tasks) {
            project.tasks.push_back({task.task == nullptr ? "Unknown" : task.task->title, hours(task.totalMs)});
        }
        report.projects.push_back(std::move(project));
    }
    report.total = {"", "", "", "Total", hours(total)};
    return report;
}

}  // namespace tolvik
