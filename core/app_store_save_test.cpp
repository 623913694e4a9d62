#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fakes/store_fixture.h"

namespace tolvik {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;

class SaveTest : public StoreTest {
protected:
    void put(std::string_view key, std::string_view bytes) {
        ASSERT_TRUE(values.commit({{WriteBatch::PutValue{std::string(key), std::string(bytes)}}}));
    }
    std::vector<std::string> notices() {
        std::vector<std::string> out;
        const auto subscription = store->onNotice([&](const StoreNotice& n) { out.push_back(n.text); });
        return out;
    }
    std::vector<std::string> keysWith(std::string_view part) {
        std::vector<std::string> out;
        const auto keys = values.keys().value();
        for (const auto& key : keys) {
            if (key.contains(part)) {
                out.push_back(key);
            }
        }
        return out;
    }
};

TEST_F(SaveTest, WhatIsStoredIsTheArrayOfRecords) {
    const Identifier a = start("a \"quoted\" title\n");
    EXPECT_EQ(values.get("tolvik:tasks").value(),
              R"([{"id":")" + a.text() + R"(","title":"a \"quoted\" title","status":"open","isActive":true,)" +
                  R"("createdAt":"2026-11-10T10:00:00.000Z","updatedAt":"2026-11-10T10:00:00.000Z",)" +
                  R"("sortOrder":0,"colorIndex":0}])");
    const WholeLog before = log();
    restart();
    EXPECT_EQ(log(), before);
    EXPECT_EQ(store->runningEntry()->taskId, a);
    EXPECT_EQ(store->activeTask()->id, a);
}

