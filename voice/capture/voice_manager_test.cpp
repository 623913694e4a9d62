#include "voice/capture/voice_manager.h"

#include <algorithm>
#include <chrono>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/fakes/fake_audio_file_codec.h"
#include "tests/fakes/fake_chord_monitor.h"
#include "tests/fakes/fake_media_players.h"
#include "tests/fakes/fake_microphone.h"
#include "tests/fakes/fake_speech_recognizer.h"
#include "tests/fakes/memory_value_store.h"
#include "tests/fakes/virtual_main_loop.h"
#include "voice/capture/push_to_talk_hotkey.h"
#include "voice/capture/voice_settings.h"

namespace tolvik {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint32_t chordKeys = PushToTalkHotkey::defaultModifiers;

class FakeTranscription final : public TranscriptionClient {
public:
    [[nodiscard]] Request transcribe(const fs::path& file, const std::string& prompt,
                                     std::function<void(Result<std::string, Failure>)> done) override {
        EXPECT_TRUE(fs::exists(file));
        files.push_back(file);
        prompts.push_back(prompt);
        answer = std::move(done);
        auto request = std::make_shared<int>(0);
        last = request;
        return request;
    }
    [[nodiscard]] bool isWanted() override { return wanted; }
    void refuse(const std::string& text, bool deviceTextServes) { answer(failure(Failure{text, deviceTextServes})); }

    bool wanted = true;
    /// Expired once the latest request was given up.
    std::weak_ptr<int> last;
    std::vector<fs::path> files;
    std::vector<std::string> prompts;
    std::function<void(Result<std::string, Failure>)> answer;
};

class VoiceManagerTest : public testing::Test {
protected:
    VoiceManagerTest() {
        fs::create_directories(folder);
        voice.emplace(ports());
        voice->setEnabled(true);
        loop.runPosted();
    }
    ~VoiceManagerTest() override {
        voice.reset();
        EXPECT_THAT(recordings(), IsEmpty()) << "no recording survives the manager";
        fs::remove_all(folder);
    }

    VoiceManager::Ports ports() {
        return {.loop = loop,
                .workers = workers,
                .clock = clock,
                .random = random,
                .values = values,
                .chord = chord,
                .microphone = microphone,
                .recognizer = recognizer,
                .media = media,
                .codec = codec,
                .transcription = transcription,
                .temporaryFolder = folder,
                .vocabulary = [] { return SpeechVocabulary{{"Design review"}, {}, {}}; },
                .execute =
                    [this](const std::string& transcript, std::function<void(const CommandOutcome&)> done) {
                        executed.push_back(transcript);
                        if (executesLate) {
                            answerExecution = std::move(done);
                        } else {
                            done(outcome);
                        }
                    },
                .preview =
                    [this](const std::string& transcript) {
                        ++previews;
                        CommandOutcome would;
                        would.action = transcript == "um" ? "none" : "start";
                        would.taskTitle = transcript;
                        return would;
                    },
                .undo = [this]() -> std::optional<std::string> {
                    ++undos;
                    return undoWords;
                },
                .prompt = [] { return "Recent task titles: A."; }};
    }

    void press(Millis duration = 0ms) {
        chord.hold(chordKeys);
        loop.runFor(duration);
    }
    void release() {
        chord.hold(0);
        loop.runPosted();
    }
    /// Presses, speaks and lets go.
    void say(const std::string& text) {
        press(500ms);
        microphone.hear(1600, 0.1F);
        release();
        recognizer.hearAll(text);
        loop.runPosted();
    }
    [[nodiscard]] std::vector<std::string> recordings() const {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(folder)) {
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
        EXPECT_THAT(recordings(), IsEmpty());
        EXPECT_THAT(executed, IsEmpty());
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
        EXPECT_THAT(recordings(), IsEmpty());
        EXPECT_THAT(executed, IsEmpty());
        loop.runFor(4999ms);
        EXPECT_EQ(voice->error(), text);
        loop.runFor(1ms);
        EXPECT_EQ(voice->error(), std::nullopt);
    }
    static CommandOutcome started(const std::string& title) {
        CommandOutcome out;
        out.action = "start";
        out.taskTitle = title;
        out.feedback = title;
        return out;
    }

