#include "base/zone.h"

#include <gtest/gtest.h>

namespace tolvik {
namespace {

Instant utc(const char* text) {
    return parseInstant(text).value();
}

DayKey day(const char* text) {
    return DayKey::parse(text).value();
}

std::int64_t hoursOf(const TimeZone& zone, const char* key) {
    return (zone.startOf(day(key).plus(1)) - zone.startOf(day(key))) / std::chrono::hours{1};
}

TEST(NamedTimeZone, DaysGrowAndShrinkWithTheClock) {
    const NamedTimeZone helsinki("Europe/Helsinki");
    EXPECT_EQ(hoursOf(helsinki, "2026-03-28"), 24);
    EXPECT_EQ(hoursOf(helsinki, "2026-03-29"), 23);
    EXPECT_EQ(hoursOf(helsinki, "2026-10-25"), 25);
    EXPECT_EQ(helsinki.dayOf(utc("2026-07-01T20:59:59.999Z")), day("2026-07-01"));
    EXPECT_EQ(helsinki.dayOf(utc("2026-07-01T21:00:00.000Z")), day("2026-07-02"));
    EXPECT_EQ(helsinki.offsetMinutes(utc("2026-01-01T00:00:00.000Z")), 120);
    EXPECT_EQ(helsinki.name(), "Europe/Helsinki");
}

TEST(NamedTimeZone, SkippedAndRepeatedReadings) {
    const NamedTimeZone helsinki("Europe/Helsinki");
    EXPECT_FALSE(helsinki.at(day("2026-03-29"), {3, 30, 0}));
    EXPECT_EQ(helsinki.at(day("2026-10-25"), {3, 30, 0}), utc("2026-10-25T00:30:00.000Z"));
    EXPECT_EQ(helsinki.timeOf(utc("2026-10-25T01:30:05.000Z")).hour, 3);
    // The clock goes forward at midnight.
    const NamedTimeZone santiago("America/Santiago");
    EXPECT_EQ(santiago.timeOf(santiago.startOf(day("2026-09-06"))).hour, 1);
    EXPECT_EQ(santiago.dayOf(santiago.startOf(day("2026-09-06"))), day("2026-09-06"));
}

TEST(NamedTimeZone, AWholeDayCanBeMissing) {
    const NamedTimeZone apia("Pacific/Apia");
    EXPECT_EQ(apia.startOf(day("2011-12-30")), apia.startOf(day("2011-12-31")));
    EXPECT_FALSE(apia.at(day("2011-12-30"), {23, 59, 59}));
    EXPECT_EQ(apia.dayOf(apia.startOf(day("2011-12-30")) - Millis{1}), day("2011-12-29"));
}

TEST(NamedTimeZone, BeforeTheEpochAndUnknownNames) {
    const NamedTimeZone kolkata("Asia/Kolkata");
    EXPECT_EQ(kolkata.dayOf(utc("1969-12-31T18:30:00.000Z")), day("1970-01-01"));
    EXPECT_EQ(kolkata.dayOf(utc("1969-12-31T18:29:59.999Z")), day("1969-12-31"));
    EXPECT_EQ(kolkata.timeOf(utc("1969-12-31T18:29:59.999Z")).second, 59);
    EXPECT_FALSE(NamedTimeZone::find("Mars/Olympus"));
    EXPECT_EQ(NamedTimeZone("Mars/Olympus").dayOf(utc("2026-01-01T23:59:59.000Z")), day("2026-01-01"));
}

}  // namespace
}  // namespace tolvik
