#include "adapters/speech/process_speech_recognizer.h"

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <optional>
#include <signal.h>
#include <thread>

#include "tests/fakes/virtual_main_loop.h"

namespace tolvik {
namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;

/// The recogniser with a small real process behind it that behaves as its model folder is named. Its answers come in
/// real time; watchdogs run in virtual time.
class ProcessSpeechRecognizerTest : public testing::Test {
protected:
    ProcessSpeechRecognizerTest() : folder_(fs::temp_directory_path() / ("speech-test-" + std::to_string(getpid()))) {
        fs::create_directories(folder_);
    }
    ~ProcessSpeechRecognizerTest() override { fs::remove_all(folder_); }

    /// A folder that looks like a model, named for the behaviour.
    fs::path model(const std::string& behaviour) {
        const fs::path folder = folder_ / behaviour;
        fs::create_directories(folder);
        for (const char* name : {"tokens.txt", "encoder_model.ort", "decoder_model_merged.ort"}) {
            std::ofstream(folder / name) << "x";
        }
        return folder;
    }

    ProcessSpeechRecognizer& start(const std::string& behaviour) {
        recognizer_.emplace(loop_, places(behaviour));
        return *recognizer_;
    }

    SpeechPlaces places(const std::string& behaviour) {
        SpeechPlaces made;
        made.program = TOLVIK_SPEECH_TEST_CHILD;
        made.engineLibrary = TOLVIK_SPEECH_TEST_CHILD;
        made.modelFolder = model(behaviour);
        return made;
    }

    std::unique_ptr<SpeechSession> begin(const std::string& title = "Payroll") {
        SpeechVocabulary vocabulary;
        vocabulary.taskTitles = {title};
        SpeechCallbacks callbacks;
        callbacks.onPartial = [this](const std::string& text) { partial_ = text; };
        callbacks.onFinal = [this](const std::string& text) { finals_.push_back(text); };
        callbacks.onError = [this](SpeechError error) { errors_.push_back(error); };
        return recognizer_->begin(16000, 1, vocabulary, callbacks);
    }

    /// Lets real time pass, at most five seconds, until the condition holds.
    template <class Condition>
    bool settles(Condition condition) {
        for (int turn = 0; turn < 5000; ++turn) {
            loop_.runPosted();
            if (condition()) {
                return true;
            }
            std::this_thread::sleep_for(1ms);
        }
        return false;
    }

