#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fakes/voice_fixture.h"
#include "voice/capture/voice_settings.h"

namespace tolvik {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

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

}  // namespace
}  // namespace tolvik
