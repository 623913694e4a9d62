#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fakes/voice_fixture.h"

namespace tolvik {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

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
