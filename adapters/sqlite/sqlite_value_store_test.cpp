#include "adapters/sqlite/sqlite_value_store.h"

#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "adapters/sqlite/store_lock.h"
#include "tests/fakes/memory_value_store.h"

namespace tolvik {
namespace {

using ::testing::ElementsAre;

class FolderTest : public ::testing::Test {
protected:
    FolderTest() {
        std::string name = (std::filesystem::temp_directory_path() / "tolvik-XXXXXX").string();
        folder = ::mkdtemp(name.data());
    }
    ~FolderTest() override {
        ::chmod(folder.c_str(), 0700);
        std::filesystem::remove_all(folder);
    }
    [[nodiscard]] std::string file() const { return (folder / "deep" / "tolvik.sqlite").string(); }

    std::filesystem::path folder;
};

WriteBatch::PutPiece piece(std::int64_t id, double position, std::string bytes) {
    return {"c", {id, position, 1, {id * 10, id * 10 + 5}}, std::move(bytes)};
}

/// What every value store does.
void checkContract(ValueStore& store) {
    EXPECT_EQ(store.get("k").value(), std::nullopt);
    EXPECT_TRUE(store.pieces("c").value().empty());
    ASSERT_TRUE(store.commit({{WriteBatch::PutValue{"k", "1"}, WriteBatch::PutValue{"empty", ""},
                               piece(2, 2, "{\"b\":2}"), piece(1, 1, "{\"a\":1}"), WriteBatch::AppendJournal{"j", "x"},
                               WriteBatch::AppendJournal{"j", "y"}, WriteBatch::AppendJournal{"other", "z"}}}));
    EXPECT_EQ(store.get("k").value(), "1");
    EXPECT_EQ(store.get("empty").value(), "");
    EXPECT_EQ(store.get("c").value(), "[{\"a\":1},{\"b\":2}]");
    EXPECT_THAT(store.keys().value(), ElementsAre("c", "empty", "k"));
    const auto infos = store.pieces("c").value();
    ASSERT_EQ(infos.size(), 2U);
    EXPECT_EQ(infos[1].id, 2);
    EXPECT_EQ(infos[1].bounds, (PieceBounds{20, 25}));
    EXPECT_EQ(store.piece("c", 2).value(), "{\"b\":2}");
    EXPECT_FALSE(store.piece("c", 9));

    ASSERT_TRUE(store.commit({{piece(1, 3, "{\"a\":3}"), WriteBatch::EraseValue{"k"}}}));
    EXPECT_EQ(store.get("c").value(), "[{\"b\":2},{\"a\":3}]");
    EXPECT_EQ(store.get("k").value(), std::nullopt);
    ASSERT_TRUE(store.commit({{WriteBatch::ErasePiece{"c", 2}, WriteBatch::ErasePiece{"c", 77}}}));
    EXPECT_EQ(store.get("c").value(), "[{\"a\":3}]");
    ASSERT_TRUE(store.commit({{WriteBatch::EraseCollection{"c"}, piece(5, 0, "{}")}}));
    EXPECT_EQ(store.get("c").value(), "[{}]");
    // A plain value takes a collection's place, and the other way round.
    ASSERT_TRUE(store.commit({{WriteBatch::PutValue{"c", "[7]"}}}));
    EXPECT_TRUE(store.pieces("c").value().empty());
    EXPECT_EQ(store.get("c").value(), "[7]");
    ASSERT_TRUE(store.commit({{piece(1, 1, "{\"n\":1}")}}));
    EXPECT_EQ(store.get("c").value(), "[{\"n\":1}]");

    const auto items = store.journal("j").value();
    ASSERT_EQ(items.size(), 2U);
    EXPECT_LT(items[0].number, items[1].number);
    ASSERT_TRUE(store.commit({{WriteBatch::TrimJournal{"j", items[1].number}}}));
    EXPECT_TRUE(store.journal("j").value().empty());
    EXPECT_EQ(store.journal("other").value().size(), 1U);
    ASSERT_TRUE(store.commit({{WriteBatch::AppendJournal{"j", "again"}}}));
    EXPECT_GT(store.journal("j").value().front().number, items[1].number);

    ASSERT_TRUE(store.setText("t", "ä\"\n"));
    EXPECT_EQ(store.text("t"), "ä\"\n");
    EXPECT_EQ(store.flag("t", true), true);
    ASSERT_TRUE(store.setInteger("i", 42));
    EXPECT_EQ(store.integer("i"), 42);
}

TEST(MemoryValueStore, KeepsTheContract) {
    MemoryValueStore store;
    checkContract(store);
}

class SqliteValueStoreTest : public FolderTest {};

TEST_F(SqliteValueStoreTest, KeepsTheContractAndWhatItWasGiven) {
    std::int64_t lastNumber = 0;
    {
        SqliteValueStore store(file());
        EXPECT_EQ(store.openProblem(), std::nullopt);
        checkContract(store);
        const auto items = store.journal("j").value();
        lastNumber = items.back().number;
        ASSERT_TRUE(store.commit({{WriteBatch::TrimJournal{"j", lastNumber}}}));
    }
    SqliteValueStore again(file(), {.fileSystem = std::nullopt, .checkpointOnClose = false});
    EXPECT_EQ(again.get("c").value(), "[{\"n\":1}]");
    EXPECT_EQ(again.integer("i"), 42);
    ASSERT_TRUE(again.commit({{WriteBatch::AppendJournal{"j", "new"}}}));
    EXPECT_GT(again.journal("j").value().front().number, lastNumber);
}

TEST_F(SqliteValueStoreTest, AFileThatIsNoDatabaseIsMovedAside) {
    std::filesystem::create_directories(folder / "deep");
    std::ofstream(file()) << std::string(10'000, 'x');
    SqliteValueStore store(file());
    EXPECT_EQ(store.openProblem(), std::nullopt);
    ASSERT_TRUE(store.movedAside());
    EXPECT_EQ(std::filesystem::file_size(*store.movedAside()), 10'000U);
    EXPECT_TRUE(store.setInteger("i", 1));
}

TEST_F(SqliteValueStoreTest, TwoProcessesCannotHaveItOpen) {
    SqliteValueStore first(file());
    ASSERT_TRUE(first.setInteger("i", 1));
    SqliteValueStore second(file());
    EXPECT_EQ(second.openProblem(), StoreError::locked);
    EXPECT_EQ(second.setInteger("i", 2).error(), StoreError::locked);
}

TEST_F(SqliteValueStoreTest, APlaceThatCannotBeWrittenIsReadAndWrittenOnceItCanBe) {
    if (::geteuid() == 0) {
        // Permissions do not bind this user: a file stands where the folder should be instead.
        std::ofstream(folder / "deep") << "in the way";
        SqliteValueStore store(file());
        EXPECT_EQ(store.openProblem(), StoreError::readOnly);
        EXPECT_EQ(store.get("i").value(), std::nullopt);
        EXPECT_EQ(store.setInteger("i", 1).error(), StoreError::readOnly);
        std::filesystem::remove(folder / "deep");
        EXPECT_TRUE(store.setInteger("i", 2));
        EXPECT_EQ(store.openProblem(), std::nullopt);
        EXPECT_EQ(store.integer("i"), 2);
        return;
    }
    {
        ASSERT_TRUE(SqliteValueStore(file()).setInteger("i", 1));
    }
    ::chmod((folder / "deep").c_str(), 0500);
    ::chmod(file().c_str(), 0400);
    SqliteValueStore store(file());
    EXPECT_EQ(store.openProblem(), StoreError::readOnly);
    EXPECT_EQ(store.integer("i"), 1);
    EXPECT_EQ(store.setInteger("i", 2).error(), StoreError::readOnly);
    ::chmod((folder / "deep").c_str(), 0700);
    ::chmod(file().c_str(), 0600);
    EXPECT_TRUE(store.setInteger("i", 2));
    EXPECT_EQ(store.integer("i"), 2);
}

class StoreLockTest : public FolderTest {};

TEST_F(StoreLockTest, OneHolderAtATimeEvenAcrossACrash) {
    const std::string path = (folder / "deep" / "tolvik.lock").string();
    StoreLock first(path);
    EXPECT_EQ(first.tryLock(), StoreLock::Outcome::held);
    EXPECT_EQ(first.tryLock(), StoreLock::Outcome::held);
    StoreLock second(path);
    EXPECT_EQ(second.tryLock(), StoreLock::Outcome::elsewhere);
    EXPECT_EQ(second.holder(), ::getpid());
    first.release();
    EXPECT_EQ(second.tryLock(), StoreLock::Outcome::held);
    second.release();
    if (const int child = ::fork(); child == 0) {
        StoreLock dying(path);
        ::_exit(dying.tryLock() == StoreLock::Outcome::held ? 0 : 1);
    } else {
        int status = 0;
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0);
    }
    EXPECT_EQ(second.tryLock(), StoreLock::Outcome::held);
    std::ofstream(folder / "file") << "";
    StoreLock impossible((folder / "file" / "tolvik.lock").string());
    EXPECT_EQ(impossible.tryLock(), StoreLock::Outcome::impossible);
}

}  // namespace
}  // namespace tolvik
