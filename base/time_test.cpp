#include "base/time.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace tolvik {
namespace {

TEST(InstantText, RoundTripsOverTheWholeRangeOfYears) {
    for (const std::int64_t ms : {-62'167'219'200'000LL, -1LL, 0LL, 951'782'399'999LL, 951'782'400'000LL,
                                  1'794'304'800'123LL, 253'402'300'799'999LL}) {
        EXPECT_EQ(parseInstant(formatInstant(Instant{ms})), Instant{ms}) << formatInstant(Instant{ms});
    }
    EXPECT_EQ(formatInstant(Instant{951'782'400'000}), "2000-02-29T00:00:00.000Z");
    EXPECT_EQ(formatInstant(Instant{-1}), "1969-12-31T23:59:59.999Z");
}

TEST(InstantText, ReadsZonesAndFractionsOfAnyLength) {
    const auto expected = parseInstant("2026-11-10T10:00:00.250Z");
    ASSERT_TRUE(expected);
    EXPECT_EQ(parseInstant("2026-11-10T12:00:00.250+02:00"), expected);
    EXPECT_EQ(parseInstant("2026-11-10T04:30:00.2509999-05:30"), expected);
    EXPECT_EQ(parseInstant("2026-11-10T10:00:00.25Z"), expected);
}

TEST(InstantText, RefusesWhatTheFormatterNeverWrites) {
    for (const char* text : {"", "2026-11-10", "2026-11-10T10:00:00Z", "2026-11-10T10:00:00.Z",
                             "2026-11-10 10:00:00.000Z", "2026-02-30T10:00:00.000Z", "2026-11-10T24:00:00.000Z",
                             "2026-11-10T10:60:00.000Z", "2026-11-10T10:00:00.000", "2026-11-10T10:00:00.000Zx",
                             " 2026-11-10T10:00:00.000Z", "2026-11-10T10:00:00.000+0200", "2026-1a-10T10:00:00.000Z"}) {
        EXPECT_FALSE(parseInstant(text)) << text;
    }
}

TEST(TimestampValue, KeepsTheExactTextOfWhatItCannotRead) {
    for (const char* text : {"", "yesterday", "2026-11-10T10:00:00Z", "2026-11-10T12:00:00.250+02:00",
                             "2026-11-10T10:00:00.2509Z", "9999-12-31T23:59:59.999Z", "\xff\xfe"}) {
        const Timestamp stamp{std::string_view(text)};
        EXPECT_EQ(stamp.text(), text);
        EXPECT_EQ(stamp, Timestamp(std::string_view(text)));
    }
    EXPECT_EQ(Timestamp(std::string_view("2026-11-10T12:00:00.250+02:00")).instant(),
              parseInstant("2026-11-10T10:00:00.250Z"));
    EXPECT_FALSE(Timestamp(std::string_view("yesterday")).instant());
}

TEST(TimestampValue, OrdersAsTextWhetherReadableOrNot) {
    const std::vector<std::string> texts = {"",
                                            "1999-12-31T23:59:59.999Z",
                                            "2026-11-10T10:00:00.000Z",
                                            "2026-11-10T10:00:00Z",
                                            "2026-11-11T00:00:00.000Z",
                                            "yesterday"};
    for (const std::string& a : texts) {
        for (const std::string& b : texts) {
            EXPECT_EQ(Timestamp(a) <=> Timestamp(b), a <=> b) << a << " against " << b;
        }
    }
}

TEST(DayKeys, ReadAndWriteOnlyDaysThatExist) {
    for (const char* text : {"0000-01-01", "1969-12-31", "2000-02-29", "2026-11-10", "9999-12-31"}) {
        const auto day = DayKey::parse(text);
        ASSERT_TRUE(day) << text;
        EXPECT_EQ(day->text(), text);
    }
    for (const char* text : {"", "2026-02-29", "2026-13-01", "2026-1-01", "2026-11-10T", "2026/11/10", "-026-11-10"}) {
        EXPECT_FALSE(DayKey::parse(text)) << text;
    }
    EXPECT_EQ(DayKey::parse("2026-12-31")->plus(1).text(), "2027-01-01");
    EXPECT_EQ(DayKey::parse("2026-11-15")->weekday(), 0);
    EXPECT_EQ(DayKey::parse("1969-12-28")->weekday(), 0);
    EXPECT_EQ(DayKey::parse("1960-01-02")->weekday(), 6);
}

}  // namespace
}  // namespace tolvik
