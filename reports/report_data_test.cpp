#include "reports/report_data.h"

#include <gtest/gtest.h>
#include <map>
#include <numeric>
#include <rapidcheck/gtest.h>

#include "tests/fakes/store_fixture.h"

namespace tolvik {
namespace {

constexpr std::int64_t kMinute = 60'000;
constexpr std::int64_t kHour = 60 * kMinute;

/// A few tasks and projects, and entries that a test adds.
struct SmallLog {
    SmallLog() {
        addTag("T1", "Zebra", 3);
        addTag("T2", "Apple", 4);
        addTask("A", "alpha", "T1", 0);
        addTask("B", "beta", "T2", 1);
        addTask("C", "gamma", "", 2);
        addTask("D", "delta", "T9", 5);  // its project is gone
    }
    void addTag(std::string_view id, std::string_view name, int colour) {
        TagModel tag;
        tag.id = Identifier(id);
        tag.name = name;
        tag.colorIndex = colour;
        tags.emplace(id, tag);
    }
    void addTask(std::string_view id, std::string_view title, std::string_view tag, int colour) {
        TaskModel task;
        task.id = Identifier(id);
        task.title = title;
        task.colorIndex = colour;
        if (!tag.empty()) {
            task.tagId = Identifier(tag);
        }
        tasks.emplace(id, task);
    }
    void add(std::string_view task, Instant start, std::int64_t ms) {
        TimeEntry entry;
        entry.id = Identifier("E" + std::to_string(entries.size()));
        entry.taskId = Identifier(task);
        entry.startedAt = Timestamp(start);
        entry.endedAt = Timestamp(start + Millis{ms});
        entry.durationMs = ms;
        entries.push_back(entry);
    }
    void addRunning(std::string_view task, Instant start) {
        add(task, start, 0);
        entries.back().endedAt.reset();
        entries.back().durationMs.reset();
    }
    [[nodiscard]] RecordLookup lookup() const {
        return {[this](const Identifier& id) {
                    const auto found = tasks.find(id.text());
                    return found == tasks.end() ? nullptr : &found->second;
                },
                [this](const Identifier& id) {
                    const auto found = tags.find(id.text());
                    return found == tags.end() ? nullptr : &found->second;
                }};
    }
    [[nodiscard]] ReportData report(const TimeZone& zone, DaySpan days, Instant now, ProjectFilter filter = {},
                                    ReportRange range = ReportRange::custom) const {
        return makeReport({range, days, filter, 1}, entries, lookup(), zone, now);
    }

