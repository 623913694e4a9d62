#include "reports/export_text.h"

#include <array>
#include <charconv>
#include <fmt/format.h>
#include <iterator>

#include "base/json_writer.h"

namespace tolvik {
namespace {

constexpr double kMinuteMs = 60'000;

double minutes(std::int64_t ms) {
    return static_cast<double>(ms) / kMinuteMs;
}

void appendTextCell(std::string& out, std::string_view text) {
    out += '"';
    if (!text.empty() && std::string_view("=+-@\t\r").contains(text.front())) {
        out += '\'';
    }
    for (std::size_t quote = 0; (quote = text.find('"')) != std::string_view::npos;) {
        out.append(text.substr(0, quote + 1)) += '"';
        text.remove_prefix(quote + 1);
    }
    out.append(text) += '"';
}

/// A member of a row's object.
void appendKey(std::string& out, std::string_view key) {
    out.append(out.ends_with('{') ? "\n      \"" : ",\n      \"").append(key).append("\": ");
}

void appendMember(std::string& out, std::string_view key, std::string_view text) {
    appendKey(out, key);
    appendJsonString(out, text);
}

template <class Number>
void appendNumber(std::string& out, std::string_view key, Number number) {
    std::array<char, 32> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
    appendKey(out, key);
    out.append(digits.data(), end);
}

void appendRow(std::string& out, const Resolved& row, std::string_view day) {
    const TimeEntry& entry = *row.entry;
    appendMember(out, "day", day);
    appendNumber(out, "duration_minutes", minutes(row.durationMs));
    appendNumber(out, "duration_ms", row.durationMs);
    appendMember(out, "ended_at", row.endedAt.text());
    appendMember(out, "id", entry.id.text());
    if (row.project != nullptr) {
        appendMember(out, "project_id", row.project->id.text());
        appendMember(out, "project_name", row.project->name);
    }
    appendMember(out, "started_at", entry.startedAt.text());
    appendMember(out, "task_id", entry.taskId.text());
    appendMember(out, "task_status", row.status());
    appendMember(out, "task_title", row.title());
}

}  // namespace

Result<void, ExportError> writeCsv(const ExportInput& input, const ExportOutput& output) {
    const auto rows = resolveRows(input);
    RowDays days(input.zone);
    ExportStream stream(output, rows.size());
    stream.text() = "date,project,task_title,task_status,start_time,end_time,duration_minutes";
    for (const Resolved& row : rows) {
        std::string& out = stream.text();
        (out += '\n').append(days.textOf(*row.entry)) += ',';
        if (row.project == nullptr) {
            out += R"("")";
        } else {
            appendTextCell(out, row.project->name);
        }
        appendTextCell(out += ',', row.title());
        (out += ',').append(row.status()) += ',';
        (out += row.entry->startedAt.text()) += ',';
        out += row.endedAt.text();
        fmt::format_to(std::back_inserter(out), ",{:.1f}", minutes(row.durationMs));
        if (!stream.rowDone()) {
            break;
        }
    }
    return stream.finish();
}

Result<void, ExportError> writeJson(const ExportInput& input, const ExportOutput& output) {
    const auto rows = resolveRows(input);
    RowDays days(input.zone);
    ExportStream stream(output, rows.size());
    stream.text() =
        fmt::format("{{\n  \"date_range\": {{\n    \"from\": \"{}\",\n    \"to\": \"{}\"\n  }},\n  \"entries\": [",
                    input.days.first.text(), input.days.last.text());
    bool isFirst = true;
    for (const Resolved& row : rows) {
        std::string& out = stream.text();
        out += isFirst ? "\n    {" : ",\n    {";
        isFirst = false;
        appendRow(out, row, days.textOf(*row.entry));
        out += "\n    }";
        if (!stream.rowDone()) {
            break;
        }
    }
    stream.text() += fmt::format("{}],\n  \"entries_count\": {},\n  \"exported_at\": \"{}\"\n}}", isFirst ? "" : "\n  ",
                                 rows.size(), formatInstant(input.now));
    return stream.finish();
}

}  // namespace tolvik