    const fs::path folder = fs::temp_directory_path() / ("voice-manager-test-" + std::to_string(::getpid()));
    FakeClock clock;
    VirtualMainLoop loop{clock};
    ImmediateWorkers workers;
    FakeRandom random;
    MemoryValueStore values;
    FakeChordMonitor chord;
    FakeMicrophone microphone;
    FakeSpeechRecognizer recognizer;
    FakeMediaPlayers media;
    FakeAudioFileCodec codec;
    FakeTranscription* transcription = nullptr;

    CommandOutcome outcome = started("Design review");
    std::optional<std::string> undoWords = "Undone: Started Design review";
    std::vector<std::string> executed;
    std::function<void(const CommandOutcome&)> answerExecution;
    bool executesLate = false;
    int undos = 0;
    int previews = 0;
    std::optional<VoiceManager> voice;
};

TEST_F(VoiceManagerTest, LeadsFromTheChordToTheOutcomeAndBack) {
    press();
    EXPECT_EQ(voice->phase(), VoicePhase::listening);
    EXPECT_TRUE(microphone.isRecording()) << "open at once, so that the first word is whole";
    loop.runFor(30ms);
    microphone.hear(1600, 0.5F);
    loop.runFor(470ms);
    recognizer.hearSoFar("start design");
    EXPECT_EQ(voice->transcript(), "start design");
    EXPECT_THAT(recordings(), ElementsAre(testing::MatchesRegex(
                                  "tolvik-voice-[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[0-9A-F]{4}-[0-9A-F]{12}\\.m4a")));
    microphone.hearLate(160, 0.25F);
    release();
    EXPECT_EQ(voice->phase(), VoicePhase::transcribing);
    EXPECT_FALSE(microphone.isRecording());
    EXPECT_TRUE(recognizer.last().finished);
    EXPECT_EQ(recognizer.last().sound.size(), 1760U) << "what was under way in the device belongs to the sentence";
    EXPECT_THAT(recognizer.last().vocabulary.taskTitles, ElementsAre("Design review"));

    loop.runFor(120ms);
    recognizer.hearAll(" start Design review\n");
    EXPECT_THAT(executed, ElementsAre("start Design review"));
    EXPECT_EQ(voice->phase(), VoicePhase::done);
    EXPECT_EQ(voice->doneText(), "Design review");
    EXPECT_EQ(voice->doneOutcome()->action, "start");
    EXPECT_EQ(voice->transcript(), "start Design review");
    EXPECT_EQ(voice->lastTimings().releaseToDone, 120ms);
    EXPECT_EQ(voice->lastTimings().chordToFirstSamples, 30ms);
    EXPECT_THAT(recordings(), IsEmpty()) << "deleted after use";

    loop.runFor(1999ms);
    EXPECT_EQ(voice->phase(), VoicePhase::done);
    loop.runFor(1ms);
    EXPECT_EQ(voice->phase(), VoicePhase::idle);
    EXPECT_EQ(voice->doneText(), "");
    EXPECT_EQ(voice->transcript(), "");
    EXPECT_EQ(loop.pendingTimers(), 0U);
}

TEST_F(VoiceManagerTest, WritesTheWholeRecordingWithTheInputsFormat) {
    microphone.format = {48'000, 2};
    press();
    for (int i = 0; i < 20; ++i) {
        microphone.hear(4800, static_cast<float>(i) / 20.0F);
        loop.runFor(100ms);
    }
    EXPECT_EQ(recognizer.last().sampleRate, 48'000);
    EXPECT_EQ(recognizer.last().channels, 2);
    const auto& sound = codec.sounds.at(codec.created.at(0));
    EXPECT_EQ(sound.format, microphone.format);
    EXPECT_EQ(sound.interleaved, recognizer.last().sound);
    EXPECT_EQ(sound.interleaved.size(), 192'000U);
    release();
    recognizer.hearAll("");
    expectNoTrace();
}

TEST_F(VoiceManagerTest, TellsWhyItCannotStart) {
    const auto refused = [&](const std::string& text) {
        press();
        expectError(text);
        release();
    };
    microphone.problem = MicrophoneError{MicrophoneError::Kind::denied, ""};
    refused("Microphone access denied. Enable it in System Settings > Privacy > Microphone.");
    microphone.problem = MicrophoneError{MicrophoneError::Kind::noDevice, ""};
    refused("No microphone available.");
    microphone.problem.reset();
    recognizer.missing = "no model";
    refused("Speech recognizer not available");
    recognizer.missing.clear();
    microphone.startFailure = MicrophoneError{MicrophoneError::Kind::failed, "device busy"};
    refused("Mic error: device busy");
    microphone.startFailure.reset();
    codec.createFailure = "No space left on device";
    refused("Mic error: No space left on device");
    codec.createFailure.reset();
    press();
    EXPECT_EQ(voice->phase(), VoicePhase::listening);
}

TEST_F(VoiceManagerTest, AShortPressLeavesNoTrace) {
    media.isPlaying = true;
    ASSERT_TRUE(values.setFlag(voiceSetting::pauseMedia, true));
    press(199ms);
    microphone.hear(1600, 0.5F);
    release();
    expectNoTrace();
    EXPECT_EQ(media.pauses, 0);

    press(200ms);
    release();
    EXPECT_EQ(voice->phase(), VoicePhase::transcribing);
}

TEST_F(VoiceManagerTest, PausesMediaForTheSessionAndResumesOnlyWhatItPaused) {
    media.isPlaying = true;
    press(300ms);
    EXPECT_EQ(media.pauses, 0) << "off unless switched on";
    chord.pressOtherKey();
    release();

    ASSERT_TRUE(values.setFlag(voiceSetting::pauseMedia, true));
    say("start design review");
    EXPECT_EQ(voice->phase(), VoicePhase::done);
    EXPECT_FALSE(media.isPlaying) << "stays paused while the outcome is shown";
    loop.runFor(2000ms);
    EXPECT_TRUE(media.isPlaying);
    EXPECT_EQ(media.resumes, 1);

    media.isPlaying = false;
    say("stop");
    loop.runFor(2000ms);
    EXPECT_EQ(media.resumes, 1) << "nothing was playing, nothing is resumed";
}

TEST_F(VoiceManagerTest, ResumesMediaHoweverTheSessionEnds) {
    ASSERT_TRUE(values.setFlag(voiceSetting::pauseMedia, true));
    const auto endsBy = [&](const char* how, const std::function<void()>& end) {
        media.isPlaying = true;
        press(300ms);
        EXPECT_FALSE(media.isPlaying) << how;
        end();
        loop.runPosted();
        EXPECT_EQ(voice->phase(), VoicePhase::idle) << how;
        EXPECT_TRUE(media.isPlaying) << how;
        chord.hold(0);
    };
    endsBy("another key", [&] { chord.pressOtherKey(); });
    endsBy("unplugging", [&] { microphone.unplug(); });
    endsBy("suspension", [&] { voice->setHotkeySuspended(true); });
    voice->setHotkeySuspended(false);
    endsBy("silence", [&] {
        release();
        recognizer.hearAll("");
    });
    endsBy("a dead recogniser", [&] {
        release();
        recognizer.fail(SpeechError::engineStopped);
    });
    endsBy("switching off", [&] { voice->setEnabled(false); });
    voice->setEnabled(true);

    // The players answer only when the session is over.
    media.isPlaying = true;
    media.answersLate = true;
    press(300ms);
    chord.pressOtherKey();
    EXPECT_FALSE(media.isPlaying);
    media.answer();
    EXPECT_TRUE(media.isPlaying);
}

TEST_F(VoiceManagerTest, AnotherKeyMakesItAShortcut) {
    press(400ms);
    microphone.hear(1600, 0.5F);
    recognizer.hearSoFar("start");
    const auto stale = recognizer.utterances.back();
    chord.pressOtherKey();
    expectNoTrace();

    chord.hold(chordKeys | modifier::command);
    EXPECT_EQ(voice->phase(), VoicePhase::idle) << "nothing starts until the chord was released";
    FakeSpeechRecognizer::final(*stale, "start something");
    release();
    expectNoTrace();
    press();
    EXPECT_EQ(voice->phase(), VoicePhase::listening);

    recognizer.hearAll("too early");
    EXPECT_EQ(voice->phase(), VoicePhase::listening);
}

TEST_F(VoiceManagerTest, LateCallbacksOfAnOlderGenerationChangeNothing) {
    press(300ms);
    const auto first = recognizer.utterances.back();
    release();
    recognizer.hearAll("");
    press(300ms);
    FakeSpeechRecognizer::partial(*first, "old words");
    FakeSpeechRecognizer::fail(*first, SpeechError::engineStopped);
    FakeSpeechRecognizer::final(*first, "old words");
    EXPECT_EQ(voice->phase(), VoicePhase::listening);
    EXPECT_EQ(voice->transcript(), "");
    EXPECT_THAT(executed, IsEmpty());
    EXPECT_EQ(recognizer.utterances.size(), 2U) << "an old error restarts nothing";

    executesLate = true;
    release();
    recognizer.hearAll("start a");
    const auto answer = answerExecution;
    voice->setEnabled(false);
    answer(outcome);
    EXPECT_EQ(voice->phase(), VoicePhase::idle);
    voice.reset();
    FakeSpeechRecognizer::partial(*first, "after the end");
    answer(outcome);
    loop.runFor(1000ms);
}

TEST_F(VoiceManagerTest, AMissedReleaseDoesNotLeaveTheMicrophoneOn) {
    press(1000ms);
    microphone.hear(1600, 0.5F);
    chord.holdUnseen(0);
    loop.runFor(250ms);
    EXPECT_FALSE(microphone.isRecording());
    EXPECT_EQ(voice->phase(), VoicePhase::transcribing);
    recognizer.hearAll("stop");
    EXPECT_EQ(voice->phase(), VoicePhase::done);
    // The display reports only the next press, with the same keys.
    press();
    EXPECT_EQ(voice->phase(), VoicePhase::listening);
}

TEST_F(VoiceManagerTest, ListeningEndsAtSixtySecondsAndIsProcessed) {
    press(50'000ms);
    EXPECT_EQ(voice->secondsLeft(), std::nullopt);
    loop.runFor(50ms);
    EXPECT_EQ(voice->secondsLeft(), 10);
    loop.runFor(9'000ms);
    EXPECT_EQ(voice->secondsLeft(), 1);
    loop.runFor(949ms);
    EXPECT_EQ(voice->phase(), VoicePhase::listening);
    loop.runFor(1ms);
    EXPECT_EQ(voice->phase(), VoicePhase::transcribing);
    EXPECT_EQ(voice->secondsLeft(), std::nullopt);
    EXPECT_FALSE(microphone.isRecording());
    recognizer.hearAll("a long story");
    EXPECT_THAT(executed, ElementsAre("a long story"));
    release();
    EXPECT_EQ(voice->phase(), VoicePhase::done) << "the late release means nothing";
}

TEST_F(VoiceManagerTest, IgnoresTheChordWhileTranscribing) {
    press(300ms);
    release();
    press(500ms);
    release();
    EXPECT_EQ(voice->phase(), VoicePhase::transcribing);
    EXPECT_EQ(recognizer.utterances.size(), 1U);
    recognizer.fail(SpeechError::cancelled);
    EXPECT_EQ(voice->error(), std::nullopt) << "a cancelled request is no error";
    EXPECT_EQ(voice->phase(), VoicePhase::transcribing);
}

TEST_F(VoiceManagerTest, AChordPressedDuringDoneStartsAtOnce) {
    ASSERT_TRUE(values.setFlag(voiceSetting::pauseMedia, true));
    media.isPlaying = true;
    say("start design review");
    loop.runFor(500ms);
    press();
    EXPECT_EQ(voice->phase(), VoicePhase::listening);
    EXPECT_EQ(voice->doneText(), "");
    EXPECT_EQ(voice->transcript(), "");
    EXPECT_TRUE(media.isPlaying) << "resumed, until the press proves to be one";
    EXPECT_EQ(media.resumes, 1);
    loop.runFor(2000ms);
    EXPECT_FALSE(media.isPlaying);
    EXPECT_EQ(voice->phase(), VoicePhase::listening) << "the old done time does not end the new session";
    release();
    recognizer.hearAll("stop");
    EXPECT_THAT(executed, ElementsAre("start design review", "stop"));
    EXPECT_EQ(undos, 0);
}

TEST_F(VoiceManagerTest, TheRunningSessionPressedAgainDuringDoneIsKeptApart) {
    outcome.action = "switch";
    outcome.feedback = "Already running: Design review";
    say("switch to design review");
    EXPECT_EQ(voice->doneText(), "Already running: Design review");
    EXPECT_FALSE(voice->offersUndo()) << "nothing changed, so undo would take back something older";
    press(100ms);
    release();
    EXPECT_EQ(undos, 0);
    EXPECT_EQ(voice->phase(), VoicePhase::idle);
}

TEST_F(VoiceManagerTest, UndoIsOfferedByClickAndByTap) {
    say("start design review");
    EXPECT_TRUE(voice->offersUndo());
    voice->undo();
    EXPECT_EQ(undos, 1);
    EXPECT_EQ(voice->doneText(), "Undone: Started Design review");
    EXPECT_EQ(voice->doneOutcome()->action, "undo");
    EXPECT_FALSE(voice->offersUndo());
    voice->undo();
    EXPECT_EQ(undos, 1) << "once";
    loop.runFor(2000ms);
    EXPECT_EQ(voice->phase(), VoicePhase::idle);

    say("start design review");
    loop.runFor(1900ms);
    press(150ms);
    release();
    EXPECT_EQ(undos, 2);
    EXPECT_EQ(voice->doneText(), "Undone: Started Design review");
    EXPECT_FALSE(microphone.isRecording());
    loop.runFor(2000ms);
    EXPECT_EQ(voice->phase(), VoicePhase::idle);

    press(150ms);
    release();
    EXPECT_EQ(undos, 2) << "no tap without an offer";

    say("start design review");
    loop.runFor(100ms);
    press(100ms);
    chord.pressOtherKey();
    release();
    EXPECT_EQ(undos, 2) << "a shortcut is no tap";
}

TEST_F(VoiceManagerTest, TheOfferIsKeptWhileThePointerRestsOnIt) {
    say("start design review");
    loop.runFor(1500ms);
    voice->keepUndoOffer();
    loop.runFor(3999ms);
    EXPECT_TRUE(voice->offersUndo());
    loop.runFor(1ms);
    EXPECT_EQ(voice->phase(), VoicePhase::idle);
    voice->undo();
    EXPECT_EQ(undos, 0);

    outcome.action = "none";
    outcome.feedback = "Couldn't find that task";
    say("switch to the moon");
    EXPECT_FALSE(voice->offersUndo());
    voice->keepUndoOffer();
    loop.runFor(2000ms);
    EXPECT_EQ(voice->phase(), VoicePhase::idle);

    outcome = started("Design review");
    undoWords.reset();
    say("start design review");
    voice->undo();
    EXPECT_EQ(voice->doneText(), "Design review") << "nothing could be taken back, so the outcome stands";
    EXPECT_FALSE(voice->offersUndo());
}

TEST_F(VoiceManagerTest, ABlankTranscriptIsNoCommand) {
    for (const char* blank : {"", " \n\t"}) {
        press(500ms);
        release();
        recognizer.hearAll(blank);
        expectNoTrace();
    }
}

TEST_F(VoiceManagerTest, RestartsTheRecogniserWhileTheChordIsHeld) {
    press(300ms);
    microphone.hear(100'000, 0.25F);
    recognizer.hearSoFar("start the");
    const auto dead = recognizer.utterances.back();
    recognizer.fail(SpeechError::engineStopped);
    ASSERT_EQ(recognizer.utterances.size(), 2U);
    EXPECT_EQ(voice->phase(), VoicePhase::listening);
    loop.runPosted();
    EXPECT_TRUE(dead->abandoned);
    microphone.hear(100, 0.75F);
    EXPECT_EQ(recognizer.last().sound.size(), 100'100U) << "what was said so far is heard again";
    EXPECT_EQ(dead->sound.size(), 100'000U);
    FakeSpeechRecognizer::fail(*dead, SpeechError::engineStopped);
    EXPECT_EQ(recognizer.utterances.size(), 2U) << "the old one's errors are ignored";

    release();
    recognizer.hearAll("start the report");
    EXPECT_THAT(executed, ElementsAre("start the report"));
}

TEST_F(VoiceManagerTest, GivesUpOnARecogniserThatCannotBeRestarted) {
    const std::string text = "Speech recognizer unavailable. Try again.";
    press(300ms);
    recognizer.missing = "the model was removed";
    recognizer.fail(SpeechError::unavailable);
    expectError(text);
    release();

    recognizer.missing.clear();
    press(300ms);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(voice->phase(), VoicePhase::listening);
        recognizer.fail(SpeechError::engineStopped);
    }
    expectError(text);
    release();

    press(300ms);
    release();
    recognizer.fail(SpeechError::engineStopped);
    expectError(text);

    press(300ms);
    release();
    loop.runFor(30'000ms);
    expectError(text);
}

TEST_F(VoiceManagerTest, UnpluggingProcessesNothingHalfHeard) {
    press(500ms);
    microphone.hear(1600, 0.5F);
    recognizer.hearSoFar("start half a");
    const auto utterance = recognizer.utterances.back();
    microphone.unplug();
    EXPECT_FALSE(utterance->finished);
    expectError("Microphone stopped. Try again.");
    FakeSpeechRecognizer::final(*utterance, "start half a");
    EXPECT_THAT(executed, IsEmpty());
}

TEST_F(VoiceManagerTest, RewritesTicketNamesInPreviewAndCommand) {
    press(300ms);
    recognizer.hearSoFar("start abc - 12");
    EXPECT_EQ(voice->transcript(), "start abc-12");
    release();
    recognizer.hearAll("start ABC - 123");
    EXPECT_THAT(executed, ElementsAre("start ABC-123"));
}

TEST_F(VoiceManagerTest, ShowsThePendingActionAtMostTenTimesASecond) {
    press(300ms);
    for (int i = 0; i < 30; ++i) {
        recognizer.hearSoFar("design " + std::to_string(i));
        loop.runFor(10ms);
    }
    EXPECT_LE(previews, 5);
    loop.runFor(100ms);
    ASSERT_TRUE(voice->pending());
    EXPECT_EQ(voice->pending()->taskTitle, "design 29") << "the last words are always looked at";
    recognizer.hearSoFar("um");
    loop.runFor(100ms);
    EXPECT_EQ(voice->pending(), std::nullopt);
    recognizer.hearSoFar("design review");
    release();
    EXPECT_TRUE(voice->pending()) << "still shown while transcribing";
    recognizer.hearAll("design review");
    EXPECT_EQ(voice->pending(), std::nullopt);
}

TEST_F(VoiceManagerTest, ShowsTheInputLevelTwentyTimesASecond) {
    int changes = 0;
    press();
    const auto subscription = voice->onChanged([&] { ++changes; });
    microphone.hear(800, 0.0F);
    loop.runFor(50ms);
    microphone.hear(800, 0.1F);
    loop.runFor(50ms);
    ASSERT_EQ(voice->levels().size(), 2U);
    EXPECT_EQ(voice->levels()[0], 0.0F);
    EXPECT_NEAR(voice->levels()[1], 0.7F, 0.01F) << "-20 dB between -55 and -5";
    microphone.hear(800, 1.0F);
    loop.runFor(900ms);
    EXPECT_EQ(changes, 20);
    EXPECT_EQ(voice->levels().size(), VoiceManager::levelCount);
}

TEST_F(VoiceManagerTest, ASuspendedHotkeyDoesNothing) {
    voice->setHotkeySuspended(true);
    press(500ms);
    EXPECT_EQ(voice->phase(), VoicePhase::idle);
    voice->setHotkeySuspended(false);
    chord.hold(chordKeys | modifier::command);
    EXPECT_EQ(voice->phase(), VoicePhase::idle) << "keys from before start nothing";
    release();
    press(500ms);
    EXPECT_EQ(voice->phase(), VoicePhase::listening);
    voice->setHotkeySuspended(true);
    expectNoTrace();
}

TEST_F(VoiceManagerTest, TheRecorderSeesTheKeysInsteadOfTheController) {
    std::vector<std::uint32_t> seen;
    voice->watchModifiers([&](std::uint32_t held) { seen.push_back(held); });
    press(500ms);
    EXPECT_EQ(voice->phase(), VoicePhase::idle);
    voice->watchModifiers({});
    release();
    EXPECT_THAT(seen, ElementsAre(chordKeys));
    press();
    EXPECT_EQ(voice->phase(), VoicePhase::listening);
    release();

    // Also while voice control is off, when nobody else watches.
    voice->setEnabled(false);
    EXPECT_EQ(chord.stops, 1);
    voice->watchModifiers([&](std::uint32_t held) { seen.push_back(held); });
    chord.hold(modifier::shift);
    EXPECT_EQ(seen.back(), modifier::shift);
    voice->watchModifiers({});
    EXPECT_EQ(chord.stops, 2);
}

TEST_F(VoiceManagerTest, TheButtonStartsAndStopsWithoutTheChord) {
    voice->toggle();
    EXPECT_EQ(voice->phase(), VoicePhase::listening);
    chord.pressOtherKey();
    loop.runFor(1000ms);
    EXPECT_EQ(voice->phase(), VoicePhase::listening) << "typing and a chord that is up do not end it";
    recognizer.fail(SpeechError::engineStopped);
    EXPECT_EQ(recognizer.utterances.size(), 2U);
    voice->toggle();
    EXPECT_EQ(voice->phase(), VoicePhase::transcribing);
    voice->toggle();
    recognizer.hearAll("stop");
    EXPECT_EQ(voice->phase(), VoicePhase::done);
    voice->toggle();
    EXPECT_EQ(voice->phase(), VoicePhase::done);
    voice->setEnabled(false);
    EXPECT_EQ(voice->phase(), VoicePhase::idle);
    voice->toggle();
    EXPECT_EQ(voice->phase(), VoicePhase::idle);
}

TEST_F(VoiceManagerTest, AStartInsideAChangeCallbackDoesNotNest) {
    const auto subscription = voice->onChanged([&] {
        if (voice->phase() == VoicePhase::listening) {
            voice->toggle();
        }
    });
    voice->toggle();
    loop.runPosted();
    EXPECT_EQ(voice->phase(), VoicePhase::transcribing);
    EXPECT_EQ(recognizer.utterances.size(), 1U);
}

TEST_F(VoiceManagerTest, SweepsWhatACrashLeftAndNothingElse) {
    voice->setEnabled(false);
    const auto old = fs::file_time_type::clock::now() - 1h;
    for (const char* name : {"tolvik-voice-A.m4a", "tolvik-voice-B.m4a", "tolvik-voice-C.wav", "voice.m4a", "new"}) {
        std::ofstream(folder / name) << "x";
        fs::last_write_time(folder / name, old);
    }
    std::ofstream(folder / "tolvik-voice-inuse.m4a") << "x";
    voice->setEnabled(true);
    auto left = recordings();
    std::ranges::sort(left);
    EXPECT_THAT(left, ElementsAre("new", "tolvik-voice-C.wav", "tolvik-voice-inuse.m4a", "voice.m4a"));
    for (const auto& name : left) {
        fs::remove(folder / name);
    }
}

TEST_F(VoiceManagerTest, UsesTheChosenMicrophoneAndChord) {
    ASSERT_TRUE(values.setText(voiceSetting::microphone, "usb"));
    ASSERT_TRUE((PushToTalkHotkey{modifier::control | modifier::shift}.save(values)));
    chord.hold(modifier::control | modifier::shift);
    EXPECT_EQ(voice->phase(), VoicePhase::listening);
    EXPECT_THAT(microphone.startedDevices, ElementsAre("usb"));
    chord.hold(modifier::control);
    expectNoTrace();
}

class VoiceUploadTest : public VoiceManagerTest {
protected:
    VoiceUploadTest() {
        transcription = &client;
        voice.emplace(ports());
        voice->setEnabled(true);
    }
    ~VoiceUploadTest() override { voice.reset(); }
    /// Up to the upload; neither of the two has a text yet.
    void speak() {
        press(500ms);
        microphone.hear(1600, 0.5F);
        release();
        EXPECT_TRUE(recognizer.last().finished);
    }

    FakeTranscription client;
};

TEST_F(VoiceUploadTest, TheServersTextIsUsedWhileThisDeviceListensToo) {
    speak();
    ASSERT_EQ(client.files.size(), 1U);
    EXPECT_EQ(client.prompts[0], "Recent task titles: A.");
    EXPECT_EQ(codec.sounds.at(client.files[0]).interleaved.size(), 1600U);
    recognizer.hearAll("start a bee see");
    loop.runFor(1900ms);
    EXPECT_THAT(executed, IsEmpty()) << "the server has its time";
    executesLate = true;
    client.answer(" start ABC - 1 ");
    recognizer.hearAll("once more");
    loop.runFor(5s);
    EXPECT_THAT(executed, ElementsAre("start ABC-1"));
    answerExecution(outcome);
    EXPECT_EQ(voice->doneNote(), "");
    EXPECT_THAT(recordings(), IsEmpty());
}

TEST_F(VoiceUploadTest, ThisDevicesTextIsUsedWhenTheServerHasNone) {
    // Late, with the text waiting.
    speak();
    recognizer.hearAll("start one");
    loop.runFor(2100ms);
    EXPECT_EQ(voice->phase(), VoicePhase::done);
    EXPECT_EQ(voice->doneNote(), "heard on this device");
    EXPECT_TRUE(client.last.expired()) << "nobody waits for the server any more";
    loop.runFor(VoiceManager::doneTime);
    EXPECT_EQ(voice->doneNote(), "");
    // Refused at once, and this device takes longer.
    speak();
    client.refuse("Transcribe failed (503)", true);
    EXPECT_EQ(voice->phase(), VoicePhase::transcribing);
    recognizer.hearAll("start two");
    EXPECT_EQ(voice->doneNote(), "heard on this device");
    loop.runFor(VoiceManager::doneTime);
    // Both late: whoever is first.
    speak();
    loop.runFor(3s);
    client.answer("start three");
    recognizer.hearAll("start something");
    EXPECT_EQ(voice->doneNote(), "");
    EXPECT_THAT(executed, ElementsAre("start one", "start two", "start three"));
}

TEST_F(VoiceUploadTest, SomeRefusalsAreShown) {
    speak();
    recognizer.hearAll("start one");
    client.refuse("Transcribe failed (400): bad audio", false);
    expectError("Transcribe failed (400): bad audio");
    // Neither of the two.
    speak();
    recognizer.fail(SpeechError::engineStopped);
    EXPECT_EQ(voice->phase(), VoicePhase::transcribing) << "the server may still answer";
    client.refuse("no network", true);
    expectError("no network");
    EXPECT_THAT(executed, IsEmpty());
    // Nobody is signed in any more.
    client.wanted = false;
    const auto uploads = client.files.size();
    speak();
    recognizer.hearAll("start here");
    EXPECT_EQ(client.files.size(), uploads);
    EXPECT_THAT(executed, ElementsAre("start here"));
    EXPECT_EQ(voice->doneNote(), "");
}

}  // namespace
}  // namespace tolvik
