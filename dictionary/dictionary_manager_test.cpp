#include "dictionary/dictionary_manager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fakes/fake_clock.h"
#include "tests/fakes/fake_sinks.h"
#include "tests/fakes/memory_value_store.h"
#include "tests/fakes/virtual_main_loop.h"

namespace tolvik {
namespace {

using ::testing::ElementsAre;

class DictionaryManagerTest : public ::testing::Test {
protected:
    DictionaryManagerTest() { restart(); }
    void restart() {
        dictionary = std::make_unique<DictionaryManager>(DictionaryPorts{values, clock, random, loop, sink, holdOff});
    }
    std::string kept() { return storedVocabulary(values)->value_or("nothing"); }

    FakeClock clock;
    FakeRandom random;
    VirtualMainLoop loop{clock};
    MemoryValueStore values;
    FakeMutationSink sink;
    FakeHoldOff holdOff;
    std::unique_ptr<DictionaryManager> dictionary;
    const Identifier brivio{"11111111-2222-4333-8444-555555555555"};
};

TEST_F(DictionaryManagerTest, RendersTheVocabularyInOneLine) {
    EXPECT_EQ(dictionary->vocabularyText("Brivio"), "");
    dictionary->addTerm("checkout", "", brivio);
    dictionary->addTerm("elsewhere", "", Identifier("another"));
    EXPECT_EQ(dictionary->vocabularyText("Brivio"), "");
    dictionary->setActiveProject(brivio);
    EXPECT_EQ(dictionary->vocabularyText(), "checkout");
    dictionary->addTerm(" Tamsin\n", " team member ");
    dictionary->addTerm("indexer", "");
    EXPECT_FALSE(dictionary->addTerm(" \t", "nothing"));
    EXPECT_EQ(dictionary->vocabularyText("Brivio"), "Tamsin=team member, indexer; [Brivio] checkout");
    EXPECT_THAT(dictionary->terms(), ElementsAre("Tamsin", "indexer", "checkout"));
}

TEST_F(DictionaryManagerTest, EachChangeIsSavedWithWhatItOwesTheServer) {
    const Identifier id = dictionary->addTerm("indexer", "service", brivio).value();
    EXPECT_EQ(holdOff.until, clock.now() + Millis{8000});
    ASSERT_EQ(values.commits.size(), 1U);
    EXPECT_EQ(values.commits[0].writes.size(), 2U);
    const std::string now = formatInstant(clock.now());
    EXPECT_EQ(sink.all[0].body, R"({"id":")" + id.text() + R"(","tagId":")" + brivio.text() +
                                    R"(","term":"indexer","hint":"service","createdAt":")" + now +
                                    R"(","updatedAt":")" + now + R"("})");
    dictionary->editTerm(id, "indexers", "service");
    dictionary->editTerm(id, "indexers", "service");
    dictionary->editTerm(id, " ", "service");
    dictionary->setActiveProject(brivio);
    dictionary->setActiveProject(brivio);
    restart();
    EXPECT_THAT(dictionary->entries(), ElementsAre(DictEntry{id, "indexers", "service", brivio}));
    EXPECT_EQ(dictionary->activeTagId(), brivio);
    dictionary->deleteTerm(id);
    dictionary->deleteTerm(id);
    EXPECT_THAT(sink.takeLines(), ElementsAre("POST /dictionaries", "POST /dictionaries", "DELETE /dictionaries"));
    EXPECT_EQ(kept(), R"({"entries":[],"activeTagId":")" + brivio.text() + R"("})");
}

