#include "voice/capture/voice_manager.h"

#include <algorithm>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fakes/voice_fixture.h"
#include "voice/capture/voice_settings.h"

namespace tolvik {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

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

}  // namespace
}  // namespace tolvik
