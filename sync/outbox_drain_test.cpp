#include <cstdlib>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sync/sync_outbox.h"
#include "tests/fakes/fake_http_client.h"
#include "tests/fakes/fake_secret_store.h"
#include "tests/fakes/store_fixture.h"

namespace tolvik {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class OutboxDrainTest : public ::testing::Test {
protected:
    OutboxDrainTest() {
        std::string name = (std::filesystem::temp_directory_path() / "tolvik-XXXXXX").string();
        folder = ::mkdtemp(name.data());
        EXPECT_TRUE(session.establish("tok", "u1", "ann@example.org", "Ann"));
        restart();
    }
    ~OutboxDrainTest() override { std::filesystem::remove_all(folder); }

    void restart() {
        outbox = std::make_unique<SyncOutbox>(SyncOutbox::Ports{values, clock, random, loop, workers, folder.string()});
        outbox->goOnline({http, endpoint, session, holdOff});
        outbox->setUndo([this](OutboxQueue::Drop drop) {
            for (const OutboxOp& op : drop.ops) {
                dropped.push_back(op.method + " " + op.path);
            }
            restored = drop.records;
            outbox->queue().commit(std::move(drop.writes));
        });
    }
    void owe(const char* method, const char* path, const char* id, std::optional<std::string> body = "{}",
             std::optional<std::string> before = std::nullopt) {
        WriteBatch batch;
        const Mutation mutation{
            method, path, std::move(body), Identifier(id), {{RecordKind::task, Identifier(id), before}}};
        outbox->stage(batch, {&mutation, 1});
        ASSERT_TRUE(values.commit(batch));
        outbox->staged();
    }
    void answer(int status) {
        http.reply(status);
        loop.runPosted();
    }

