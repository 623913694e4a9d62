#include "voice/parse/command_executor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fakes/fake_sentence_embedder.h"
#include "tests/fakes/store_fixture.h"

namespace tolvik {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// A server's parser that answers when told.
class FakeBackendParser final : public BackendParser {
public:
    Request parse(std::string_view transcript, const std::vector<Candidate>& tasks, std::string_view dictionary,
                  std::function<void(std::optional<Command>)> done) override {
        asked.emplace_back(transcript);
        candidates = tasks;
        terms = std::string(dictionary);
        auto alive = std::make_shared<std::function<void(std::optional<Command>)>>(std::move(done));
        waiting.push_back(alive);
        if (answerAtOnce) {
            (*alive)(answerAtOnce);
        }
        return alive;
    }
    /// Answers the latest request, unless it was dropped.
    bool answer(std::optional<Command> command) {
        const auto call = waiting.back().lock();
        if (call) {
            (*call)(std::move(command));
        }
        return call != nullptr;
    }

    std::vector<std::string> asked;
    std::vector<Candidate> candidates;
    std::string terms;
    std::vector<std::weak_ptr<std::function<void(std::optional<Command>)>>> waiting;
    std::optional<Command> answerAtOnce;
};

class CommandExecutorTest : public StoreTest {
protected:
    CommandExecutor make() {
        return CommandExecutor({*store, parser, &backend, [this] { return signedIn; }, [] { return "Tamsin"; }});
    }
    /// The feedback line, "…" while it waits.
    std::string say(CommandExecutor& executor, std::string_view sentence) {
        feedback = "…";
        executor.execute(sentence, ChangeSource::voice, [this](const CommandOutcome& outcome) {
            last = outcome;
            feedback = outcome.feedback;
        });
        return feedback;
    }

