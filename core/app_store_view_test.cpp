#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fakes/store_fixture.h"

namespace tolvik {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr std::int64_t kHour = 3'600'000;

class ViewTest : public StoreTest {
protected:
    void begin(std::string_view zoneName, std::string_view now) {
        zone.set(zoneName);
        setTime(now);
        ASSERT_TRUE(store->importAll(R"({"tolvik:tasks":[]})"));
        restart();
    }
    std::vector<std::string> shown() {
        std::vector<std::string> out;
        for (const TaskModel& t : store->tasksToShow()) {
            out.push_back(t.title);
        }
        return out;
    }
};

TEST_F(ViewTest, ListsTodaysOpenTasksAndWhatWasWorkedOn) {
    const Identifier a = start("a");
    const Identifier b = start("b");
    store->markDone(b);
    EXPECT_THAT(shown(), ElementsAre("a", "b"));
    clock.advance(std::chrono::hours{24});
    store->refresh();
    EXPECT_THAT(shown(), IsEmpty());
    const Identifier c = start("c");
    store->updateTask(a, {.title = "a again", .tagId = std::nullopt});
    EXPECT_THAT(shown(), ElementsAre("a again", "c"));
    store->markDone(a);
    EXPECT_THAT(shown(), ElementsAre("c"));
    store->shiftDay(1);
    EXPECT_TRUE(store->isViewingToday());
    store->shiftDay(-1);
    EXPECT_THAT(shown(), ElementsAre("a again", "b"));
    store->selectDate(store->today().plus(1));
    EXPECT_EQ(store->currentDate(), store->today().plus(-1));
    store->switchToTask(c);  // already active: the view stays
    EXPECT_FALSE(store->isViewingToday());
}

TEST_F(ViewTest, FilterHidesEvenWhatRuns) {
    activeProject = store->createProject("p");
    const Identifier a = start("a");
    clock.advance(Millis{2 * kHour});
    store->setProjectFilter({ProjectFilter::Unassigned{}});
    EXPECT_THAT(shown(), IsEmpty());
    EXPECT_EQ(store->activeTask()->id, a);
    store->setProjectFilter({ProjectFilter::Tag{*activeProject}});
    EXPECT_EQ(store->dayRows().front().totalMs, 2 * kHour);
    EXPECT_EQ(store->dayRows().front().switchCount, 1);
}

TEST_F(ViewTest, SumsAreCutAtMidnight) {
    signedIn = true;                                       // so that nothing is closed overnight
    begin("Europe/Helsinki", "2026-11-10T20:00:00.000Z");  // 22:00
    const Identifier a = start("a");
    clock.advance(Millis{5 * kHour});
    store->stopTask(a);
    EXPECT_EQ(store->timeEntries()[0].durationMs, 5 * kHour);
    EXPECT_THAT(store->trackedPerDay(day("2026-11-09"), day("2026-11-12")), ElementsAre(0, 2 * kHour, 3 * kHour, 0));
    EXPECT_EQ(store->dayRows().front().totalMs, 3 * kHour);
    store->shiftDay(-1);
    EXPECT_EQ(store->dayRows().front().totalMs, 2 * kHour);
    EXPECT_EQ(store->entriesOn(day("2026-11-12")).size(), 0U);
    EXPECT_EQ(store->switchLogsOn(day("2026-11-10")).size(), 1U);
    // An entry that ends at midnight does not touch the next day.
    begin("Europe/Helsinki", "2026-11-10T21:00:00.000Z");
    const Identifier b = start("b");
    clock.advance(Millis{kHour});
    store->stopTask(b);
    EXPECT_EQ(store->entriesOn(day("2026-11-11")).size(), 0U);
}

TEST_F(ViewTest, DaysOf23And25Hours) {
    signedIn = true;
    begin("Europe/Helsinki", "2026-03-28T22:00:00.000Z");  // midnight
    Identifier a = start("a");
    clock.advance(Millis{30 * kHour});
    store->stopTask(a);
    EXPECT_THAT(store->trackedPerDay(day("2026-03-29"), day("2026-03-30")), ElementsAre(23 * kHour, 7 * kHour));
    begin("Europe/Helsinki", "2026-10-24T21:00:00.000Z");
    a = start("a");
    clock.advance(Millis{30 * kHour});
    store->stopTask(a);
    EXPECT_THAT(store->trackedPerDay(day("2026-10-25"), day("2026-10-26")), ElementsAre(25 * kHour, 5 * kHour));
    begin("Pacific/Apia", "2011-12-30T05:00:00.000Z");  // the 29th, 19:00; the next day is the 31st
    a = start("a");
    clock.advance(Millis{10 * kHour});
    store->stopTask(a);
    EXPECT_THAT(store->trackedPerDay(day("2011-12-29"), day("2011-12-31")), ElementsAre(5 * kHour, 0, 5 * kHour));
}

TEST_F(ViewTest, AForgottenTaskEndsWithItsDay) {
    begin("Asia/Kolkata", "2026-11-10T10:30:00.000Z");  // 16:00
    const Identifier a = start("a");
    clock.advance(Millis{20 * kHour});
    restart();
    EXPECT_EQ(task(a).status, "done");
    EXPECT_EQ(task(a).completedAt, Timestamp(utc("2026-11-10T18:29:59.000Z")));
    EXPECT_EQ(task(a).updatedAt, task(a).completedAt);
    EXPECT_EQ(store->timeEntries()[0].durationMs, 28'799'000);
    EXPECT_EQ(store->activeTask(), nullptr);
    expectInvariants();
}

TEST_F(ViewTest, SignedInTheForgottenTaskWaitsForThePull) {
    signedIn = true;
    const Identifier a = start("a");
    clock.advance(Millis{20 * kHour});
    store->refresh();
    EXPECT_TRUE(store->isStaleCheckPending());
    EXPECT_TRUE(task(a).isActive);
    store->pullCompleted();
    EXPECT_FALSE(store->isStaleCheckPending());
    EXPECT_EQ(task(a).status, "done");
    expectInvariants();
}

TEST_F(ViewTest, TheViewFollowsMidnightUnlessAnotherDayIsShown) {
    setTime("2026-11-10T23:59:00.000Z");
    restart();
    const Identifier a = start("a");
    int changes = 0;
    const auto subscription = store->onChanged([&] { ++changes; });
    loop.runFor(Millis{65'000});
    EXPECT_EQ(store->currentDate(), day("2026-11-11"));
    EXPECT_EQ(task(a).status, "done");
    EXPECT_GT(changes, 0);
    store->shiftDay(-3);
    loop.runFor(Millis{24 * kHour});
    EXPECT_EQ(store->currentDate(), day("2026-11-08"));
    // Asleep over two midnights: nothing has fired, the wake-up tells.
    store->selectDate(store->today());
    clock.advance(Millis{50 * kHour});
    store->refresh();
    EXPECT_TRUE(store->isViewingToday());
}

TEST_F(ViewTest, AChangeOfZoneMovesTheDay) {
    begin("Europe/Helsinki", "2026-11-10T21:30:00.000Z");  // 23:30
    const Identifier a = start("a");
    clock.advance(Millis{kHour / 4});
    store->stopTask(a);
    zone.set("Asia/Tokyo");  // 06:45 on the next day
    loop.runFor(Millis{300'000});
    EXPECT_EQ(store->currentDate(), day("2026-11-11"));
    EXPECT_EQ(store->dateEntries().size(), 1U);
    zone.set("America/New_York");
    store->refresh();
    EXPECT_EQ(store->currentDate(), day("2026-11-10"));
    EXPECT_THAT(shown(), ElementsAre("a"));
}

TEST_F(ViewTest, OddTimestampsAreShownOnTheDayTheyName) {
    ASSERT_TRUE(store->importAll(
        R"({"tolvik:tasks":[{"id":"odd","title":"t","status":"open","isActive":false,"createdAt":"x",
            "updatedAt":"2026-11-10 noon","sortOrder":0,"colorIndex":0}],
            "tolvik:timeEntries":[{"id":"e","taskId":"odd","startedAt":"2026-11-09T08:00:00Z",
            "endedAt":"later","durationMs":5000,"createdAt":""}]})"));
    EXPECT_THAT(shown(), ElementsAre("t"));
    store->shiftDay(-1);
    EXPECT_THAT(shown(), ElementsAre("t"));
    EXPECT_EQ(store->dayRows().front().totalMs, 5000);
    EXPECT_THAT(store->trackedPerDay(day("2026-11-09"), day("2026-11-09")), ElementsAre(5000));
    restart();
    EXPECT_EQ(store->timeEntries()[0].startedAt.text(), "2026-11-09T08:00:00Z");
}

}  // namespace
}  // namespace tolvik
