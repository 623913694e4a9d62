#include "core/merge.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tolvik {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

Timestamp at(int minute) {
    return Timestamp(Instant{1'794'304'800'000 + std::int64_t{minute} * 60'000});
}

TaskModel task(const char* id, bool active = false) {
    TaskModel out;
    out.id = Identifier(id);
    out.title = id;
    out.status = "open";
    out.isActive = active;
    out.createdAt = at(0);
    out.updatedAt = at(0);
    return out;
}

TaskModel done(const char* id, int minute) {
    TaskModel out = task(id);
    out.status = "done";
    out.completedAt = at(minute);
    return out;
}

TimeEntry entry(const char* id, const char* taskId, int start, std::optional<int> end = std::nullopt) {
    TimeEntry out{Identifier(id), Identifier(taskId), at(start), std::nullopt, std::nullopt, at(start)};
    if (end) {
        out.endedAt = at(*end);
        out.durationMs = (*end - start) * 60'000;
    }
    return out;
}

SwitchLog change(const char* id, const char* to, std::optional<Identifier> from = std::nullopt) {
    return {Identifier(id), from, Identifier(to), at(0), std::nullopt, "manual"};
}

std::vector<std::string> idsOf(const auto& records) {
    std::vector<std::string> out;
    out.reserve(records.size());
    for (const auto& record : records) {
        out.push_back(record.id.text());
    }
    return out;
}

TEST(SettleRunning, TheLatestGoesOnAndTheOthersEndAtItsStart) {
    const std::vector<TaskModel> tasks{task("A", true), task("B"), task("C", true)};
    std::vector<TimeEntry> running{entry("e1", "A", 5), entry("e3", "B", 9), entry("e2", "C", 9)};
    Settled expected = settleRunning(running, tasks);
    ASSERT_EQ(expected.entries.size(), 2U);
    EXPECT_THAT(expected.entries, ElementsAre(entry("e1", "A", 5, 9), entry("e2", "C", 9, 9)));
    EXPECT_THAT(expected.tasks, ElementsAre(task("A"), task("B", true), task("C")));
    std::ranges::sort(running, {}, [](const TimeEntry& e) { return e.id.text(); });
    const Settled other = settleRunning(running, tasks);
    EXPECT_THAT(other.entries, UnorderedElementsAre(expected.entries[0], expected.entries[1]));
    EXPECT_EQ(other.tasks, expected.tasks);
}

TEST(SettleRunning, ADoneTaskEndsItsEntryUnlessItWasTakenUpAgain) {
    const Settled ended = settleRunning(std::vector{entry("e", "A", 5)}, std::vector{done("A", 7)});
    EXPECT_THAT(ended.entries, ElementsAre(entry("e", "A", 5, 7)));
    EXPECT_THAT(ended.tasks, IsEmpty());
    const Settled opened = settleRunning(std::vector{entry("e", "A", 8)}, std::vector{done("A", 7)});
    EXPECT_THAT(opened.entries, IsEmpty());
    EXPECT_THAT(opened.tasks, ElementsAre(task("A", true)));
    // What does not fit without anything running.
    TaskModel odd = done("A", 7);
    odd.status = "open";
    EXPECT_THAT(settleRunning({}, std::vector{odd}).tasks, ElementsAre(task("A")));
}

TEST(Merge, HeldRecordsKeepTheLocalVersionAndOnlyMarkersRemove) {
    WholeLog local;
    local.tasks = {task("kept"), task("edited"), task("gone"), task("changed")};
    local.timeEntries = {entry("of gone", "gone", 1, 2), entry("of kept", "kept", 1, 2)};
    local.switchLogs = {change("from gone", "kept", Identifier("gone")), change("to gone", "gone")};
    PulledLog pulled;
    TaskModel renamed = task("changed");
    renamed.title = "renamed";
    TaskModel theirs = task("edited");
    theirs.title = "theirs";
    // "deleted here" was deleted on this device and its operation still waits: held and absent.
    pulled.tasks = {renamed, theirs, task("new"), task("deleted here"), task("new")};
    pulled.timeEntries = {entry("stray", "deleted here", 3, 4), entry("e", "new", 3, 4)};
    pulled.deleted = {{RecordKind::task, Identifier("gone"), at(9)},
                      {RecordKind::task, Identifier("edited"), at(9)},
                      {RecordKind::timeEntry, Identifier("kept"), at(9)}};
    const IdSet held{Identifier("edited"), Identifier("deleted here")};
    const MergePlan plan = planMerge(local, pulled, held, true);
    EXPECT_EQ(plan.strays, 0U) << "its task was deleted here";
    EXPECT_THAT(plan.lacking, UnorderedElementsAre(Identifier("kept"), Identifier("of kept"), Identifier("from gone")));
    EXPECT_THAT(plan.switchLogs.serverCopies, ElementsAre(local.switchLogs[0]));
    const WholeLog merged = mergeLog(local, pulled, held);
    EXPECT_THAT(merged.tasks, ElementsAre(task("kept"), task("edited"), renamed, task("new")));
    EXPECT_THAT(idsOf(merged.timeEntries), ElementsAre("of kept", "e"));
    EXPECT_THAT(merged.switchLogs, ElementsAre(change("from gone", "kept")));
}

TEST(Merge, QueuedEntriesAreClosedToo) {
    WholeLog local;
    local.tasks = {task("mine", true)};
    local.timeEntries = {entry("m", "mine", 5)};
    PulledLog pulled;
    pulled.tasks = {task("theirs", true)};
    pulled.timeEntries = {entry("t", "theirs", 6)};
    const WholeLog merged = mergeLog(local, pulled, {Identifier("mine"), Identifier("m")});
    EXPECT_THAT(merged.timeEntries, ElementsAre(entry("m", "mine", 5, 6), entry("t", "theirs", 6)));
    EXPECT_THAT(merged.tasks, ElementsAre(task("mine"), task("theirs", true)));
    // Once more changes nothing.
    EXPECT_EQ(mergeLog(merged, {merged.tasks, merged.timeEntries, {}, {}, {}}, {}), merged);
}

TEST(Merge, ATaskLosesAProjectThatIsNotHere) {
    WholeLog local;
    local.tags = {{Identifier("P"), "p", 0, at(0), at(0)}};
    local.tasks = {task("A")};
    local.tasks[0].tagId = Identifier("P");
    PulledLog pulled;
    pulled.deleted = {{RecordKind::tag, Identifier("P"), at(1)}};
    EXPECT_THAT(mergeLog(local, pulled, {}).tasks, ElementsAre(task("A")));
    EXPECT_EQ(mergeLog(local, pulled, {Identifier("P")}), local);
}

}  // namespace
}  // namespace tolvik