    FakeClock clock_;
    VirtualMainLoop loop_{clock_};
    fs::path folder_;
    std::optional<ProcessSpeechRecognizer> recognizer_;
    std::optional<std::string> partial_;
    std::vector<std::string> finals_;
    std::vector<SpeechError> errors_;
    const std::vector<float> tenth_ = std::vector<float>(1600, 0.25F);
};

TEST_F(ProcessSpeechRecognizerTest, SoundThatComesBeforeTheEngineIsReadyIsKept) {
    start("slow");
    const auto session = begin();
    for (int at = 0; at < 20; ++at) {
        session->append(tenth_);
    }
    session->finish();
    ASSERT_TRUE(settles([&] { return !finals_.empty(); }));
    EXPECT_EQ(finals_.front(), "Payroll 32000");
    EXPECT_TRUE(errors_.empty());
    EXPECT_EQ(recognizer_->state(), ProcessSpeechRecognizer::State::ready);
    EXPECT_EQ(recognizer_->modelName(), "test model");
}

TEST_F(ProcessSpeechRecognizerTest, PartialsComeWhileSpeakingAndOneProcessServesManyUtterances) {
    start("plain");
    std::optional<int> process;
    for (int round = 1; round <= 3; ++round) {
        const auto session = begin("Round");
        session->append(tenth_);
        ASSERT_TRUE(settles([&] { return partial_ == "1600"; }));
        session->finish();
        ASSERT_TRUE(settles([&] { return finals_.size() == static_cast<std::size_t>(round); }));
        partial_.reset();
        if (process) {
            EXPECT_EQ(recognizer_->processId(), *process);
        }
        process = recognizer_->processId();
    }
}

TEST_F(ProcessSpeechRecognizerTest, ACrashCostsOneUtteranceAndNoMore) {
    start("crashes");
    {
        const auto session = begin();
        session->append(tenth_);
        session->finish();
        ASSERT_TRUE(settles([&] { return !errors_.empty(); }));
        EXPECT_EQ(errors_, std::vector{SpeechError::engineStopped});
        session->append(tenth_);
        session->finish();
    }
    EXPECT_TRUE(recognizer_->isAvailable());
    recognizer_->setPlaces(places("plain"));
    const auto next = begin();
    next->finish();
    ASSERT_TRUE(settles([&] { return !finals_.empty(); }));
    EXPECT_EQ(errors_.size(), 1U);
}

TEST_F(ProcessSpeechRecognizerTest, KilledFromOutsideWhileSpeaking) {
    start("plain");
    const auto session = begin();
    session->append(tenth_);
    ASSERT_TRUE(settles([&] { return partial_.has_value(); }));
    kill(recognizer_->processId(), SIGKILL);
    ASSERT_TRUE(settles([&] { return !errors_.empty(); }));
    EXPECT_EQ(errors_.front(), SpeechError::engineStopped);
    EXPECT_EQ(recognizer_->state(), ProcessSpeechRecognizer::State::off);
}

TEST_F(ProcessSpeechRecognizerTest, AProcessThatHangsIsGivenUpAndEnded) {
    start("hangs");
    const auto session = begin();
    ASSERT_TRUE(settles([&] { return recognizer_->state() == ProcessSpeechRecognizer::State::ready; }));
    const int process = recognizer_->processId();
    session->finish();
    loop_.runFor(Millis(9900));
    EXPECT_TRUE(errors_.empty());
    loop_.runFor(Millis(200));
    EXPECT_EQ(errors_, std::vector{SpeechError::engineStopped});
    EXPECT_TRUE(settles([&] { return kill(process, 0) != 0; }));
}

TEST_F(ProcessSpeechRecognizerTest, AProcessThatWorksOnIsWaitedForHoweverLongItTakes) {
    start("toils");
    const auto session = begin();
    ASSERT_TRUE(settles([&] { return recognizer_->state() == ProcessSpeechRecognizer::State::ready; }));
    session->finish();
    for (int sign = 0; sign < 5; ++sign) {
        loop_.runFor(Millis(9000));
        partial_.reset();
        session->append(tenth_);
        ASSERT_TRUE(settles([&] { return partial_.has_value(); }));
        EXPECT_TRUE(errors_.empty());
    }
    loop_.runFor(Millis(10100));
    EXPECT_EQ(errors_, std::vector{SpeechError::engineStopped});
}

TEST_F(ProcessSpeechRecognizerTest, LoadingThatNeverEndsIsGivenUp) {
    start("never-loads");
    const auto session = begin();
    session->finish();
    loop_.runFor(Millis(29000));
    EXPECT_TRUE(errors_.empty());
    loop_.runFor(Millis(2000));
    EXPECT_EQ(errors_, std::vector{SpeechError::engineStopped});
}

TEST_F(ProcessSpeechRecognizerTest, WhatCannotBeLoadedIsSaidAndTriedAgainLater) {
    start("cannot-load");
    const auto session = begin();
    ASSERT_TRUE(settles([&] { return !errors_.empty(); }));
    EXPECT_EQ(errors_, std::vector{SpeechError::unavailable});
    EXPECT_EQ(recognizer_->unavailableReason(), "no such model");
    loop_.runFor(Millis(31000));
    EXPECT_TRUE(recognizer_->isAvailable());
}

TEST_F(ProcessSpeechRecognizerTest, NonsenseAndDeathAtStartAreErrors) {
    for (const char* behaviour : {"babbles", "dies-at-start"}) {
        start(behaviour);
        errors_.clear();
        const auto session = begin();
        session->finish();
        ASSERT_TRUE(settles([&] { return !errors_.empty(); })) << behaviour;
        EXPECT_EQ(errors_, std::vector{SpeechError::engineStopped}) << behaviour;
    }
}

TEST_F(ProcessSpeechRecognizerTest, AnAbandonedUtteranceIsSilentAndTheNextIsItsOwn) {
    start("plain");
    begin("Old")->append(tenth_);
    auto superseded = begin("Older");
    superseded->append(tenth_);
    const auto session = begin("New");
    superseded->finish();
    session->append(tenth_);
    session->finish();
    ASSERT_TRUE(settles([&] { return !finals_.empty(); }));
    EXPECT_EQ(finals_, std::vector<std::string>{"New 1600"});
    EXPECT_TRUE(errors_.empty());
}

TEST_F(ProcessSpeechRecognizerTest, EndsAfterIdleMinutesButNotWhileSpeaking) {
    start("plain");
    recognizer_->prepare();
    ASSERT_TRUE(settles([&] { return recognizer_->state() == ProcessSpeechRecognizer::State::ready; }));
    auto session = begin();
    loop_.runFor(Millis(6 * 60 * 1000));
    EXPECT_NE(recognizer_->processId(), 0);
    session->finish();
    ASSERT_TRUE(settles([&] { return !finals_.empty(); }));
    session.reset();
    loop_.runFor(Millis(4 * 60 * 1000));
    EXPECT_NE(recognizer_->processId(), 0);
    loop_.runFor(Millis(2 * 60 * 1000));
    EXPECT_EQ(recognizer_->processId(), 0);
    EXPECT_TRUE(errors_.empty());
}

TEST_F(ProcessSpeechRecognizerTest, SoundComesFromAnotherThread) {
    start("plain");
    const auto session = begin();
    std::thread sound([&] {
        for (int at = 0; at < 100; ++at) {
            session->append(tenth_);
        }
    });
    sound.join();
    session->finish();
    ASSERT_TRUE(settles([&] { return !finals_.empty(); }));
    EXPECT_EQ(finals_.front(), "Payroll 160000");
}

TEST_F(ProcessSpeechRecognizerTest, WithoutAModelItSaysWhatIsMissing) {
    start("plain");
    fs::remove(folder_ / "plain" / "tokens.txt");
    EXPECT_FALSE(recognizer_->isAvailable());
    EXPECT_NE(recognizer_->unavailableReason().find("tokens.txt"), std::string::npos);
    recognizer_->prepare();
    EXPECT_EQ(recognizer_->state(), ProcessSpeechRecognizer::State::off);
}

TEST_F(ProcessSpeechRecognizerTest, TheCallbackMayDropTheSessionAndTheRecognizerMayGoFirst) {
    start("plain");
    std::unique_ptr<SpeechSession> session;
    int calls = 0;
    SpeechCallbacks callbacks;
    callbacks.onFinal = [&](const std::string&) {
        ++calls;
        session.reset();
    };
    session = recognizer_->begin(16000, 1, {}, callbacks);
    session->finish();
    ASSERT_TRUE(settles([&] { return calls == 1; }));
    EXPECT_EQ(session, nullptr);

    session = begin();
    recognizer_.reset();
    session->append(tenth_);
    session->finish();
    loop_.runFor(Millis(60000));
    EXPECT_TRUE(finals_.empty());
}

}  // namespace
}  // namespace tolvik
