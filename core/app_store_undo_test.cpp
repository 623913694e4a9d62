#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include "tests/fakes/store_fixture.h"

namespace tolvik {
namespace {

using Lines = std::vector<std::string>;

class UndoTest : public StoreTest {};

TEST_F(UndoTest, TakesASwitchBackOnceAndCompensatesIt) {
    const Identifier a = start("a");
    clock.advance(Millis{5000});
    start("b");
    clock.advance(Millis{5000});
    const WholeLog before = log();
    store->switchToTask(a, ChangeSource::voice);
    EXPECT_EQ(store->undoable(), "Switched to a");
    sink.all.clear();
    clock.advance(Millis{3000});
    EXPECT_EQ(store->undo(), "Switched to a");
    EXPECT_EQ(log(), before);
    EXPECT_EQ(sink.all[2].body, R"({"endedAt":null,"durationMs":null})");
    EXPECT_EQ(sink.takeLines(), (Lines{"PATCH /tasks", "PATCH /tasks", "PATCH /time-entries", "DELETE /switch-logs",
                                       "DELETE /time-entries"}));
    EXPECT_EQ(store->undoable(), std::nullopt);
    EXPECT_EQ(store->undo(), std::nullopt);
    EXPECT_EQ(log(), before);
}

TEST_F(UndoTest, ADeletedTaskReturnsToItsPlaceWithEverything) {
    std::vector<Identifier> tasks;
    for (int i = 0; i < 6; ++i) {
        tasks.push_back(start("task"));
        clock.advance(Millis{1000});
    }
    for (int i = 0; i < 400; ++i) {
        store->switchToTask(tasks[static_cast<std::size_t>(i) % tasks.size()]);
        clock.advance(Millis{1000});
    }
    const WholeLog before = log();
    store->deleteTask(tasks[2]);
    EXPECT_TRUE(store->deletedTaskIds().contains(tasks[2]));
    restart();
    EXPECT_EQ(store->undoable(), "Deleted task");
    sink.all.clear();
    EXPECT_TRUE(store->undo());
    EXPECT_EQ(log(), before);
    EXPECT_FALSE(store->deletedTaskIds().contains(tasks[2]));
    EXPECT_EQ(sink.all.front().method + sink.all.front().path, "POST/tasks");
    restart();
    EXPECT_EQ(log(), before);
    EXPECT_EQ(store->undoable(), std::nullopt);
}

TEST_F(UndoTest, UndoOfAStartDeletesTheTaskOnTheServerAlone) {
    start("a");
    const WholeLog before = log();
    start("b");
    sink.all.clear();
    store->undo();
    EXPECT_EQ(log(), before);
    // What belongs to the task goes with it.
    EXPECT_EQ(sink.takeLines(), (Lines{"PATCH /tasks", "PATCH /time-entries", "DELETE /tasks"}));
}

TEST_F(UndoTest, ATaskThatWasForgottenOvernightStaysClosed) {
    start("a");
    clock.advance(std::chrono::hours{30});
    store->refresh();
    EXPECT_EQ(store->undoable(), std::nullopt);
}

/// One random operation; its words when something happened.
std::optional<std::string> act(AppStore& store, FakeClock& clock) {
    clock.advance(Millis{*rc::gen::inRange(0, 900'000)});
    const auto& tasks = store.tasks();
    const auto& tags = store.tags();
    const Identifier task = tasks.empty() ? Identifier() : tasks[*rc::gen::inRange<std::size_t>(0, tasks.size())].id;
    const Identifier tag = tags.empty() ? Identifier() : tags[*rc::gen::inRange<std::size_t>(0, tags.size())].id;
    bool changed = false;
    switch (*rc::gen::inRange(0, 13)) {
        case 0:
        case 1:
            changed = store.startTask(*rc::gen::arbitrary<std::string>()).has_value();
            break;
        case 2:
        case 3:
        case 4:
            changed = store.switchToTask(task, ChangeSource::voice, "because") == Outcome::changed;
            break;
        case 5:
            changed = store.stopTask(task) == Outcome::changed;
            break;
        case 6:
            changed = store.markDone(task) == Outcome::changed;
            break;
        case 7:
            changed = store.deleteTask(task) == Outcome::changed;
            break;
        case 8:
            changed =
                store.updateTask(task, {.title = *rc::gen::arbitrary<std::string>(), .tagId = tag}) == Outcome::changed;
            break;
        case 9:
            changed = store.createProject("project").has_value();
            break;
        case 10:
            changed = store.deleteProject(tag) == Outcome::changed;
            break;
        case 11:
            changed = store.renameProject(tag, *rc::gen::arbitrary<std::string>()) == Outcome::changed;
            break;
        default:
            if (!store.switchLogs().empty()) {
                const auto at = *rc::gen::inRange<std::size_t>(0, store.switchLogs().size());
                changed = store.setSwitchReason(store.switchLogs()[at].id, *rc::gen::arbitrary<std::string>()) ==
                          Outcome::changed;
            }
            break;
    }
    return changed ? store.undoable() : std::nullopt;
}

class AnyLog : public StoreTest {
public:
    void TestBody() override {}
    using StoreTest::clock;
    using StoreTest::expectInvariants;
    using StoreTest::log;
    using StoreTest::restart;
    using StoreTest::store;
    using StoreTest::values;
};

RC_GTEST_PROP(AnyLogProperty, KeepsItsInvariantsAndTakesAnyOperationBack, ()) {
    AnyLog any;
    const int length = *rc::gen::inRange(1, 60);
    for (int i = 0; i < length; ++i) {
        const WholeLog before = any.log();
        const auto shown = any.store->currentDate();
        const auto words = act(*any.store, any.clock);
        any.expectInvariants();
        if (!words || any.store->currentDate() != shown) {
            // Midnight closes what ran; that is not part of the operation.
            continue;
        }
        if (*rc::gen::inRange(0, 3) == 0) {
            if (*rc::gen::inRange(0, 2) == 0) {
                any.restart();
            }
            RC_ASSERT(any.store->undo() == words);
            const WholeLog after = any.log();
            RC_ASSERT(after.tasks == before.tasks);
            RC_ASSERT(after.timeEntries == before.timeEntries);
            RC_ASSERT(after.switchLogs == before.switchLogs);
            RC_ASSERT(after.tags == before.tags);
            any.expectInvariants();
        }
        if (*rc::gen::inRange(0, 8) == 0) {
            const WholeLog present = any.log();
            any.restart();
            RC_ASSERT(any.log() == present);
        }
        RC_ASSERT(!::testing::Test::HasFailure());
    }
}

}  // namespace
}  // namespace tolvik
