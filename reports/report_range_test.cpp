#include "reports/report_range.h"

#include <gtest/gtest.h>

namespace tolvik {
namespace {

DayKey day(std::string_view text) {
    return DayKey::parse(text).value();
}
constexpr int kSunday = 0;
constexpr int kMonday = 1;

TEST(ReportRange, ChoosesBucketsAndTitleAtTheCutPoints) {
    struct Row {
        ReportRange range;
        int span;
        std::string_view strategy;
        std::string_view title;
    };
    const Row rows[] = {{ReportRange::month, 31, "dailyDayLabeled", "Daily breakdown"},
                        {ReportRange::quarter, 91, "weekly", "Weekly breakdown"},
                        {ReportRange::half, 182, "weekly", "Weekly breakdown"},
                        {ReportRange::year, 365, "monthly", "Monthly breakdown"},
                        {ReportRange::custom, 1, "hourly", "Hourly breakdown"},
                        {ReportRange::custom, 2, "dailyWeekLabeled", "Daily breakdown"},
                        {ReportRange::custom, 14, "dailyWeekLabeled", "Daily breakdown"},
                        {ReportRange::custom, 15, "dailyDayLabeled", "Daily breakdown"},
                        {ReportRange::custom, 31, "dailyDayLabeled", "Daily breakdown"},
                        {ReportRange::custom, 32, "weekly", "Weekly breakdown"},
                        {ReportRange::custom, 180, "weekly", "Weekly breakdown"},
                        {ReportRange::custom, 181, "monthly", "Monthly breakdown"}};
    for (const Row& row : rows) {
        EXPECT_EQ(nameOf(strategyFor(row.range, row.span)), row.strategy) << row.span;
        EXPECT_EQ(chartTitle(row.range, row.span), row.title) << row.span;
    }
}

TEST(ReportRange, ThinsLabels) {
    const std::pair<std::size_t, std::size_t> steps[] = {{1, 1},  {12, 1}, {13, 2}, {16, 2}, {17, 3},
                                                         {31, 3}, {32, 3}, {36, 3}, {37, 4}, {40, 4}};
    for (const auto& [buckets, step] : steps) {
        EXPECT_EQ(labelStep(buckets), step) << buckets;
    }
}

TEST(ReportRange, EndsToday) {
    struct Row {
        ReportRange range;
        std::string_view today;
        int firstWeekday;
        std::string_view first;
    };
    const Row rows[] = {
        {ReportRange::month, "2026-11-19", kMonday, "2026-10-20"},
        {ReportRange::month, "2026-03-31", kMonday, "2026-03-01"},  // February has no 31st
        {ReportRange::month, "2026-03-28", kMonday, "2026-03-01"},
        {ReportRange::month, "2026-01-01", kMonday, "2025-12-02"},
        {ReportRange::quarter, "2026-11-19", kMonday, "2026-08-24"},
        {ReportRange::quarter, "2026-11-19", kSunday, "2026-08-23"},
        {ReportRange::quarter, "2026-11-15", kSunday, "2026-08-23"},  // a Sunday begins its week
        {ReportRange::quarter, "2026-11-15", kMonday, "2026-08-17"},  // and ends another's
        {ReportRange::half, "2026-11-19", kMonday, "2026-05-25"},
        {ReportRange::year, "2026-11-19", kMonday, "2025-12-01"},
        {ReportRange::year, "2024-02-29", kMonday, "2023-03-01"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(daysOf(row.range, day(row.today), row.firstWeekday), (DaySpan{day(row.first), day(row.today)}))
            << nameOf(row.range) << " " << row.today;
    }
}

TEST(ReportRange, CapsExportsAtOneYear) {
    EXPECT_FALSE(isOverExportCap(ReportRange::custom, 366));
    EXPECT_TRUE(isOverExportCap(ReportRange::custom, 367));
    EXPECT_FALSE(isOverExportCap(ReportRange::year, 367));
    const DaySpan leapYear{day("2024-01-01"), day("2024-12-31")};
    EXPECT_EQ(exportedPart(leapYear), leapYear);
    EXPECT_EQ(exportedPart({day("2020-01-01"), day("2024-12-31")}), leapYear);
}

TEST(ReportRange, TakesTheFirstWeekdayFromTheLocale) {
    EXPECT_EQ(firstWeekdayOf("de_DE.UTF-8"), kMonday);
    EXPECT_EQ(firstWeekdayOf("en_US.UTF-8"), kSunday);
    EXPECT_EQ(firstWeekdayOf("en_GB"), kMonday);
    EXPECT_EQ(firstWeekdayOf("ar_EG.UTF-8"), 6);
    EXPECT_EQ(firstWeekdayOf("C.UTF-8"), kMonday);
    EXPECT_EQ(firstWeekdayOf(""), kMonday);
}

}  // namespace
}  // namespace tolvik
