#pragma once

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <unistd.h>
#include <vector>

#include "tests/fakes/fake_voice_parts.h"
#include "tests/fakes/memory_value_store.h"
#include "tests/fakes/virtual_main_loop.h"
#include "voice/capture/push_to_talk_hotkey.h"
#include "voice/capture/voice_manager.h"

namespace tolvik {

/// A voice manager with fakes around it, and what is done to it.
class VoiceManagerTest : public testing::Test, protected FakeVoiceParts {
protected:
    static constexpr std::uint32_t chordKeys = PushToTalkHotkey::defaultModifiers;

    VoiceManagerTest() {
        std::filesystem::create_directories(folder);
        voice.emplace(ports());
        voice->setEnabled(true);
        loop.runPosted();
    }
    ~VoiceManagerTest() override {
        voice.reset();
        EXPECT_THAT(recordings(), testing::IsEmpty()) << "no recording survives the manager";
        std::filesystem::remove_all(folder);
    }

    VoiceManager::Ports ports() {
        auto ports = voicePorts(loop, workers, clock, random, values, folder);
        ports.transcription = transcription;
        ports.vocabulary = [] { return SpeechVocabulary{{"Design review"}, {}, {}}; };
        ports.execute = [this](const std::string& transcript, std::function<void(const CommandOutcome&)> done) {
            executed.push_back(transcript);
            if (executesLate) {
                answerExecution = std::move(done);
            } else {
                done(outcome);
            }
        };
        ports.preview = [this](const std::string& transcript) {
            ++previews;
            CommandOutcome would;
            would.action = transcript == "um" ? "none" : "start";
            would.taskTitle = transcript;
            return would;
        };
        ports.undo = [this]() -> std::optional<std::string> {
            ++undos;
            return undoWords;
        };
        ports.prompt = [] { return "Recent task titles: A."; };
        return ports;
    }

    void press(Millis duration = Millis{0}) {
        chord.hold(chordKeys);
        loop.runFor(duration);
    }
    void release() {
        chord.hold(0);
        loop.runPosted();
    }
    /// Presses, speaks and lets go.
    void say(const std::string& text) {
        press(Millis{500});
        microphone.hear(1600, 0.1F);
        release();
        recognizer.hearAll(text);
        loop.runPosted();
    }
    [[nodiscard]] std::vector<std::string> recordings() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(folder)) {
            names.push_back(entry.path().filename().string());
        }
        return names;
    }
    /// Nothing of a session is left.
    void expectNoTrace() {
        loop.runPosted();
        EXPECT_EQ(voice->phase(), VoicePhase::idle);
        EXPECT_EQ(voice->error(), std::nullopt);
        EXPECT_EQ(voice->transcript(), "");
        EXPECT_EQ(voice->pending(), std::nullopt);
        EXPECT_FALSE(microphone.isRecording());
        EXPECT_THAT(recordings(), testing::IsEmpty());
        EXPECT_THAT(executed, testing::IsEmpty());
        if (!recognizer.utterances.empty()) {
            EXPECT_TRUE(recognizer.last().abandoned);
        }
        EXPECT_EQ(loop.pendingTimers(), 0U);
    }
    void expectError(const std::string& text) {
        loop.runPosted();
        EXPECT_EQ(voice->phase(), VoicePhase::idle);
        EXPECT_EQ(voice->error(), text);
        EXPECT_FALSE(microphone.isRecording());
        EXPECT_THAT(recordings(), testing::IsEmpty());
        EXPECT_THAT(executed, testing::IsEmpty());
        loop.runFor(Millis{4999});
        EXPECT_EQ(voice->error(), text);
        loop.runFor(Millis{1});
        EXPECT_EQ(voice->error(), std::nullopt);
    }
    static CommandOutcome started(const std::string& title) {
        CommandOutcome out;
        out.action = "start";
        out.taskTitle = title;
        out.feedback = title;
        return out;
    }

    const std::filesystem::path folder =
        std::filesystem::temp_directory_path() / ("voice-manager-test-" + std::to_string(::getpid()));
    FakeClock clock;
    VirtualMainLoop loop{clock};
    ImmediateWorkers workers;
    FakeRandom random;
    MemoryValueStore values;
    TranscriptionClient* transcription = nullptr;

    CommandOutcome outcome = started("Design review");
    std::optional<std::string> undoWords = "Undone: Started Design review";
    std::vector<std::string> executed;
    std::function<void(const CommandOutcome&)> answerExecution;
    bool executesLate = false;
    int undos = 0;
    int previews = 0;
    std::optional<VoiceManager> voice;
};

}  // namespace tolvik