    FakeSentenceEmbedder embedder;
    LocalVoiceParser parser{&embedder};
    FakeBackendParser backend;
    CommandOutcome last;
    std::string feedback;
};

TEST_F(CommandExecutorTest, OffersTheRunningTaskThenOpenOnesByLatestChange) {
    std::vector<Identifier> ids;
    for (int i = 0; i < 60; ++i) {
        clock.advance(Millis{1000});
        ids.push_back(start("task number " + std::to_string(i)));
    }
    clock.advance(Millis{1000});
    store->markDone(ids[58]);
    clock.advance(Millis{1000});
    store->updateTask(ids[3], {"renamed", std::nullopt});
    CommandExecutor executor = make();
    const auto candidates = executor.candidates();
    ASSERT_EQ(candidates.size(), 50U);
    EXPECT_EQ(candidates[0], (TaskInfo{ids[59], "task number 59", 1, true}));
    EXPECT_EQ(candidates[1], (TaskInfo{ids[3], "renamed", 2, false}));
    EXPECT_EQ(candidates[2].id, ids[57]);
    EXPECT_EQ(candidates[49].position, 50);
}

TEST_F(CommandExecutorTest, SaysWhereACommandCameFrom) {
    start("planning");
    CommandExecutor executor = make();
    say(executor, "start design review");
    EXPECT_EQ(store->switchLogs().back().source, "voice");
    EXPECT_EQ(last.taskId, store->activeTask()->id);
    EXPECT_EQ(last.taskTitle, "design review");
    EXPECT_EQ(last.transcript, "start design review");
    executor.execute("switch to planning", ChangeSource::manual, [](const auto&) {});
    EXPECT_EQ(store->switchLogs().back().source, "manual");
}

TEST_F(CommandExecutorTest, DoesNothingForABlankTranscript) {
    start("planning");
    CommandExecutor executor = make();
    int executed = 0;
    const Subscription watching = executor.onExecuted([&](const CommandOutcome&) { ++executed; });
    EXPECT_EQ(say(executor, " \n"), "");
    EXPECT_EQ(last.action, "none");
    EXPECT_NE(store->activeTask(), nullptr);
    EXPECT_EQ(executed, 1);
    EXPECT_EQ(executor.preview("").action, "none");
}

TEST_F(CommandExecutorTest, AsksTheBackendOnlyInDoubtAndWhenSignedIn) {
    start("planning");
    CommandExecutor executor = make();
    EXPECT_EQ(say(executor, "switch to the moon"), "switch to the moon");
    EXPECT_THAT(backend.asked, IsEmpty());
    signedIn = true;
    EXPECT_EQ(say(executor, "switch to planning"), "→ planning");
    EXPECT_THAT(backend.asked, IsEmpty());
    EXPECT_EQ(say(executor, "switch to the sun"), "…");
    EXPECT_THAT(backend.asked, ElementsAre("switch to the sun"));
    EXPECT_EQ(backend.candidates.at(0).status, "open");
    EXPECT_TRUE(backend.candidates.at(0).task.isActive);
    EXPECT_EQ(backend.terms, "Tamsin");
    const Identifier moon = backend.candidates.at(1).task.id;
    EXPECT_TRUE(backend.answer(BackendParser::Command{"switch", moon, "", "lunch is over"}));
    EXPECT_EQ(feedback, "→ switch to the moon · lunch is over");
    EXPECT_EQ(store->switchLogs().back().reason, "lunch is over");
    EXPECT_EQ(last.method, "backend");
}

TEST_F(CommandExecutorTest, ExecutesWhatTheBackendSays) {
    const Identifier planning = start("planning");
    signedIn = true;
    CommandExecutor executor = make();
    using Command = BackendParser::Command;
    const auto answered = [&](const Command& command, std::string_view sentence = "mumble") {
        backend.answerAtOnce = command;
        return say(executor, sentence);
    };
    EXPECT_EQ(answered({"none", {}, "", {}}), "Heard: “mumble”");
    EXPECT_EQ(last.action, "none");
    EXPECT_EQ(answered({"dance", {}, "x", {}}), "Heard: “mumble”");
    EXPECT_EQ(answered({"switch", Identifier("nobody"), "", {}}), "Couldn't find that task");
    EXPECT_EQ(answered({"switch", {}, "planning", {}}), "Couldn't find that task");
    EXPECT_EQ(answered({"switch", planning, "", {}}), "Already running: planning");
    EXPECT_EQ(answered({"done", {}, "the moon", {}}), "Couldn't find that task");
    EXPECT_EQ(answered({"done", Identifier("nobody"), "", {}}), "Couldn't find that task");
    EXPECT_EQ(answered({"start", {}, "  design review \n", "it is late"}), "design review");
    EXPECT_EQ(store->switchLogs().back().reason, "it is late");
    EXPECT_EQ(answered({"start", {}, " ", {}}, "a long day"), "a long day");
    EXPECT_EQ(answered({"stop", planning, "", {}}), "⏸ a long day");
    EXPECT_EQ(answered({"stop", {}, "", {}}), "Nothing is running");
    EXPECT_EQ(answered({"done", {}, "", {}}), "Nothing is running");
    EXPECT_EQ(answered({"done", planning, "", {}}), "✓ planning");
    expectInvariants();
}

TEST_F(CommandExecutorTest, FallsBackWhenTheBackendFails) {
    signedIn = true;
    CommandExecutor executor = make();
    EXPECT_EQ(say(executor, "start design review"), "…");
    EXPECT_TRUE(backend.answer(std::nullopt));
    EXPECT_EQ(feedback, "design review");
    EXPECT_EQ(say(executor, "hmm no"), "…");
    EXPECT_TRUE(backend.answer(std::nullopt));
    EXPECT_EQ(feedback, "Heard: “hmm no”");
    // Signed out while the answer was on its way: the device decides.
    EXPECT_EQ(say(executor, "start invoicing"), "…");
    signedIn = false;
    EXPECT_TRUE(backend.answer(BackendParser::Command{"stop", {}, "", {}}));
    EXPECT_EQ(feedback, "invoicing");
}

TEST_F(CommandExecutorTest, ANewerSentenceDropsTheOneThatWaits) {
    signedIn = true;
    {
        CommandExecutor executor = make();
        EXPECT_EQ(say(executor, "start design review"), "…");
        EXPECT_EQ(say(executor, "stop"), "Nothing is running");
        EXPECT_FALSE(backend.answer(BackendParser::Command{"start", {}, "late", {}}));
        EXPECT_EQ(say(executor, "start invoicing"), "…");
        EXPECT_EQ(say(executor, "start planning"), "…");
        EXPECT_TRUE(backend.waiting[1].expired());
        EXPECT_TRUE(backend.answer(std::nullopt));
        EXPECT_EQ(feedback, "planning");
        EXPECT_EQ(say(executor, "start lunch break"), "…");
    }
    EXPECT_FALSE(backend.answer(std::nullopt));
    EXPECT_EQ(store->tasks().size(), 1U);
}

TEST_F(CommandExecutorTest, TheThresholdItselfIsEnough) {
    const Identifier email = start("email");
    start("planning");
    signedIn = true;
    CommandExecutor executor = make();
    // By meaning alone: at the threshold it is carried out, below it is asked.
    embedder.alike("letters", "email", 0.8499);
    embedder.alike("correspondence", "email", 0.8501);
    EXPECT_EQ(say(executor, "switch to letters"), "…");
    EXPECT_EQ(say(executor, "switch to correspondence"), "→ email");
    EXPECT_EQ(store->activeTask()->id, email);
}

}  // namespace
}  // namespace tolvik
