#include "ai/answer/answer.h"

#include <gtest/gtest.h>

#include "ai/answer/calendar.h"
#include "ai/answer/names.h"
#include "ai/answer/period.h"
#include "ai/answer/summary.h"
#include "base/zone.h"

namespace tolvik {
namespace {

DayKey key(std::string_view text) {
    return DayKey::parse(text).value();
}

/// "2026-03-03..2026-03-09", "unsure", or "" when the words are not all of one period.
std::string spanIn(std::string_view words, std::string_view today = "2026-11-19", int firstWeekday = 1) {
    const auto tokens = tokensOf(words);
    const auto period = periodAt(tokens, 0, {key(today), firstWeekday});
    if (!period || period->count != tokens.size()) {
        return "";
    }
    return period->days ? period->days->first.text() + ".." + period->days->last.text() : "unsure";
}

TEST(Periods, areToldFromToday) {
    // Thursday 19 November 2026
    EXPECT_EQ(spanIn("last week"), "2026-11-09..2026-11-15");
    EXPECT_EQ(spanIn("last week", "2026-11-19", 0), "2026-11-08..2026-11-14");
    EXPECT_EQ(spanIn("this week", "2026-11-22", 0), "2026-11-22..2026-11-22");
    EXPECT_EQ(spanIn("the week before last"), "2026-11-02..2026-11-08");
    EXPECT_EQ(spanIn("last month", "2027-01-31"), "2026-12-01..2026-12-31");
    EXPECT_EQ(spanIn("last quarter", "2027-01-31"), "2026-10-01..2026-12-31");
    EXPECT_EQ(spanIn("in the last 7 days"), "2026-11-13..2026-11-19");
    EXPECT_EQ(spanIn("since yesterday"), "2026-11-18..2026-11-19");
    EXPECT_EQ(spanIn("two days ago"), "2026-11-17..2026-11-17");
    EXPECT_EQ(spanIn("last weekend"), "2026-11-14..2026-11-15");
    EXPECT_EQ(spanIn("on tuesday of last week"), "2026-11-10..2026-11-10");
    EXPECT_EQ(spanIn("from monday to today"), "2026-11-16..2026-11-19");
}

TEST(Periods, takeTheLatestYearThatIsPast) {
    EXPECT_EQ(spanIn("in December"), "2025-12-01..2025-12-31");
    EXPECT_EQ(spanIn("on 29 February"), "2024-02-29..2024-02-29");
    EXPECT_EQ(spanIn("the 3rd of March 2025"), "2025-03-03..2025-03-03");
    EXPECT_EQ(spanIn("on the 20th"), "2026-10-20..2026-10-20");
    EXPECT_EQ(spanIn("from 28 December to 3 January"), "2025-12-28..2026-01-03");
    EXPECT_EQ(spanIn("between January and March 2025"), "2025-01-01..2025-03-31");
    EXPECT_EQ(spanIn("Q4 2025"), "2025-10-01..2025-12-31");
    EXPECT_EQ(spanIn("Tuesday the 17th"), "2026-11-17..2026-11-17");
}

TEST(Periods, areNotGuessedAt) {
    for (const auto* words :
         {"on thursday", "last tuesday", "the past week", "the last month", "last 2 months", "tomorrow", "next month",
          "this weekend", "last october", "30 february", "between 10 and 30 november", "from friday to monday",
          "on wednesday the 17th", "this december", "from november to january", "in 2031"}) {
        EXPECT_EQ(spanIn(words), "unsure") << words;
    }
    for (const auto* words : {"every monday", "on mondays", "march madness", "3/4", "until monday", "\"last week\"",
                              "week 45", "a week ago", "last 0 days"}) {
        EXPECT_EQ(spanIn(words), "") << words;
    }
}

class SmallLog : public testing::Test {
protected:
    Identifier project(std::string_view name) {
        auto& made = projects.emplace_back();
        made.id = Identifier("P" + std::to_string(projects.size()));
        made.name = name;
        return made.id;
    }
    Identifier task(std::string_view title, std::optional<Identifier> owner = {}) {
        auto& made = tasks.emplace_back();
        made.id = Identifier("T" + std::to_string(tasks.size()));
        made.title = title;
        made.tagId = owner;
        return made.id;
    }
    void entry(const Identifier& id, std::string_view start, std::string_view end) {
        auto& made = entries.emplace_back();
        made.taskId = id;
        made.startedAt = Timestamp(start);
        if (!end.empty()) {
            made.endedAt = Timestamp(end);
            made.durationMs = (*made.endedAt->instant() - *made.startedAt.instant()).count();
        }
    }
    [[nodiscard]] AnswerLog log() const { return {tasks, projects, entries}; }
    NameMatch find(std::string_view name, bool isQuoted = false) { return NameBook(log()).find(name, isQuoted); }
    std::string ask(std::string_view question) {
        const auto answer = answerQuestion(question, log(), frame);
        return answer ? answer->text : "refused: " + answer.error().text;
    }

