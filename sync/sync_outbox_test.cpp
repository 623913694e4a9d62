#include "sync/sync_outbox.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>

#include "sync/outbox_file.h"
#include "tests/fakes/store_fixture.h"

namespace tolvik {
namespace {

class SyncOutboxTest : public ::testing::Test {
protected:
    SyncOutboxTest() {
        std::string name = (std::filesystem::temp_directory_path() / "tolvik-XXXXXX").string();
        folder = ::mkdtemp(name.data());
        restart();
    }
    ~SyncOutboxTest() override { std::filesystem::remove_all(folder); }

    void restart() {
        outbox = std::make_unique<SyncOutbox>(SyncOutbox::Ports{values, clock, random, loop, workers, folder.string()});
    }
    /// One change that owes one operation; false when it was held back.
    bool change(const std::string& path) {
        WriteBatch batch;
        const Mutation mutation{"POST", path, R"({"title":"ä"})", Identifier("T-1")};
        outbox->stage(batch, {&mutation, 1});
        const bool committed = values.commit(batch).has_value();
        outbox->staged();
        return committed;
    }
    [[nodiscard]] std::vector<std::string> paths() const {
        std::vector<std::string> out;
        for (const OutboxOp& op : outbox->ops()) {
            out.push_back(op.path);
        }
        return out;
    }
    [[nodiscard]] std::vector<OutboxOp> fileOps() const { return readOutboxFile(outbox->filePath(), clock.now()); }