    std::map<std::string, TaskModel, std::less<>> tasks;
    std::map<std::string, TagModel, std::less<>> tags;
    std::vector<TimeEntry> entries;
};

std::vector<std::int64_t> totals(const ReportData& report) {
    std::vector<std::int64_t> out;
    for (const Bucket& bucket : report.buckets) {
        out.push_back(bucket.totalMs);
    }
    return out;
}

std::vector<std::string> labels(const ReportData& report) {
    std::vector<std::string> out;
    for (const Bucket& bucket : report.buckets) {
        out.push_back(bucket.label);
    }
    return out;
}

const Instant kLater = utc("2027-01-01T00:00:00.000Z");

TEST(ReportData, CutsEntriesAtMidnightAndKeepsWhatPassesTheEnd) {
    const NamedTimeZone zone("Europe/Helsinki");  // UTC+2 in November
    SmallLog log;
    log.add("A", utc("2026-11-09T21:00:00.000Z"), 3 * kHour);  // 23:00, two hours into the 10th
    log.add("A", utc("2026-11-11T21:30:00.000Z"), 2 * kHour);  // 23:30 on the last day
    log.add("A", utc("2026-11-08T21:00:00.000Z"), 4 * kHour);  // starts before the range
    log.add("A", utc("2026-11-11T22:00:00.000Z"), kHour);      // starts after it
    const auto report = log.report(zone, {day("2026-11-09"), day("2026-11-11")}, kLater);
    EXPECT_EQ(totals(report), (std::vector<std::int64_t>{kHour, 2 * kHour, 2 * kHour}));
    EXPECT_EQ(labels(report), (std::vector<std::string>{"Mon", "Tue", "Wed"}));
    EXPECT_EQ(report.totalMs, 5 * kHour);
    EXPECT_EQ(report.entries.size(), 2U);
    EXPECT_EQ(report.spanDays, 3);
}

TEST(ReportData, ShowsDaysOfOddLengthTruthfully) {
    struct Row {
        const char* zone;
        const char* day;
        std::size_t buckets;
        double hours;
    };
    const Row rows[] = {{"Europe/Helsinki", "2026-03-29", 23, 23},
                        {"Europe/Helsinki", "2026-10-25", 25, 25},
                        {"Australia/Lord_Howe", "2026-10-04", 24, 23.5},
                        {"Australia/Lord_Howe", "2026-04-05", 25, 24.5},
                        {"Asia/Kathmandu", "2026-04-05", 24, 24}};
    for (const Row& row : rows) {
        const NamedTimeZone zone(row.zone);
        const DayKey key = day(row.day);
        SmallLog log;
        // The whole day, in one entry.
        const auto length = (zone.startOf(key.plus(1)) - zone.startOf(key)).count();
        EXPECT_EQ(static_cast<double>(length), row.hours * kHour);
        log.add("A", zone.startOf(key), length);
        const auto report = log.report(zone, {key, key}, kLater);
        EXPECT_EQ(report.buckets.size(), row.buckets) << row.zone << row.day;
        for (const Bucket& bucket : report.buckets) {
            EXPECT_TRUE(bucket.totalMs == kHour || bucket.totalMs == kHour / 2) << bucket.from;
            EXPECT_TRUE(bucket.label.ends_with(":00")) << bucket.label;
        }
        EXPECT_EQ(report.totalMs, length);
    }
    // The hour that comes twice has two bars of its own.
    const NamedTimeZone zone("Europe/Helsinki");
    const auto autumn = SmallLog().report(zone, {day("2026-10-25"), day("2026-10-25")}, kLater);
    EXPECT_EQ(autumn.buckets[3].label, "03:00");
    EXPECT_EQ(autumn.buckets[4].label, "03:00");
    EXPECT_EQ(autumn.buckets[4].from, "2026-10-25T01:00:00.000Z");
    EXPECT_NE(autumn.buckets[3].id, autumn.buckets[4].id);
}

TEST(ReportData, GroupsByProjectAndTask) {
    const NamedTimeZone zone("UTC");
    const Instant start = utc("2026-11-10T08:00:00.000Z");
    SmallLog log;
    log.add("A", start, 30 * kMinute);
    log.add("B", start + Millis{kHour}, 30 * kMinute);
    log.add("C", start + Millis{2 * kHour}, 20 * kMinute);
    log.add("D", start + Millis{3 * kHour}, 25 * kMinute);
    log.add("X", start + Millis{4 * kHour}, 15 * kMinute);  // its task is gone
    const DaySpan days{day("2026-11-10"), day("2026-11-11")};
    const auto report = log.report(zone, days, kLater);
    ASSERT_EQ(report.byTag.size(), 3U);
    EXPECT_EQ(report.byTag[0], (TagTotal{std::nullopt, "Untagged", kUntaggedTone, kHour, 50}));
    EXPECT_EQ(report.byTag[1], (TagTotal{Identifier("T2"), "Apple", 4, 30 * kMinute, 25}));  // a tie: by name
    EXPECT_EQ(report.byTag[2], (TagTotal{Identifier("T1"), "Zebra", 3, 30 * kMinute, 25}));
    ASSERT_EQ(report.byTask.size(), 5U);
    EXPECT_EQ(report.byTask[0].title, "alpha");
    EXPECT_EQ(report.byTask[4].title, "Unknown");
    EXPECT_EQ(report.byTask[2].tagId, std::nullopt);
    int percent = 0;
    for (const TaskTotal& task : report.byTask) {
        percent += task.percent;
    }
    EXPECT_EQ(percent, 100);
    EXPECT_EQ(report.buckets[0].segments,
              (std::vector<BucketSegment>{{kUntaggedTone, kHour, 0}, {4, 30 * kMinute, 1}, {3, 30 * kMinute, 2}}));

    const auto one = log.report(zone, days, kLater, {ProjectFilter::Tag{Identifier("T1")}});
    EXPECT_EQ(one.totalMs, 30 * kMinute);
    EXPECT_EQ(one.entries.size(), 1U);
    EXPECT_EQ(one.buckets[0].segments, (std::vector<BucketSegment>{{0, 30 * kMinute, 0}}));
    const auto none = log.report(zone, days, kLater, {ProjectFilter::Unassigned{}});
    EXPECT_EQ(none.totalMs, kHour);
    EXPECT_EQ(none.byTask.size(), 3U);
}

TEST(ReportData, CountsEntriesThatAreOdd) {
    const NamedTimeZone zone("UTC");
    const Instant now = utc("2026-11-10T12:00:00.000Z");
    SmallLog log;
    log.addRunning("A", now - Millis{kHour});
    log.addRunning("A", now + Millis{kHour});  // the clock was set back
    log.add("A", now, 0);
    log.entries.back().durationMs.reset();  // closed without a length: from its ends
    log.entries.back().endedAt = Timestamp(now + Millis{5 * kMinute});
    log.add("A", now, 10 * kMinute);  // its start is no instant, its day can be read
    log.entries.back().startedAt = Timestamp(std::string_view("2026-11-11 at noon"));
    log.add("A", now, 10 * kMinute);
    log.entries.back().startedAt = Timestamp(std::string_view("yesterday"));
    const auto report = log.report(zone, {day("2026-11-10"), day("2026-11-12")}, now);
    EXPECT_EQ(totals(report), (std::vector<std::int64_t>{kHour + 5 * kMinute, 10 * kMinute, 0}));
    EXPECT_EQ(report.entries.size(), 4U);
}

TEST(ReportData, AveragesWholeBucketsOnly) {
    const NamedTimeZone zone("UTC");
    SmallLog log;
    for (int week = 0; week < 13; ++week) {
        log.add("A", utc("2026-08-24T08:00:00.000Z") + std::chrono::days{7 * week}, (week == 12 ? 1 : 10) * kHour);
    }
    const DaySpan quarter{day("2026-08-24"), day("2026-11-19")};
    const auto report = log.report(zone, quarter, kLater, {}, ReportRange::quarter);
    EXPECT_EQ(report.buckets.size(), 13U);
    EXPECT_EQ(report.buckets[0].label, "24 Aug");
    EXPECT_EQ(report.averageMs(), 10 * kHour);
    // Cut on both sides: the first and the last week do not count.
    const auto custom = log.report(zone, {day("2026-08-26"), day("2026-11-19")}, kLater);
    EXPECT_FALSE(custom.buckets.front().isWhole);
    EXPECT_FALSE(custom.buckets.back().isWhole);
    EXPECT_EQ(custom.averageMs(), 10 * kHour);
}

// --- properties ------------------------------------------------------------------------------------------------------

const char* const kZones[] = {
    "UTC", "Europe/Helsinki", "America/New_York", "Australia/Lord_Howe", "America/St_Johns", "Pacific/Apia"};

/// A range around clock shifts, and entries that overlap, run, pass midnights and pass the range.
struct Case {
    std::string zone;
    DaySpan days;
    SmallLog log;
    Instant now;
};

Case anyCase() {
    Case c;
    c.zone = *rc::gen::elementOf(std::vector<std::string>(std::begin(kZones), std::end(kZones)));
    const auto anchor = day(*rc::gen::element<std::string>("2026-03-28", "2026-10-03", "2026-10-24", "2011-12-29"));
    c.days.first = anchor.plus(*rc::gen::inRange(-40, 3));
    c.days.last = c.days.first.plus(*rc::gen::weightedOneOf<int>(
        {{3, rc::gen::inRange(0, 3)}, {2, rc::gen::inRange(3, 40)}, {1, rc::gen::inRange(40, 420)}}));
    const Instant begin = NamedTimeZone(c.zone).startOf(c.days.first);
    const std::int64_t span = std::int64_t{c.days.days()} * 24 * kHour;
    c.now = begin + Millis{span / 2};
    const int count = *rc::gen::inRange(0, 30);
    for (int i = 0; i < count; ++i) {
        const auto task = *rc::gen::element<std::string>("A", "B", "C", "D", "X");
        const Instant start = begin + Millis{*rc::gen::inRange<std::int64_t>(-30 * kHour, span + 30 * kHour)};
        if (*rc::gen::inRange(0, 10) == 0) {
            c.log.addRunning(task, start);
        } else {
            c.log.add(task, start,
                      *rc::gen::weightedOneOf<std::int64_t>({{5, rc::gen::inRange<std::int64_t>(0, 3 * kHour)},
                                                             {1, rc::gen::inRange<std::int64_t>(0, 60 * kHour)}}));
        }
    }
    return c;
}

RC_GTEST_PROP(ReportDataProperty, EverySumIsTheTotal, ()) {
    const Case c = anyCase();
    const NamedTimeZone zone(c.zone);
    const auto report = c.log.report(zone, c.days, c.now);
    std::int64_t expected = 0;
    std::size_t count = 0;
    for (const TimeEntry& entry : c.log.entries) {
        const DayKey key = zone.dayOf(*entry.startedAt.instant());
        if (key >= c.days.first && key <= c.days.last) {
            expected += trackedMs(entry, c.now);
            ++count;
        }
    }
    RC_ASSERT(report.totalMs == expected);
    RC_ASSERT(report.entries.size() == count);
    const auto sum = [](const auto& items) {
        std::int64_t all = 0;
        for (const auto& item : items) {
            all += item.totalMs;
        }
        return all;
    };
    RC_ASSERT(sum(report.buckets) == expected);
    RC_ASSERT(sum(report.byTag) == expected);
    RC_ASSERT(sum(report.byTask) == expected);
    for (const Bucket& bucket : report.buckets) {
        std::int64_t segments = 0;
        for (const BucketSegment& segment : bucket.segments) {
            RC_ASSERT(segment.ms > 0);
            segments += segment.ms;
        }
        RC_ASSERT(segments == bucket.totalMs);
    }
}

RC_GTEST_PROP(ReportDataProperty, ABucketHoldsWhatLiesInIt, ()) {
    const Case c = anyCase();
    const NamedTimeZone zone(c.zone);
    const auto report = c.log.report(zone, c.days, c.now);
    const auto places = bucketsOf(report.strategy, c.days, 1, zone);
    RC_ASSERT(places.size() == report.buckets.size());
    RC_ASSERT(places.front().begin == zone.startOf(c.days.first));
    RC_ASSERT(places.back().end == zone.startOf(c.days.last.plus(1)));
    // The same by overlaps of intervals instead of a walk.
    for (std::size_t b = 0; b < places.size(); ++b) {
        if (b > 0) {
            RC_ASSERT(places[b].begin == places[b - 1].end);
        }
        const std::int64_t end = b + 1 == places.size() ? INT64_MAX : places[b].end.ms;
        std::int64_t expected = 0;
        for (const TimeEntry& entry : report.entries) {
            const std::int64_t start = entry.startedAt.instant()->ms;
            expected += std::max<std::int64_t>(
                0, std::min(end, start + trackedMs(entry, c.now)) - std::max(places[b].begin.ms, start));
        }
        RC_ASSERT(report.buckets[b].totalMs == expected);
    }
}

}  // namespace
}  // namespace tolvik