    std::vector<TaskModel> tasks;
    std::vector<TagModel> projects;
    std::vector<TimeEntry> entries;
    NamedTimeZone zone{"Europe/Helsinki"};
    AnswerFrame frame{.now = parseInstant("2026-11-19T13:20:00.000Z").value(), .zone = zone};
};

TEST_F(SmallLog, findsNamesOnlyWhenOneFits) {
    using enum NameMatch::Quality;
    task("Email", project("Office"));
    task("Email to Bob");
    task("Sprint 12 planning");
    task("Meeting with Hanna");
    task("Office");
    task("Overnight builds");
    EXPECT_EQ(find("email").quality, exact);
    EXPECT_EQ(find("to bob").quality, partial);
    EXPECT_EQ(find("the planning task").quality, partial);
    EXPECT_EQ(find("sprint 13 planning").quality, none);
    EXPECT_EQ(find("meeting with Anna").quality, none) << "another person";
    EXPECT_EQ(find("overnigth builds").quality, near);
    EXPECT_EQ(find("overnigth builds", true).quality, none);
    EXPECT_EQ(find("office").quality, several);
    EXPECT_EQ(find("the office project").quality, exact);
    EXPECT_EQ(find("emails").quality, near);
    EXPECT_EQ(find("it").quality, none);
    EXPECT_EQ(find("night").quality, none);
    task("Emails from Kadri");
    EXPECT_EQ(find("emails").quality, several);
}

TEST_F(SmallLog, cutsTimeAtThePeriodsEnds) {
    const auto late = task("Night shift");
    entry(late, "2026-11-16T21:30:00.000Z", "2026-11-16T23:00:00.000Z");  // 23:30 to 01:00
    entry(late, "2026-11-19T13:00:00.000Z", "");
    EXPECT_EQ(ask("how much did I work on 16 November"),
              "On Monday 16 November 2026 you tracked 30 min, all on “Night shift”.");
    EXPECT_EQ(ask("how much time on night shift this week"),
              "From 16 to 19 November 2026 you tracked 1 h 50 min on “Night shift”.");
    EXPECT_EQ(ask("on how many days did I work this week"),
              "From 16 to 19 November 2026 you worked on 3 days, 1 h 50 min in all.");
}

TEST_F(SmallLog, refusesWhatHasTwoReadings) {
    const auto meeting = task("Meeting");
    const auto monday = task("Meeting Monday");
    entry(meeting, "2026-11-16T08:00:00.000Z", "2026-11-16T09:00:00.000Z");
    entry(monday, "2026-11-16T10:00:00.000Z", "2026-11-16T12:00:00.000Z");
    EXPECT_TRUE(ask("how much time on meeting Monday").starts_with("refused: That can be read in two ways"));
    EXPECT_TRUE(ask("how much time on \"meeting Monday\"").contains("2 h 00 min on “Meeting Monday”"));
    EXPECT_TRUE(ask("how much time on “Meeting” on Monday").contains("1 h 00 min on “Meeting”"));
}

TEST_F(SmallLog, refusesOddTextsInWords) {
    task("a");
    for (const auto& text : {std::string(), std::string("?"), std::string("\xFF\xFE how"), std::string(5000, 'x'),
                             std::string("how much time on \""), std::string("@ vs @"), std::string(900, ' '),
                             std::string("\"\" \"\" last week")}) {
        EXPECT_TRUE(ask(text).starts_with("refused: ")) << text;
    }
}

TEST_F(SmallLog, sumsADayUp) {
    const auto office = project("Office");
    const auto a = task("Letters", office);
    const auto b = task("Calls");
    entry(a, "2026-11-18T08:00:00.000Z", "2026-11-18T08:20:00.000Z");
    entry(a, "2026-11-18T08:20:30.000Z", "2026-11-18T08:40:30.000Z");
    entry(b, "2026-11-18T09:00:00.000Z", "2026-11-18T09:24:00.000Z");
    const auto summary = summaryOf(key("2026-11-18"), log(), frame);
    EXPECT_EQ(summary.totalMs, 64 * 60'000);
    EXPECT_EQ(summary.taskCount, 2);
    EXPECT_EQ(summary.focusBlocks, 1);
    EXPECT_EQ(summary.topProject, "Office");
    EXPECT_EQ(summary.narrative,
              "On Wednesday 18 November 2026 you tracked 1 h 04 min on 2 tasks, with 1 focus block of 25 minutes or "
              "more. Most went to “Letters” (40 min), then to “Calls” (24 min). The project Office took 40 min.");
    EXPECT_EQ(summaryOf(key("2026-11-19"), log(), frame),
              (DaySummary{.narrative = "Today nothing is tracked yet.", .topProject = {}}));
    EXPECT_EQ(narrativeOf({key("2026-11-16"), key("2026-11-18")}, log(), frame),
              "From 16 to 18 November 2026 you tracked 1 h 04 min on 1 day and 2 tasks. Office took 40 min (63 %) and "
              "time without a project took 24 min (37 %).");
    EXPECT_EQ(narrativeOf({key("2026-10-01"), key("2026-10-31")}, log(), frame),
              "In October 2026 no time was tracked.");
}

}  // namespace
}  // namespace tolvik
