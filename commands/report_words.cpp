#include "commands/report_words.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "commands/words.h"

namespace tolvik {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t kMostTasks = 20;
constexpr std::size_t kDurationWidth = 13;

/// Colours of the terminal's 256 for the tones of tasks and projects; the last is for time without a project.
constexpr std::array<int, 13> kTones{37, 136, 63, 141, 35, 168, 173, 74, 107, 203, 99, 180, 245};

std::string painted(std::string_view text, std::int64_t tone, const ReportPaper& paper) {
    if (!paper.isColoured || text.empty()) {
        return std::string(text);
    }
    const auto place = tone < 0 ? kTones.size() - 1 : static_cast<std::size_t>(tone) % (kTones.size() - 1);
    return fmt::format("\x1B[38;5;{}m{}\x1B[0m", kTones[place], text);
}

std::string repeated(std::string_view text, std::size_t count) {
    std::string out;
    for (std::size_t i = 0; i < count; ++i) {
        out += text;
    }
    return out;
}

/// A bar of whole cells and, where it has one colour, of eighths.
std::string bar(const Bucket& bucket, std::int64_t most, std::size_t cells, const ReportPaper& paper) {
    static constexpr std::array<std::string_view, 8> eighths{"", "▏", "▎", "▍", "▌", "▋", "▊", "▉"};
    if (most <= 0 || bucket.totalMs <= 0) {
        return std::string(cells, ' ');
    }
    const auto length = [&](std::int64_t ms, double steps) {
        return static_cast<std::size_t>(
            std::lround(static_cast<double>(cells) * steps * static_cast<double>(ms) / static_cast<double>(most)));
    };
    std::string out;
    std::size_t used = 0;
    if (paper.isColoured) {
        std::int64_t sum = 0;
        for (const BucketSegment& segment : bucket.segments) {
            sum += segment.ms;
            const std::size_t end = length(sum, 1);
            out += painted(repeated("█", end - used), segment.tone, paper);
            used = end;
        }
        if (used == 0) {
            out = painted(eighths[1], bucket.segments.front().tone, paper);
            used = 1;
        }
    } else {
        const std::size_t parts = std::max<std::size_t>(1, length(bucket.totalMs, 8));
        out = repeated("█", parts / 8) + std::string(eighths[parts % 8]);
        used = (parts + 7) / 8;
    }
    return out + std::string(cells - used, ' ');
}

std::string chart(const ReportData& report, const ReportPaper& paper) {
    std::int64_t most = 0;
    std::size_t labels = 0;
    for (const Bucket& bucket : report.buckets) {
        most = std::max(most, bucket.totalMs);
        labels = std::max(labels, displayWidth(bucket.label));
    }
    const std::size_t cells = paper.columns - labels - kDurationWidth - 6;
    const Palette palette(paper.isColoured);
    std::string out = fmt::format("{}\n", palette.strong(chartTitle(report.range, report.spanDays)));
    for (const Bucket& bucket : report.buckets) {
        const auto time = bucket.totalMs == 0 ? std::string() : durationWords(bucket.totalMs);
        auto line = fmt::format("  {}{}  {}  {:>{}}", std::string(labels - displayWidth(bucket.label), ' '),
                                bucket.label, bar(bucket, most, cells, paper), time, kDurationWidth);
        line.erase(line.find_last_not_of(' ') + 1);
        out += line + "\n";
    }
    return out;
}

/// One line of a table: a mark in the tone's colour, the name, the time and its share.
std::string tableLine(const std::string& name, std::int64_t tone, std::int64_t ms, int percent,
                      const ReportPaper& paper) {
    const std::size_t names = paper.columns - kDurationWidth - 11;
    return fmt::format("  {}{}  {:>{}} {:>3} %\n", paper.isColoured ? painted("■ ", tone, paper) : std::string(),
                       padded(oneLine(name), names - (paper.isColoured ? 2 : 0)), durationWords(ms), kDurationWidth,
                       percent);
}

Json bucketJson(const Bucket& bucket) {
    Json segments = Json::array();
    for (const BucketSegment& segment : bucket.segments) {
        segments.push_back(Json{{"tone", segment.tone}, {"ms", segment.ms}});
    }
    return Json{{"id", bucket.id},     {"label", bucket.label}, {"totalMs", bucket.totalMs},
                {"from", bucket.from}, {"to", bucket.to},       {"segments", segments}};
}

Json idJson(const std::optional<Identifier>& id) {
    return id ? Json(id->text()) : Json();
}

}  // namespace

std::string reportText(const ReportData& report, std::string_view project, const ReportPaper& paper) {
    const Palette palette(paper.isColoured);
    std::string out =
        fmt::format("{}   {} – {}{}\n", palette.strong(durationWords(report.totalMs)), longDate(report.days.first),
                    longDate(report.days.last), project.empty() ? "" : "   [" + oneLine(project) + "]");
    if (const auto message = report.capMessage(); !message.empty()) {
        out += fmt::format("{}\n", palette.faint(message));
    }
    if (report.entries.empty()) {
        return out + "No entries in this range.\n";
    }
    out += "\n" + chart(report, paper);
    if (project.empty()) {
        out += fmt::format("\n{}\n", palette.strong("By project"));
        for (const TagTotal& tag : report.byTag) {
            out += tableLine(tag.tagName, tag.colorIndex, tag.totalMs, tag.percent, paper);
        }
    }
    out += fmt::format("\n{}\n", palette.strong("By task"));
    for (std::size_t i = 0; i < std::min(kMostTasks, report.byTask.size()); ++i) {
        const TaskTotal& task = report.byTask[i];
        out += tableLine(task.title, task.colorIndex, task.totalMs, task.percent, paper);
    }
    if (report.byTask.size() > kMostTasks) {
        out += palette.faint(fmt::format("  … and {} more: tolvik report --json\n", report.byTask.size() - kMostTasks));
    }
    return out;
}

std::string reportJson(const ReportData& report) {
    Json buckets = Json::array();
    for (const Bucket& bucket : report.buckets) {
        buckets.push_back(bucketJson(bucket));
    }
    Json byTag = Json::array();
    for (const TagTotal& tag : report.byTag) {
        byTag.push_back(Json{{"tagId", idJson(tag.tagId)},
                             {"tagName", tag.tagName},
                             {"colorIndex", tag.colorIndex},
                             {"totalMs", tag.totalMs},
                             {"percent", tag.percent}});
    }
    Json byTask = Json::array();
    for (const TaskTotal& task : report.byTask) {
        byTask.push_back(Json{{"taskId", task.taskId.text()},
                              {"title", task.title},
                              {"colorIndex", task.colorIndex},
                              {"totalMs", task.totalMs},
                              {"percent", task.percent},
                              {"tagId", idJson(task.tagId)}});
    }
    const auto average = report.averageMs();
    const auto message = report.capMessage();
    const Json json{{"range", nameOf(report.range)},
                    {"from", report.days.first.text()},
                    {"to", report.days.last.text()},
                    {"spanDays", report.spanDays},
                    {"strategy", nameOf(report.strategy)},
                    {"title", chartTitle(report.range, report.spanDays)},
                    {"entries", report.entries.size()},
                    {"totalMs", report.totalMs},
                    {"averageMs", average ? Json(*average) : Json()},
                    {"message", message.empty() ? Json() : Json(message)},
                    {"buckets", buckets},
                    {"byTag", byTag},
                    {"byTask", byTask}};
    return json.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace tolvik