TEST_F(DictionaryManagerTest, AnImportIsSavedOnceAndCanBeTakenBack) {
    dictionary->addTerm("Tamsin", "");
    sink.all.clear();
    values.commits.clear();
    int changes = 0;
    const Subscription subscription = dictionary->onChanged([&] { ++changes; });
    const auto ids = dictionary->importEntries("tamsin\nindexer (service)\nBrivio\nindexer");
    EXPECT_EQ(ids.size(), 2U);
    EXPECT_EQ(values.commits.size(), 1U);
    EXPECT_EQ(changes, 1);
    EXPECT_EQ(sink.all.size(), 2U);
    EXPECT_THAT(sink.all[0].body.value(), ::testing::HasSubstr(R"("tagId":null,"term":"indexer","hint":"service")"));
    EXPECT_TRUE(dictionary->importEntries("Tamsin\nBRIVIO").empty());
    EXPECT_EQ(values.commits.size(), 1U) << "nothing new, nothing saved";
    EXPECT_EQ(dictionary->importEntries("Tamsin", brivio).size(), 1U) << "another dictionary";

    dictionary->deleteTerms(ids);
    EXPECT_EQ(dictionary->vocabularyText(), "Tamsin");
    ASSERT_NE(dictionary->find(" TAMSIN", std::nullopt), nullptr);
    EXPECT_EQ(dictionary->find("indexer", std::nullopt), nullptr);
}

TEST_F(DictionaryManagerTest, WhatWasDeletedComesBackWhereItStood) {
    dictionary->importEntries("a\nb\nc");
    const auto before = dictionary->entries();
    const std::vector<Identifier> two{before[0].id, before[1].id};
    const auto deleted = dictionary->deleteTerms(two);
    EXPECT_EQ(dictionary->vocabularyText(), "c");
    dictionary->restore(deleted);
    dictionary->restore(deleted);
    EXPECT_EQ(dictionary->entries(), before);
    restart();
    EXPECT_EQ(dictionary->entries(), before);
    EXPECT_EQ(sink.all.size(), 7U) << "three added, two deleted, two revived";
}

TEST_F(DictionaryManagerTest, ChangesThatCannotBeSavedWaitInMemory) {
    values.failure = StoreError::full;
    dictionary->addTerm("one", "");
    dictionary->addTerm("two", "");
    EXPECT_EQ(dictionary->saveProblem(), StoreError::full);
    EXPECT_EQ(dictionary->vocabularyText(), "one, two");
    EXPECT_EQ(kept(), "nothing");
    values.failure.reset();
    loop.runFor(Millis{60'000});
    EXPECT_EQ(dictionary->saveProblem(), std::nullopt);
    EXPECT_EQ(values.journal("fake")->size(), 2U);
    restart();
    EXPECT_EQ(dictionary->vocabularyText(), "one, two");
}

TEST_F(DictionaryManagerTest, KeepsAsideWhatItCannotRead) {
    for (const std::string bytes : {"", "nonsense", "[1]", R"({"entries":[{"id":"a","term":7,"hint":""}]})",
                                    R"({"entries":[],"activeTagId":1})", "{\"entries\":[\xff]}"}) {
        SCOPED_TRACE(bytes);
        clock.advance(Millis{1});
        ASSERT_TRUE(values.commit({{WriteBatch::PutValue{std::string(DictionaryManager::storageKey), bytes}}}));
        restart();
        EXPECT_TRUE(dictionary->entries().empty());
        EXPECT_EQ(values.get(DictionaryManager::storageKey)->value_or("nothing"), bytes);
        dictionary->addTerm("new", "");
        const std::string aside = "tolvik.dictionaries.unreadable-" + formatInstant(clock.now());
        EXPECT_EQ(values.get(aside)->value_or("nothing"), bytes);
        restart();
        EXPECT_EQ(dictionary->vocabularyText(), "new");
    }
}

TEST_F(DictionaryManagerTest, OneTermWritesOnePieceAndADamagedPieceCostsNoOther) {
    std::string lines;
    for (int i = 0; i < 1000; ++i) {
        lines += "term " + std::to_string(i) + "\n";
    }
    dictionary->importEntries(lines);
    const Identifier early = dictionary->entries()[100].id;
    values.commits.clear();
    dictionary->addTerm("last", "");
    dictionary->editTerm(early, "early", "");
    dictionary->deleteTerm(early);
    for (const WriteBatch& batch : values.commits) {
        std::size_t pieces = 0;
        for (const auto& write : batch.writes) {
            pieces += std::holds_alternative<WriteBatch::PutPiece>(write) ? 1U : 0U;
        }
        EXPECT_EQ(pieces, 1U);
    }
    EXPECT_EQ(values.commits.size(), 3U);
    const auto before = dictionary->entries();
    restart();
    EXPECT_EQ(dictionary->entries(), before);

    const auto pieces = *values.pieces(DictionaryManager::storageKey);
    ASSERT_TRUE(values.commit({{WriteBatch::PutPiece{std::string(DictionaryManager::storageKey), pieces[5], "{"}}}));
    restart();
    EXPECT_EQ(dictionary->entries().size(), before.size() - pieces[5].count);
    dictionary->addTerm("one more", "");
    EXPECT_EQ(values.get("tolvik.dictionaries.unreadable-" + formatInstant(clock.now()))->value_or("nothing"), "{");
}

TEST_F(DictionaryManagerTest, AValueOfTheFormerFormIsCarriedOverByTheFirstWrite) {
    const std::string former = R"({"entries":[{"id":"a","term":"one","hint":"h"},{"id":"b","term":"two","hint":"",)"
                               R"("tagId":")" +
                               brivio.text() + R"("}],"activeTagId":")" + brivio.text() + R"("})";
    const std::string key(DictionaryManager::storageKey);
    ASSERT_TRUE(values.commit({{WriteBatch::PutValue{key, former}}}));
    values.commits.clear();
    restart();
    EXPECT_EQ(dictionary->vocabularyText("Brivio"), "one=h; [Brivio] two");
    EXPECT_EQ(kept(), former);
    EXPECT_TRUE(values.commits.empty()) << "reading writes nothing";

    dictionary->editTerm(Identifier("b"), "three", "");
    EXPECT_EQ(values.commits.size(), 1U);
    EXPECT_EQ(values.pieces(key)->size(), 1U);
    restart();
    EXPECT_EQ(dictionary->vocabularyText("Brivio"), "one=h; [Brivio] three");
    EXPECT_EQ(decodeStorage(kept()), (DictStorage{dictionary->entries(), brivio}));
    dictionary->setActiveProject(std::nullopt);
    restart();
    EXPECT_EQ(dictionary->activeTagId(), std::nullopt);
}

