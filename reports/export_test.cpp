#include <cstdio>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <nlohmann/json.hpp>

#include "core/record_json.h"
#include "reports/export_text.h"
#include "reports/pdf_report.h"
#include "tests/fakes/store_fixture.h"

namespace tolvik {
namespace {

std::string fileText(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file.is_open()) << path;
    return {std::istreambuf_iterator<char>(file), {}};
}

/// Compares with a file of tests/golden; with TOLVIK_WRITE_GOLDEN set, writes it instead and fails.
void expectGolden(const std::string& name, const std::string& text) {
    const std::string path = std::string(GOLDEN_FOLDER) + "/" + name;
    if (std::getenv("TOLVIK_WRITE_GOLDEN") != nullptr) {
        std::ofstream(path, std::ios::binary) << text;
        ADD_FAILURE() << "wrote " << path;
        return;
    }
    EXPECT_EQ(text, fileText(path)) << name;
}

/// A log of so many entries before the end of November, of odd lengths.
WholeLog longLog(std::size_t entries) {
    FakeRandom random(7);
    WholeLog log;
    for (int i = 0; i < 40; ++i) {
        TaskModel task;
        task.id = random.identifier();
        task.title = "task " + std::to_string(i);
        task.status = "open";
        log.tasks.push_back(task);
    }
    for (std::size_t i = 0; i < entries; ++i) {
        TimeEntry entry;
        entry.id = random.identifier();
        entry.taskId = log.tasks[i % log.tasks.size()].id;
        const Instant start =
            utc("2026-11-30T12:00:00.000Z") - Millis{static_cast<std::int64_t>(entries - i) * 7'000'000};
        entry.durationMs = static_cast<std::int64_t>(random.next() % 7'000'000);
        entry.startedAt = entry.createdAt = Timestamp(start);
        entry.endedAt = Timestamp(start + Millis{*entry.durationMs});
        log.timeEntries.push_back(entry);
    }
    return log;
}

class ExportTest : public ::testing::Test {
protected:
    void load(const WholeLog& log) {
        log_ = log;
        records_ = {[this](const Identifier& id) {
                        const auto found = std::ranges::find(log_.tasks, id, &TaskModel::id);
                        return found == log_.tasks.end() ? nullptr : &*found;
                    },
                    [this](const Identifier& id) {
                        const auto found = std::ranges::find(log_.tags, id, &TagModel::id);
                        return found == log_.tags.end() ? nullptr : &*found;
                    }};
    }
    void loadSample() {
        RecordDecoder decoder;
        const auto log = decoder.wholeLog(fileText(std::string(GOLDEN_FOLDER) + "/export-log.json"));
        ASSERT_TRUE(log) << log.error();
        load(*log);
    }
    [[nodiscard]] ExportInput input() const {
        return {
            log_.timeEntries, records_, {day("2026-11-01"), day("2026-11-30")}, utc("2026-11-10T10:00:00.000Z"), zone_};
    }
    template <class Write>
    std::string written(const Write& write) {
        std::string text;
        const auto done = write(input(), ExportOutput{[&](std::string_view bytes) {
                                                          largest_ = std::max(largest_, bytes.size());
                                                          text += bytes;
                                                          return true;
                                                      },
                                                      {}});
        EXPECT_TRUE(done.has_value());
        return text;
    }

    NamedTimeZone zone_{"Europe/Helsinki"};
    WholeLog log_;
    RecordLookup records_;
    std::size_t largest_ = 0;
};

std::string printed(const PdfRow& row) {
    return row.day + "\t" + row.task + "\t" + row.start + "\t" + row.end + "\t" + row.duration + "\n";
}

std::string printed(const PdfReport& report) {
    std::string out = report.title + "\n" + report.heading + "\n" + report.exported + "\n" + report.entriesTitle +
                      "\n" + printed(report.columns);
    for (std::size_t i = 0; i < report.rowCount; ++i) {
        out += printed(report.rowAt(i));
    }
    out += printed(report.total) + report.projectsTitle + "\n";
    for (const PdfProject& project : report.projects) {
        out += project.title + "\t" + project.counts + "\n";
        for (const PdfTask& task : project.tasks) {
            out += "  " + task.title + "\t" + task.total + "\n";
        }
    }
    return out;
}

TEST_F(ExportTest, WritesWhatTheGoldenFilesHold) {
    loadSample();
    expectGolden("export.csv", written(writeCsv));
    expectGolden("export.json", written(writeJson));
    expectGolden("export-pages.txt", printed(makePdfReport(input())));
}

TEST_F(ExportTest, WritesAnEmptyRange) {
    load({});
    EXPECT_EQ(written(writeCsv), "date,project,task_title,task_status,start_time,end_time,duration_minutes");
    expectGolden("export-empty.json", written(writeJson));
    const auto report = makePdfReport(input());
    EXPECT_EQ(report.rowCount, 0U);
    EXPECT_EQ(report.empty, "No entries in this range.");
    EXPECT_TRUE(report.projects.empty());
}

TEST_F(ExportTest, NumbersAreTheCLibrarysAndTheJsonReadsBack) {
    load(longLog(3000));
    const auto json = nlohmann::json::parse(written(writeJson));
    EXPECT_EQ(json["entries_count"], 3000);
    const std::string csv = written(writeCsv);
    std::size_t line = csv.find('\n');
    for (const auto& row : json["entries"]) {
        ASSERT_NE(line, std::string::npos);
        const std::size_t end = csv.find('\n', line + 1);
        std::array<char, 32> minutes{};
        (void)std::snprintf(minutes.data(), minutes.size(), ",%.1f", row["duration_ms"].get<double>() / 60000);
        EXPECT_TRUE(csv.substr(line, end - line).ends_with(minutes.data()));
        EXPECT_EQ(row["duration_minutes"].get<double>(), row["duration_ms"].get<double>() / 60000);
        line = end;
    }
    EXPECT_EQ(line, std::string::npos);
}

TEST_F(ExportTest, StreamsAndStopsWhenAsked) {
    load(longLog(5000));
    const std::string whole = written(writeJson);
    EXPECT_GT(whole.size(), 20 * largest_);
    EXPECT_LT(largest_, 70'000U);

    std::size_t taken = 0;
    std::vector<std::size_t> heard;
    const ExportOutput cancelled{[&](std::string_view bytes) {
                                     taken += bytes.size();
                                     return true;
                                 },
                                 [&](std::size_t done, std::size_t rows) {
                                     EXPECT_EQ(rows, 5000U);
                                     heard.push_back(done);
                                     return heard.size() < 3;
                                 }};
    EXPECT_EQ(writeCsv(input(), cancelled).error(), ExportError::cancelled);
    EXPECT_EQ(heard.size(), 3U);
    EXPECT_TRUE(std::ranges::is_sorted(heard));
    EXPECT_LT(taken, whole.size() / 2);

    int calls = 0;
    const ExportOutput full{[&](std::string_view) { return ++calls < 2; }, {}};
    EXPECT_EQ(writeJson(input(), full).error(), ExportError::output);
    EXPECT_EQ(calls, 2);
}

}  // namespace
}  // namespace tolvik