TEST_F(SaveTest, AChangeWritesOnlyThePiecesItTouchesInOneTransaction) {
    std::vector<Identifier> tasks;
    for (int i = 0; i < 300; ++i) {
        tasks.push_back(start("task " + std::to_string(i)));
        clock.advance(Millis{1000});
    }
    restart();
    values.commits.clear();
    store->switchToTask(tasks[3]);
    ASSERT_EQ(values.commits.size(), 1U);
    std::size_t bytes = 0;
    std::size_t pieces = 0;
    for (const auto& write : values.commits[0].writes) {
        if (const auto* piece = std::get_if<WriteBatch::PutPiece>(&write)) {
            bytes += piece->bytes.size();
            ++pieces;
        }
    }
    EXPECT_LE(pieces, 5U);
    EXPECT_LT(bytes, 40'000U);
    const WholeLog before = log();
    restart();
    EXPECT_EQ(log(), before);
}

TEST_F(SaveTest, AValueThatDoesNotDecodeStartsEmptyAndIsKeptAside) {
    start("a");
    const auto entries = store->timeEntries();
    store.reset();
    put("tolvik:tasks", R"([{"id":"x","title":"no status"}])");
    restart();
    EXPECT_THAT(store->tasks(), IsEmpty());
    EXPECT_EQ(store->timeEntries().size(), 1U);
    // The entry that ran belongs to nobody now.
    EXPECT_EQ(store->runningEntry(), nullptr);
    const auto aside = keysWith("tolvik:tasks.unreadable-");
    ASSERT_EQ(aside.size(), 1U);
    EXPECT_EQ(values.get(aside[0]).value(), R"([{"id":"x","title":"no status"}])");
    const auto told = notices();
    ASSERT_EQ(told.size(), 1U);
    EXPECT_THAT(told[0], HasSubstr(aside[0]));
    EXPECT_THAT(notices(), IsEmpty());
    start("b");
    restart();
    EXPECT_EQ(store->tasks().size(), 1U);
    EXPECT_THAT(notices(), IsEmpty());
}

TEST_F(SaveTest, ADamagedPieceCostsItsOwnRecordsOnly) {
    for (int i = 0; i < 100; ++i) {
        start("task");
        clock.advance(Millis{1000});
    }
    const auto pieces = values.pieces("tolvik:timeEntries").value();
    ASSERT_EQ(pieces.size(), 4U);
    store.reset();
    ASSERT_TRUE(values.commit({{WriteBatch::PutPiece{"tolvik:timeEntries", pieces[1], "{\"id\":"}}}));
    restart();
    EXPECT_EQ(store->timeEntries().size(), 68U);
    loop.runFor(Millis{10});
    ASSERT_EQ(keysWith("tolvik:timeEntries.unreadable-").size(), 1U);
    EXPECT_EQ(values.get(keysWith("tolvik:timeEntries.unreadable-")[0]).value(), "{\"id\":");
    EXPECT_EQ(values.pieces("tolvik:timeEntries")->size(), 3U);
    start("goes on");
    restart();
    EXPECT_EQ(store->timeEntries().size(), 69U);
    expectInvariants();
}

TEST_F(SaveTest, AValueStoredWholeIsTakenIn) {
    start("a");
    const WholeLog before = log();
    const std::string tasks = values.get("tolvik:tasks")->value();
    store.reset();
    put("tolvik:tasks", tasks);
    restart();
    EXPECT_EQ(log(), before);
    start("b");
    restart();
    EXPECT_EQ(store->tasks().size(), 2U);
}

TEST_F(SaveTest, AFullDiskIsToldAndNothingIsLost) {
    const Identifier a = start("a");
    int changes = 0;
    const auto subscription = store->onChanged([&] { ++changes; });
    values.failure = StoreError::full;
    sink.all.clear();
    const Identifier b = start("b");
    store->markDone(b);
    store->switchToTask(a);
    EXPECT_EQ(store->saveProblem(), StoreError::full);
    EXPECT_EQ(store->activeTask()->id, a);
    const WholeLog before = log();
    const std::size_t owed = sink.all.size();
    const std::size_t owedBefore = values.journal("fake")->size();
    loop.runFor(Millis{120'000});
    EXPECT_EQ(store->saveProblem(), StoreError::full);
    values.failure.reset();
    const int changesBefore = changes;
    values.commits.clear();
    loop.runFor(Millis{61'000});
    EXPECT_EQ(store->saveProblem(), std::nullopt);
    EXPECT_EQ(changes, changesBefore + 1);
    EXPECT_EQ(values.commits.size(), 1U);
    EXPECT_EQ(values.journal("fake")->size(), owedBefore + owed);
    restart();
    EXPECT_EQ(log(), before);
    // The next change tries at once as well.
    values.failure = StoreError::readOnly;
    start("c");
    values.failure.reset();
    start("d");
    EXPECT_EQ(store->saveProblem(), std::nullopt);
    restart();
    EXPECT_EQ(store->tasks().size(), 4U);
}

TEST_F(SaveTest, LogsThatDoNotFitTogetherAreMended) {
    store.reset();
    put("tolvik:tasks",
        R"([{"id":"a","title":"a","status":"open","isActive":true,"createdAt":"","updatedAt":"","sortOrder":0,
             "colorIndex":0},
            {"id":"b","title":"b","status":"open","isActive":true,"createdAt":"","updatedAt":"","sortOrder":1,
             "colorIndex":1}])");
    put("tolvik:timeEntries",
        R"([{"id":"1","taskId":"a","startedAt":"2026-11-10T08:00:00.000Z","createdAt":""},
            {"id":"2","taskId":"b","startedAt":"2026-11-10T09:00:00.000Z","endedAt":null,"createdAt":""},
            {"id":"3","taskId":"nobody","startedAt":"2026-11-09T09:00:00.000Z","createdAt":""}])");
    restart();
    EXPECT_EQ(store->activeTask()->title, "b");
    EXPECT_EQ(store->runningEntry()->id, Identifier("2"));
    EXPECT_EQ(store->timeEntries()[0].durationMs, 3'600'000);
    EXPECT_EQ(store->timeEntries()[2].endedAt, Timestamp(utc("2026-11-09T23:59:59.000Z")));
    EXPECT_FALSE(store->tasks()[0].isActive);
}

TEST_F(SaveTest, AnImportTellsTheServerWhatItTookOutChangedAndBroughtBack) {
    const Identifier kept = start("kept");
    clock.advance(Millis{60'000});
    const Identifier gone = start("deleted later");
    const std::string exported = store->exportAll().value();
    store->deleteTask(gone);
    const Identifier added = start("added later");
    store->createProject("added later");
    (void)store->updateTask(kept, {.title = "renamed later", .tagId = std::nullopt});
    sink.all.clear();

    ASSERT_TRUE(store->importAll(exported));
    const auto has = [&](const std::string& method, const std::string& path, const std::string& part) {
        return std::ranges::any_of(sink.all, [&](const Mutation& one) {
            return one.method == method && one.path == path && one.body.value_or("").contains(part);
        });
    };
    EXPECT_TRUE(has("DELETE", "/tasks/" + added.text(), ""));
    EXPECT_TRUE(has("PATCH", "/tasks/" + kept.text(), R"("title":"kept")"));
    EXPECT_TRUE(has("POST", "/tasks", gone.text()));
    EXPECT_TRUE(has("POST", "/time-entries", gone.text()));
    EXPECT_TRUE(has("POST", "/switch-logs", gone.text()));
    EXPECT_TRUE(std::ranges::any_of(
        sink.all, [](const Mutation& one) { return one.method == "DELETE" && one.path.starts_with("/tags/"); }));
    // The same again owes nothing, nor does a log that begins with the import.
    sink.all.clear();
    ASSERT_TRUE(store->importAll(exported));
    EXPECT_THAT(sink.takeLines(), IsEmpty());
}

TEST_F(SaveTest, ExportAndImport) {
    for (int i = 0; i < 90; ++i) {
        start("task " + std::to_string(i));
        clock.advance(Millis{1000});
    }
    store->createProject("p");
    const std::string exported = store->exportAll().value();
    const WholeLog before = log();
    store->deleteTask(store->tasks()[0].id);
    const std::string tasksBefore = values.get("tolvik:tasks")->value();
    ASSERT_TRUE(store->importAll(exported));
    EXPECT_EQ(log(), before);
    EXPECT_EQ(store->undoable(), std::nullopt);
    const auto aside = keysWith("tolvik:tasks.before-import-");
    ASSERT_EQ(aside.size(), 1U);
    EXPECT_EQ(values.get(aside[0]).value(), tasksBefore);
    restart();
    EXPECT_EQ(log(), before);

    const std::pair<const char*, const char*> bad[] = {
        {"", "the file"},
        {"[]", "the file: not an object"},
        {R"({"tasks":[]})", "none of the four"},
        {R"({"tolvik:tasks":[{"id":"a"}]})", "tolvik:tasks[0].title: missing"},
        {R"({"tolvik:tags":[],"tolvik:switchLogs":{}})", "tolvik:switchLogs: not an array"},
        {R"({"tolvik:tags":[{"id":"a","name":"n","colorIndex":0,"createdAt":"","updatedAt":""},
                            {"id":"a","name":"n","colorIndex":0,"createdAt":"","updatedAt":""}]})",
         "tolvik:tags[1].id: the same as [0].id"},
    };
    for (const auto& [json, place] : bad) {
        const auto imported = store->importAll(json);
        ASSERT_FALSE(imported) << json;
        EXPECT_THAT(imported.error(), HasSubstr(place));
    }
    EXPECT_EQ(log(), before);
    values.failure = StoreError::full;
    EXPECT_FALSE(store->importAll(R"({"tolvik:tasks":[]})"));
    EXPECT_EQ(log(), before);
    values.failure.reset();
    start("goes on");
    const WholeLog after = log();
    values.commits.clear();
    ASSERT_TRUE(store->importAll(exported));
    // Copies of what was, then the other log at once with what the server is owed for it.
    EXPECT_EQ(values.commits.size(), 2U);
    EXPECT_EQ(log(), before);
    restart();
    EXPECT_EQ(log(), before);
    EXPECT_NE(after, before);
}

}  // namespace
}  // namespace tolvik
