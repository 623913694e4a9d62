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
    std::string kept() { return values.get(DictionaryManager::storageKey)->value_or("nothing"); }

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
    for (const std::string bytes : {"", "nonsense", "[]", R"({"entries":[{"id":"a","term":7,"hint":""}]})",
                                    R"({"entries":[],"activeTagId":1})", "{\"entries\":[\xff]}"}) {
        SCOPED_TRACE(bytes);
        clock.advance(Millis{1});
        ASSERT_TRUE(values.commit({{WriteBatch::PutValue{std::string(DictionaryManager::storageKey), bytes}}}));
        restart();
        EXPECT_TRUE(dictionary->entries().empty());
        EXPECT_EQ(kept(), bytes);
        dictionary->addTerm("new", "");
        const std::string aside = "tolvik.dictionaries.unreadable-" + formatInstant(clock.now());
        EXPECT_EQ(values.get(aside)->value_or("nothing"), bytes);
    }
}

}  // namespace
}  // namespace tolvik
