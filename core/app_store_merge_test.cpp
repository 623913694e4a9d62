#include <algorithm>
#include <gtest/gtest.h>

#include "core/log_owner.h"
#include "tests/fakes/store_fixture.h"

namespace tolvik {
namespace {

class StoreMergeTest : public StoreTest {
protected:
    std::shared_ptr<StorePull> copied() {
        auto pull = store->beginPull();
        while (!store->copySome(*pull)) {
        }
        return pull;
    }
    PullOutcome finish(StorePull& pull, PulledLog pulled, bool isFull, const IdSet& queued = {}) {
        PullPlan plan{planMerge(pull.copy, std::move(pulled), queued, isFull), std::nullopt};
        return store->finishPull(pull, std::move(plan), queued, {});
    }
    static PulledLog pulledFrom(const WholeLog& log) {
        return {log.tasks, log.timeEntries, log.switchLogs, log.tags, {}};
    }
};

TEST_F(StoreMergeTest, WhatIsPulledOfATaskThatWasDeletedMeanwhileDoesNotStay) {
    const Identifier gone = start("gone");
    const Identifier stays = start("stays");
    const auto pull = copied();
    PulledLog pulled = pulledFrom(pull->copy);
    // Another device switched between the two.
    SwitchLog there = pulled.switchLogs.back();
    there.id = random.identifier();
    there.fromTaskId = stays;
    there.toTaskId = gone;
    SwitchLog back = there;
    back.id = random.identifier();
    back.fromTaskId = gone;
    back.toTaskId = stays;
    pulled.switchLogs.push_back(there);
    pulled.switchLogs.push_back(back);

    store->deleteTask(gone);
    finish(*pull, std::move(pulled), false);
    expectInvariants();
    const auto& logs = store->switchLogs();
    EXPECT_EQ(std::ranges::find(logs, there.id, &SwitchLog::id), logs.end());
    const auto kept = std::ranges::find(logs, back.id, &SwitchLog::id);
    ASSERT_NE(kept, logs.end());
    EXPECT_EQ(kept->fromTaskId, std::nullopt);
}

TEST_F(StoreMergeTest, KeepsWhatChangedMeanwhileAndTakesTheRest) {
    const Identifier mine = start("mine");
    const Identifier theirs = start("theirs");
    const Identifier queued = start("queued");
    const auto pull = copied();
    PulledLog pulled = pulledFrom(pull->copy);
    for (TaskModel& each : pulled.tasks) {
        each.title += ", pulled";
    }
    store->updateTask(mine, {.title = "mine, edited", .tagId = {}});
    const PullOutcome outcome = finish(*pull, std::move(pulled), false, {queued});
    EXPECT_EQ(outcome.changed, 1U);
    EXPECT_EQ(task(mine).title, "mine, edited");
    EXPECT_EQ(task(theirs).title, "theirs, pulled");
    EXPECT_EQ(task(queued).title, "queued");
    restart();
    EXPECT_EQ(task(theirs).title, "theirs, pulled") << "what was pulled is durable";
    expectInvariants();
}

TEST_F(StoreMergeTest, OnlyAMarkerRemovesAndWhatAFullPullLacksIsQueued) {
    const Identifier marked = start("marked");
    const Identifier lacking = start("lacking");
    const auto pull = copied();
    sink.all.clear();
    PulledLog pulled;
    pulled.deleted.push_back({RecordKind::task, marked, Timestamp(clock.now())});
    const PullOutcome outcome = finish(*pull, std::move(pulled), true);
    EXPECT_EQ(store->taskById(marked), nullptr);
    ASSERT_NE(store->taskById(lacking), nullptr);
    expectInvariants();
    // The task itself, its entry and its switch.
    EXPECT_EQ(outcome.queued, 3U);
    ASSERT_EQ(sink.all.size(), 3U);
    EXPECT_EQ(sink.all.front().method + sink.all.front().path, "POST/tasks");
    EXPECT_EQ(sink.all.front().entityId, lacking);
}

TEST_F(StoreMergeTest, ALargePullIsWrittenInTurnsAndAllThereWhenTheProgramEndsBeforeThem) {
    const Identifier lacking = start("lacking");
    const auto pull = copied();
    sink.all.clear();
    PulledLog pulled;
    const Timestamp day(clock.now() - std::chrono::hours{48});
    TaskModel theirs = task(lacking);
    theirs.id = random.identifier();
    theirs.title = "theirs";
    theirs.isActive = false;
    pulled.tasks.push_back(theirs);
    for (int i = 0; i < 2000; ++i) {
        TimeEntry entry;
        entry.id = random.identifier();
        entry.taskId = theirs.id;
        entry.startedAt = day;
        entry.endedAt = day;
        entry.durationMs = 0;
        entry.createdAt = day;
        pulled.timeEntries.push_back(entry);
    }
    finish(*pull, std::move(pulled), true);
    EXPECT_TRUE(sink.all.empty());
    loop.runFor(Millis{0});
    EXPECT_EQ(sink.all.size(), 3U) << "task, entry and switch that the server lacked";
    loop.runFor(Millis{1});
    const WholeLog before = log();
    restart();
    EXPECT_EQ(log(), before);

    const auto again = copied();
    PulledLog more = pulledFrom(again->copy);
    for (TimeEntry& entry : more.timeEntries) {
        if (!entry.isRunning()) {
            entry.startedAt = Timestamp(*day.instant() - Millis{1});
            entry.durationMs = 1;
        }
    }
    more.tasks.back().title = "renamed there";
    finish(*again, std::move(more), false);
    const WholeLog changed = log();
    restart();
    EXPECT_EQ(log(), changed) << "ended before the loop took another turn";
    expectInvariants();
}

TEST_F(StoreMergeTest, ALogIsSetAsideForItsOwnerAndReturns) {
    ASSERT_TRUE(store->changeUser("first"));
    start("of the first");
    const WholeLog first = log();
    const auto pull = copied();
    ASSERT_TRUE(store->changeUser("second"));
    EXPECT_TRUE(store->tasks().empty() && store->timeEntries().empty());
    EXPECT_EQ(finish(*pull, pulledFrom(pull->copy), false).changed, 0U) << "a pull for the first is void";
    EXPECT_TRUE(store->tasks().empty());
    start("of the second");
    restart();
    EXPECT_EQ(store->owner(), "second");
    ASSERT_TRUE(store->changeUser("first"));
    EXPECT_EQ(log(), first);
    restart();
    EXPECT_EQ(log(), first);
    ASSERT_TRUE(store->changeUser("second"));
    ASSERT_EQ(store->tasks().size(), 1U);
    EXPECT_EQ(store->tasks().front().title, "of the second");

    // An account that is deleted and made anew has another id, and its user the same log; nobody else has.
    const auto signIn = [&](const char* email, const char* user) {
        ASSERT_TRUE(values.setText("tolvik.auth.email", email));
        ASSERT_TRUE(store->changeUser(user));
    };
    ASSERT_TRUE(noteDeletedAccount(values, "a@example.org"));
    signIn("a@example.org", "second anew");
    ASSERT_EQ(store->tasks().size(), 1U);
    EXPECT_EQ(store->tasks().front().title, "of the second");
    ASSERT_TRUE(noteDeletedAccount(values, "a@example.org"));
    signIn("b@example.org", "third");
    EXPECT_TRUE(store->tasks().empty());
    signIn("a@example.org", "second anew");
    EXPECT_EQ(store->tasks().size(), 1U);
}

TEST_F(StoreMergeTest, APullThatAnImportOvertookMergesNothingAndStillKeepsWhatTheQueueSays) {
    start("here");
    const auto pull = copied();
    ASSERT_TRUE(
        store->importAll(R"({"tolvik:tasks":[],"tolvik:timeEntries":[],"tolvik:switchLogs":[],"tolvik:tags":[]})"));
    const PullOutcome outcome =
        store->finishPull(*pull, {}, {}, {{WriteBatch::AppendJournal{"outbox/somebody", R"({"done":"A"})"}}});
    EXPECT_TRUE(outcome.isVoid);
    EXPECT_TRUE(store->tasks().empty());
    const auto journal = values.journal("outbox/somebody");
    ASSERT_TRUE(journal);
    EXPECT_EQ(journal->size(), 1U);
}

}  // namespace
}  // namespace tolvik