    std::filesystem::path folder;
    FakeClock clock;
    FakeRandom random;
    VirtualMainLoop loop{clock};
    ImmediateWorkers workers;
    MemoryValueStore values;
    FakeSecretStore secrets;
    Session session{values, secrets};
    BackendEndpoint endpoint{[] { return std::optional<std::string>("https://api"); }};
    FakeHttpClient http{loop};
    FakeHoldOff holdOff;
    std::vector<std::string> dropped;
    std::vector<ServerCopy> restored;
    std::unique_ptr<SyncOutbox> outbox;
};

TEST_F(OutboxDrainTest, SendsInOrderOneAtATimeAndForgetsDurably) {
    owe("POST", "/tasks", "A", R"({"id":"A"})");
    owe("DELETE", "/tasks/B", "B", std::nullopt, "{}");
    ASSERT_EQ(http.exchanges.size(), 1U);
    EXPECT_EQ(http.last().url, "https://api/tasks");
    EXPECT_EQ(http.last().headers, (HttpHeaders{{"content-type", "application/json"},
                                                {"x-client", "macos"},
                                                {"x-op-id", outbox->ops().front().id},
                                                {"authorization", "Bearer tok"}}));
    EXPECT_EQ(http.last().timeout, Millis{15'000});
    EXPECT_EQ(holdOff.until, clock.now() + Millis{3000});
    answer(204);
    ASSERT_EQ(http.exchanges.size(), 2U);
    EXPECT_FALSE(http.last().body);
    loop.runFor(OutboxQueue::kTogether);
    restart();
    EXPECT_EQ(outbox->pendingCount(), 1U) << "the first is not sent again";
    outbox->flush();
    answer(404);
    EXPECT_EQ(outbox->pendingCount(), 0U) << "what is gone is deleted";
    EXPECT_THAT(dropped, IsEmpty());
    restart();
    EXPECT_EQ(outbox->pendingCount(), 0U);
    EXPECT_THAT(outbox->queue().heldIds(), IsEmpty());
}

TEST_F(OutboxDrainTest, WhatLeavesTheQueueIsCommittedTogether) {
    for (int i = 0; i < 100; ++i) {
        owe("PATCH", "/tasks/A", "A", R"({"title":"x"})", R"({"id":"A","title":"a"})");
    }
    loop.runFor(Millis{60'000});
    const std::size_t before = values.commits.size();
    for (int i = 0; i < 99; ++i) {
        answer(200);
    }
    EXPECT_EQ(values.commits.size(), before);
    loop.runFor(OutboxQueue::kTogether);
    EXPECT_EQ(values.commits.size(), before + 1);
    answer(200);
    EXPECT_EQ(values.commits.size(), before + 2) << "the last one at once";
    restart();
    EXPECT_EQ(outbox->pendingCount(), 0U);
    EXPECT_THAT(outbox->queue().heldIds(), IsEmpty());
}

TEST_F(OutboxDrainTest, AProcessThatDiesBeforeTheCommitSendsTheSameOperationsAgain) {
    owe("PATCH", "/tasks/A", "A", R"({"title":"x"})", R"({"id":"A","title":"a"})");
    owe("PATCH", "/tasks/B", "B", R"({"title":"y"})", R"({"id":"B","title":"b"})");
    const std::string first = outbox->ops().front().id;
    answer(200);
    restart();
    ASSERT_EQ(outbox->pendingCount(), 2U);
    EXPECT_EQ(outbox->ops().front().id, first) << "by which the server knows it";
    outbox->flush();
    answer(200);
    // A change of the same record is committed at once, and what left the queue goes before it.
    owe("PATCH", "/tasks/A", "A", R"({"title":"z"})", R"({"id":"A","title":"x"})");
    restart();
    EXPECT_EQ(outbox->pendingCount(), 2U);
    outbox->flush();
    answer(200);
    answer(409);
    ASSERT_EQ(restored.size(), 1U);
    EXPECT_EQ(restored[0].record, R"({"id":"A","title":"x"})") << "as the server has it";
    EXPECT_EQ(outbox->pendingCount(), 0U);
}

TEST_F(OutboxDrainTest, WaitsLongerAndLongerWhileOffline) {
    owe("POST", "/tasks", "A");
    for (const int seconds : {5, 10, 20, 40, 60, 60}) {
        const std::size_t sent = http.exchanges.size();
        http.reply(429);
        loop.runPosted();
        EXPECT_EQ(outbox->parkedReason(), "Offline, will retry");
        loop.runFor(Millis{seconds * 1000 - 1});
        EXPECT_EQ(http.exchanges.size(), sent);
        loop.runFor(Millis{1});
        EXPECT_EQ(http.exchanges.size(), sent + 1);
    }
    EXPECT_EQ(outbox->ops().front().serverFailures, 0);
    answer(200);
    EXPECT_FALSE(outbox->parkedReason());
}

TEST_F(OutboxDrainTest, ARejectedCreationTakesAlongWhatIsBuiltOnIt) {
    owe("POST", "/tasks", "A");
    owe("PATCH", "/tasks/A", "A", R"({"title":"x"})", R"({"title":"a"})");
    owe("PATCH", "/tasks/C", "C", R"({"title":"y"})", R"({"title":"c","updatedAt":"u"})");
    owe("PATCH", "/tasks/A", "A", R"({"title":"z"})", R"({"title":"x"})");
    answer(422);
    EXPECT_THAT(dropped, ElementsAre("POST /tasks", "PATCH /tasks/A", "PATCH /tasks/A"));
    EXPECT_THAT(restored, ElementsAre(ServerCopy{RecordKind::task, Identifier("A"), std::nullopt}));
    EXPECT_EQ(outbox->lastRejection(), "The server rejected a change; it was undone locally.");
    EXPECT_EQ(http.last().url, "https://api/tasks/C") << "goes on at once";
    loop.runFor(Millis{8000});
    EXPECT_FALSE(outbox->lastRejection());
}

TEST_F(OutboxDrainTest, ARecordIsItsServerCopyAndWhatIsStillQueued) {
    owe("PATCH", "/tasks/C", "C", R"({"title":"x"})", R"({"id":"C","title":"c","isActive":false})");
    owe("PATCH", "/tasks/C", "C", R"({"title":"y"})", R"({"id":"C","title":"x","isActive":false})");
    owe("PATCH", "/tasks/C", "C", R"({"isActive":true})", R"({"id":"C","title":"y","isActive":false})");
    answer(200);
    loop.runFor(OutboxQueue::kTogether);
    restart();
    outbox->flush();
    answer(409);
    ASSERT_EQ(restored.size(), 1U);
    EXPECT_EQ(restored[0].record, R"({"id":"C","title":"x","isActive":true})");
}

TEST_F(OutboxDrainTest, ATaskIsSentAgainWithoutItsProject) {
    owe("POST", "/tasks", "A", R"({"id":"A","tagId":"P"})");
    answer(400);
    EXPECT_EQ(http.last().body, R"({"id":"A"})");
    EXPECT_TRUE(outbox->ops().front().droppedTag);
    restart();
    EXPECT_TRUE(outbox->ops().front().droppedTag);
    outbox->flush();
    answer(400);
    EXPECT_THAT(dropped, ElementsAre("POST /tasks"));
}

TEST_F(OutboxDrainTest, AnOperationThatFailsForADayIsSkippedAlone) {
    owe("POST", "/tasks", "A");
    owe("PATCH", "/tasks/A", "A", R"({"title":"x"})", "{}");
    answer(503);
    EXPECT_EQ(outbox->parkedReason(), "Server error, retrying");
    EXPECT_EQ(outbox->ops().front().serverFailures, 1);
    clock.advance(Millis{25 * 3'600'000});
    loop.runFor(Millis{5000});
    answer(500);
    EXPECT_THAT(dropped, ElementsAre("POST /tasks"));
    EXPECT_EQ(outbox->lastRejection(),
              "A change could not be sent for over a day and was skipped; check that the app is up to date.");
    EXPECT_EQ(http.last().method, "PATCH");
}

TEST_F(OutboxDrainTest, AnExpiredSessionStopsAndKeeps) {
    owe("POST", "/tasks", "A");
    answer(401);
    EXPECT_FALSE(session.isSignedIn());
    EXPECT_EQ(outbox->pendingCount(), 1U);
    loop.runFor(Millis{600'000});
    EXPECT_EQ(http.exchanges.size(), 1U);
}

TEST_F(OutboxDrainTest, WhatWasQueuedSignedOutComesBehindTheUsersOwn) {
    owe("POST", "/own", "A");
    session.clear();
    outbox->userChanged();
    EXPECT_EQ(outbox->pendingCount(), 0U);
    owe("POST", "/anon", "B");
    loop.runFor(Millis{1000});
    const std::string anonymous = outbox->filePath();
    EXPECT_TRUE(std::filesystem::exists(anonymous));
    ASSERT_TRUE(session.establish("tok", "u1", "ann@example.org", "Ann"));
    ASSERT_TRUE(outbox->userSignedIn());
    ASSERT_EQ(outbox->pendingCount(), 2U);
    EXPECT_EQ(outbox->ops().back().path, "/anon");
    EXPECT_THAT(outbox->queue().heldIds(), ::testing::UnorderedElementsAre(Identifier("A"), Identifier("B")));
    loop.runFor(Millis{5000});
    EXPECT_FALSE(std::filesystem::exists(anonymous));
    restart();
    EXPECT_EQ(outbox->pendingCount(), 2U);
}

}  // namespace
}  // namespace tolvik