/// Keeps jobs until the test runs them.
class WaitingWorkers final : public Workers {
public:
    void run(std::function<void()> job) override { jobs.push_back(std::move(job)); }
    void runAll() {
        for (const auto& job : std::exchange(jobs, {})) {
            job();
        }
    }
    std::vector<std::function<void()>> jobs;
};

TEST_F(DictionaryManagerTest, AnImportByAWorkerRespectsWhatChangesMeanwhile) {
    WaitingWorkers workers;
    int changes = 0;
    const Subscription subscription = dictionary->onChanged([&] { ++changes; });
    std::optional<std::vector<Identifier>> imported;
    dictionary->importLater(workers, "Tamsin\nindexer", std::nullopt, [&](auto ids) { imported = std::move(ids); });
    dictionary->addTerm("tamsin", "added while the worker reads");
    values.commits.clear();
    workers.runAll();
    loop.runFor(Millis{1});
    EXPECT_FALSE(imported) << "compared with what is there no more";
    workers.runAll();
    loop.runFor(Millis{1});
    ASSERT_TRUE(imported);
    EXPECT_EQ(imported->size(), 1U);
    EXPECT_EQ(dictionary->vocabularyText(), "tamsin=added while the worker reads, indexer");
    EXPECT_EQ(values.commits.size(), 1U);
    EXPECT_EQ(changes, 2);

    bool deleted = false;
    dictionary->deleteLater(workers, *imported, [&] { deleted = true; });
    workers.runAll();
    loop.runFor(Millis{1});
    EXPECT_TRUE(deleted);
    EXPECT_EQ(dictionary->entries().size(), 1U);
    EXPECT_THAT(sink.takeLines(), ElementsAre("POST /dictionaries", "POST /dictionaries", "DELETE /dictionaries"));

    dictionary->importLater(workers, "late", std::nullopt, [](const auto&) { FAIL() << "after its end"; });
    dictionary.reset();
    workers.runAll();
    loop.runFor(Millis{1});
}

}  // namespace
}  // namespace tolvik
