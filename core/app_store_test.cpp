#include "core/app_store.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fakes/store_fixture.h"

namespace tolvik {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Lines = std::vector<std::string>;

class AppStoreTest : public StoreTest {};

TEST_F(AppStoreTest, StartingClosesWhatRunsAndOwesTheServerEachChange) {
    const Identifier first = start("  quarterly report \n");
    EXPECT_EQ(task(first).title, "quarterly report");
    EXPECT_EQ(task(first).colorIndex, 0);
    EXPECT_EQ(store->switchLogs()[0].fromTaskId, std::nullopt);
    EXPECT_EQ(store->switchLogs()[0].source, "manual");
    EXPECT_EQ(sink.takeLines(), (Lines{"POST /tasks", "POST /time-entries", "POST /switch-logs"}));
    EXPECT_EQ(holdOff.until, clock.now() + Millis{8000});

    clock.advance(Millis{1999});
    const auto second = store->startTask("design review", ChangeSource::voice, "  lunch is over ");
    ASSERT_TRUE(second);
    EXPECT_EQ(store->timeEntries()[0].durationMs, 1999);
    EXPECT_EQ(store->timeEntries()[0].endedAt, Timestamp(clock.now()));
    EXPECT_EQ(store->runningEntry()->taskId, second);
    EXPECT_EQ(store->activeTask()->id, second);
    EXPECT_EQ(store->activeTask()->sortOrder, 1);
    const SwitchLog& log = store->switchLogs()[1];
    EXPECT_EQ(log.fromTaskId, first);
    EXPECT_EQ(log.source, "voice");
    EXPECT_EQ(log.reason, "lunch is over");
    EXPECT_EQ(sink.all[0].body, R"({"isActive":false})");
    EXPECT_EQ(sink.all[2].body, R"({"endedAt":")" + formatInstant(clock.now()) + R"(","durationMs":1999})");
    EXPECT_EQ(sink.takeLines(),
              (Lines{"PATCH /tasks", "POST /tasks", "PATCH /time-entries", "POST /time-entries", "POST /switch-logs"}));
    expectInvariants();
}

TEST_F(AppStoreTest, TitlesAreTrimmedAndCapped) {
    EXPECT_FALSE(store->startTask(" \n\t "));
    EXPECT_THAT(store->tasks(), IsEmpty());
    EXPECT_TRUE(values.commits.empty());
    EXPECT_EQ(task(start(std::string(600, 'a'))).title, std::string(500, 'a'));
    // A pair of regional indicators is one character of four units: 499 + 4 does not fit.
    EXPECT_EQ(task(start(std::string(499, 'b') + "🇫🇮")).title, std::string(499, 'b'));
    const Identifier one = start("same");
    EXPECT_NE(one, start("same"));
}

TEST_F(AppStoreTest, SwitchingToTheActiveTaskDoesNothing) {
    const Identifier a = start("a");
    values.commits.clear();
    sink.all.clear();
    holdOff.until = {};
    EXPECT_EQ(store->switchToTask(a), Outcome::nothing);
    EXPECT_EQ(store->switchToTask(Identifier("nobody")), Outcome::nothing);
    EXPECT_EQ(store->stopTask(Identifier("nobody")), Outcome::nothing);
    EXPECT_TRUE(values.commits.empty());
    EXPECT_TRUE(sink.all.empty());
    EXPECT_EQ(holdOff.until, Instant{});
}

TEST_F(AppStoreTest, SwitchingReopensADoneTaskAndReturnsToToday) {
    const Identifier a = start("a");
    clock.advance(Millis{60'000});
    EXPECT_EQ(store->markDone(a), Outcome::changed);
    EXPECT_EQ(task(a).completedAt, Timestamp(clock.now()));
    EXPECT_EQ(store->activeTask(), nullptr);
    EXPECT_EQ(store->runningEntry(), nullptr);
    const Identifier b = start("b");
    store->shiftDay(-3);
    EXPECT_FALSE(store->isViewingToday());
    requestedDays.clear();
    sink.all.clear();
    EXPECT_EQ(store->switchToTask(a), Outcome::changed);
    EXPECT_TRUE(store->isViewingToday());
    EXPECT_THAT(requestedDays, ElementsAre(store->today()));
    EXPECT_EQ(task(a).status, "open");
    EXPECT_EQ(task(a).completedAt, std::nullopt);
    EXPECT_EQ(sink.all[1].body, R"({"status":"open","isActive":true,"completedAt":null})");
    EXPECT_EQ(store->stopTask(b), Outcome::nothing);
    EXPECT_EQ(store->stopTask(a), Outcome::changed);
    expectInvariants();
    // Done without running: no entry is touched.
    const auto before = store->timeEntries();
    EXPECT_EQ(store->markDone(b), Outcome::changed);
    EXPECT_EQ(store->timeEntries(), before);
}

TEST_F(AppStoreTest, ProjectsComeAndGo) {
    const auto project = store->createProject(" Website ");
    ASSERT_TRUE(project);
    EXPECT_FALSE(store->createProject("  "));
    activeProject = Identifier("gone");
    EXPECT_EQ(task(start("outside")).tagId, std::nullopt);
    activeProject = project;
    const Identifier inside = start("inside");
    EXPECT_EQ(task(inside).tagId, project);
    for (int i = 0; i < 10; ++i) {
        store->createProject("p");
    }
    EXPECT_EQ(store->tags()[10].colorIndex, 0);
    EXPECT_EQ(store->renameProject(*project, "Web"), Outcome::changed);
    EXPECT_EQ(store->tagById(*project)->name, "Web");

    EXPECT_EQ(store->updateTask(inside, {.title = std::nullopt, .tagId = Identifier("gone")}), Outcome::nothing);
    store->setProjectFilter({ProjectFilter::Tag{*project}});
    EXPECT_EQ(store->tasksToShow().size(), 1U);
    sink.all.clear();
    EXPECT_EQ(store->deleteProject(*project), Outcome::changed);
    EXPECT_EQ(sink.all[0].body, R"({"tagId":null})");
    EXPECT_EQ(sink.takeLines(), (Lines{"PATCH /tasks", "DELETE /tags"}));
    EXPECT_EQ(task(inside).tagId, std::nullopt);
    EXPECT_EQ(store->projectFilter(), ProjectFilter{});
    expectInvariants();
}

TEST_F(AppStoreTest, EditsAndReasonsSendOnlyWhatChanged) {
    const Identifier a = start("a");
    sink.all.clear();
    EXPECT_EQ(store->updateTask(a, {.title = "  b  ", .tagId = std::nullopt}), Outcome::changed);
    EXPECT_EQ(sink.all.back().body, R"({"title":"b"})");
    EXPECT_EQ(store->updateTask(a, {.title = " ", .tagId = std::nullopt}), Outcome::nothing);
    const Identifier logId = store->switchLogs()[0].id;
    EXPECT_EQ(store->setSwitchReason(logId, "the phone rang"), Outcome::changed);
    EXPECT_EQ(sink.all.back().path, "/switch-logs/" + logId.text());
    EXPECT_EQ(sink.all.back().body, R"({"reason":"the phone rang"})");
    EXPECT_EQ(store->setSwitchReason(logId, "the phone rang"), Outcome::nothing);
    EXPECT_EQ(store->setSwitchReason(logId, " "), Outcome::changed);
    EXPECT_EQ(store->switchLogs()[0].reason, std::nullopt);
    EXPECT_EQ(sink.all.back().body, R"({"reason":null})");
    EXPECT_EQ(store->setSwitchReason(Identifier("nobody"), "x"), Outcome::nothing);
}

TEST_F(AppStoreTest, DeletionTakesEntriesAndSwitchesAlong) {
    const Identifier a = start("a");
    const Identifier b = start("b");
    store->switchToTask(a);
    store->switchToTask(b);
    sink.all.clear();
    EXPECT_EQ(store->deleteTask(a), Outcome::changed);
    EXPECT_EQ(store->tasks().size(), 1U);
    EXPECT_EQ(store->timeEntries().size(), 2U);
    EXPECT_EQ(store->switchLogs().size(), 2U);
    EXPECT_TRUE(store->deletedTaskIds().contains(a));
    EXPECT_EQ(sink.takeLines(), (Lines{"PATCH /switch-logs", "PATCH /switch-logs", "DELETE /tasks"}));
    EXPECT_EQ(store->activeTask()->id, b);
    expectInvariants();
    EXPECT_EQ(store->deleteTask(b), Outcome::changed);
    EXPECT_EQ(store->runningEntry(), nullptr);
    EXPECT_THAT(store->timeEntries(), IsEmpty());
    EXPECT_EQ(store->deleteTask(b), Outcome::nothing);
}

TEST_F(AppStoreTest, ResumeGoesBackToTheOpenTaskThatEndedLast) {
    EXPECT_EQ(store->taskToResume(), nullptr);
    const Identifier a = start("a");
    clock.advance(Millis{1000});
    const Identifier b = start("b");
    clock.advance(Millis{1000});
    const Identifier c = start("c");
    clock.advance(Millis{1000});
    EXPECT_EQ(store->taskToResume()->id, b);
    store->markDone(b);
    EXPECT_EQ(store->taskToResume()->id, a);
    store->stopTask(c);
    EXPECT_EQ(store->taskToResume()->id, c);
}

TEST_F(AppStoreTest, TicksOnlyWhileSomethingRunsAndSomebodyListens) {
    int ticks = 0;
    const Identifier a = start("a");
    loop.runFor(Millis{5000});
    auto subscription = store->onTick([&] { ++ticks; });
    loop.runFor(Millis{5000});
    EXPECT_EQ(ticks, 5);
    store->stopTask(a);
    loop.runFor(Millis{5000});
    EXPECT_EQ(ticks, 5);
    store->switchToTask(a);
    loop.runFor(Millis{2000});
    EXPECT_EQ(ticks, 7);
    subscription = {};
    loop.runFor(Millis{2000});
    EXPECT_EQ(ticks, 7);
    EXPECT_EQ(loop.pendingTimers(), 1U);  // midnight
}

}  // namespace
}  // namespace tolvik