    std::filesystem::path folder;
    FakeClock clock;
    FakeRandom random;
    VirtualMainLoop loop{clock};
    ImmediateWorkers workers;
    MemoryValueStore values;
    std::unique_ptr<SyncOutbox> outbox;
};

using Paths = std::vector<std::string>;

TEST_F(SyncOutboxTest, TheFileFollowsAndTheJournalIsTrimmed) {
    change("/tasks");
    EXPECT_EQ(outbox->pendingCount(), 1U);
    EXPECT_FALSE(std::filesystem::exists(outbox->filePath()));
    loop.runFor(Millis{1000});
    EXPECT_EQ(outbox->filePath(), (folder / "sync-outbox-anon.json").string());
    ASSERT_EQ(fileOps().size(), 1U);
    EXPECT_EQ(fileOps()[0].body, R"({"title":"ä"})");
    EXPECT_EQ(fileOps()[0].entityId, "T-1");
    EXPECT_EQ(fileOps()[0].createdAt, "2026-11-10T10:00:00.000Z");
    EXPECT_TRUE(values.journal("outbox")->empty());
    change("/tags");
    loop.runFor(Millis{1000});
    restart();
    EXPECT_EQ(paths(), (Paths{"/tasks", "/tags"}));
}

TEST_F(SyncOutboxTest, NothingIsLostOrDoubledWhereverTheProcessEnds) {
    change("/1");
    loop.runFor(Millis{1000});
    change("/2");
    restart();  // before the file was written
    change("/3");
    EXPECT_EQ(paths(), (Paths{"/1", "/2", "/3"}));
    // After the file was written and before the journal was trimmed.
    ASSERT_TRUE(writeOutboxFile(outbox->filePath(), {outbox->ops().begin(), outbox->ops().end()}, false));
    restart();
    EXPECT_EQ(paths(), (Paths{"/1", "/2", "/3"}));
    loop.runFor(Millis{1000});
    EXPECT_EQ(fileOps().size(), 3U);
}

TEST_F(SyncOutboxTest, ManyThatWereMadeReadyAreQueuedLikeSingleOnes) {
    const auto many = [&](int from, const std::optional<std::string>& before) {
        std::vector<Mutation> out;
        for (int i = from; i < from + 1200; ++i) {
            const Identifier id(std::to_string(i));
            out.push_back({"POST", "/dictionaries", "{}", id, {{RecordKind::dictionary, id, before}}});
        }
        auto ready = outbox->makeReady()(out, clock.now(), {1, static_cast<std::uint64_t>(from)});
        WriteBatch batch;
        outbox->stageReady(batch, std::move(ready));
        std::size_t bytes = 0;
        for (const auto& write : batch.writes) {
            bytes += std::get<WriteBatch::AppendJournal>(write).bytes.size();
        }
        EXPECT_LE(bytes, 500U) << "the transaction names files";
        EXPECT_TRUE(values.commit(batch));
        (void)outbox->takeIn();
    };
    many(0, std::nullopt);
    const auto queued = [&] {
        IdSet operations;
        std::vector<std::string> entities;
        for (const OutboxOp& op : outbox->ops()) {
            operations.insert(Identifier(op.id));
            entities.push_back(*op.entityId);
        }
        EXPECT_EQ(operations.size(), entities.size()) << "each has an id of its own";
        return entities;
    };
    ASSERT_EQ(queued().size(), 1200U);  // and loads it
    many(1200, R"({"id":"x"})");
    const auto whole = queued();
    ASSERT_EQ(whole.size(), 2400U);
    EXPECT_EQ(whole[1300], "1300");
    EXPECT_TRUE(outbox->queue().isQueued(Identifier("7")));
    const auto copies = [&] { return outbox->queue().copies().all(); };
    EXPECT_EQ(copies().at(Identifier("7")).record, std::nullopt);
    EXPECT_EQ(copies().at(Identifier("2000")).record, R"({"id":"x"})");
    restart();  // out of the journals
    EXPECT_EQ(queued(), whole);
    EXPECT_EQ(copies().size(), 2400U);
    EXPECT_EQ(copies().at(Identifier("2000")).record, R"({"id":"x"})");
    EXPECT_TRUE(copies().at(Identifier("2000")).holders.contains(Identifier("2000")));
    loop.runFor(Millis{61'000});
    EXPECT_TRUE(values.journal("outbox")->empty());
    restart();  // out of the queue's file
    EXPECT_EQ(queued(), whole);
    outbox->clear();
    loop.runFor(Millis{1000});
    EXPECT_TRUE(std::filesystem::is_empty(folder)) << "nothing of it stays";
}

TEST_F(SyncOutboxTest, AProcessThatEndsBeforeItNamesAFileQueuesNothing) {
    std::vector<Mutation> all(40, {"POST", "/dictionaries", "{}", Identifier("T-1"), {}});
    auto ready = outbox->makeReady()(all, clock.now(), {1, 2});
    EXPECT_FALSE(std::filesystem::is_empty(folder));
    restart();
    EXPECT_EQ(outbox->pendingCount(), 0U);
    loop.runFor(Millis{1000});
    EXPECT_TRUE(std::filesystem::is_empty(folder)) << "swept";
    // Its file is gone now, so what it holds is written itself.
    WriteBatch batch;
    outbox->stageReady(batch, std::move(ready));
    ASSERT_TRUE(values.commit(batch));
    restart();
    EXPECT_EQ(outbox->pendingCount(), 40U);
}

TEST_F(SyncOutboxTest, AnOperationWhoseChangeWaitsForTheDiskStaysOutOfTheFile) {
    change("/1");
    values.failure = StoreError::full;
    EXPECT_FALSE(change("/2"));
    EXPECT_EQ(outbox->pendingCount(), 2U);
    values.failure.reset();
    loop.runFor(Millis{1000});
    EXPECT_EQ(fileOps().size(), 1U);
}

TEST_F(SyncOutboxTest, AProcessThatEndsLeavesTheFileBehind) {
    change("/1");
    outbox->settle();
    EXPECT_EQ(fileOps().size(), 1U);
    restart();
    for (int i = 0; i < 100; ++i) {
        change("/more");
    }
    outbox->settle();
    EXPECT_EQ(fileOps().size(), 101U);
    EXPECT_TRUE(values.journal("outbox")->empty());
    restart();
    EXPECT_EQ(outbox->pendingCount(), 101U);
}

TEST_F(SyncOutboxTest, ALongQueueIsNotWrittenForEachOperation) {
    for (int i = 0; i < 10'000; ++i) {
        change("/tasks");
    }
    outbox->settle();
    const auto written = std::filesystem::last_write_time(outbox->filePath());
    restart();
    change("/one");
    outbox->settle();
    loop.runFor(Millis{5000});
    EXPECT_EQ(std::filesystem::last_write_time(outbox->filePath()), written);
    EXPECT_EQ(values.journal("outbox")->size(), 1U);
    EXPECT_EQ(outbox->pendingCount(), 10'001U);
    loop.runFor(Millis{60'000});
    EXPECT_EQ(fileOps().size(), 10'001U);
}

TEST_F(SyncOutboxTest, AnUnreadableFileIsKeptAside) {
    std::ofstream(outbox->filePath()) << R"([{"id":"x"}])";
    change("/1");
    EXPECT_EQ(paths(), (Paths{"/1"}));
    int aside = 0;
    for (const auto& file : std::filesystem::directory_iterator(folder)) {
        aside += file.path().string().contains(".unreadable-") ? 1 : 0;
    }
    EXPECT_EQ(aside, 1);
}

TEST_F(SyncOutboxTest, OlderFilesLackTheLastMembers) {
    const auto ops = readOps(
        R"([{"id":"a","method":"PATCH","path":"/tasks/1","body":null,"createdAt":"2026-01-01T00:00:00.000Z"},
            {"id":"b","method":"DELETE","path":"/tasks/1","createdAt":"x","serverFailures":2,
             "serverFailingSince":7.5e8,"droppedTag":true}])");
    ASSERT_TRUE(ops);
    EXPECT_EQ((*ops)[0].serverFailures, 0);
    EXPECT_FALSE((*ops)[0].body);
    EXPECT_EQ((*ops)[1].serverFailingSince, 7.5e8);
    std::string again = "[";
    appendOp(again, (*ops)[1]);
    EXPECT_EQ(readOps(again + "]")->front(), (*ops)[1]);
    EXPECT_FALSE(readOps(R"([{"id":"a","method":"POST","path":"/","body":"%","createdAt":"x"}])"));
}

}  // namespace
}  // namespace tolvik
