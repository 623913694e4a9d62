#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "voice/capture/voice_manager.h"
#include "voice/capture/voice_session.h"

namespace tolvik {

inline constexpr const char* recognizerStopped = "Speech recognizer unavailable. Try again.";

/// The controller's state, and the steps from one phase to the next.
struct VoiceManager::Impl {
    explicit Impl(Ports given) : ports(std::move(given)) {}
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;
    ~Impl() {
        discardSession();
        resumeMedia();
        if (isWatching) {
            ports.chord.stop();
        }
    }

    Ports ports;
    Signal<> changed;
    Signal<std::uint32_t> modifiers;

    VoicePhase phase = VoicePhase::idle;
    std::string transcript;
    std::string doneText;
    std::string doneNote;
    std::optional<CommandOutcome> doneOutcome;
    std::optional<std::string> error;
    std::optional<CommandOutcome> pending;
    bool offersUndo = false;
    std::vector<float> levels;
    std::optional<int> secondsLeft;
    bool enabled = false;
    bool hotkeySuspended = false;
    Timings timings;

    /// Raised for every session and whenever one is given up: late callbacks of an older one change nothing.
    std::uint64_t audioGeneration = 0;
    bool holdingHotkey = false;
    bool isTransitioning = false;
    bool didPauseMedia = false;
    bool pendingMediaResume = false;
    bool isWatching = false;
    std::unique_ptr<VoiceSession> session;
    std::function<void(std::uint32_t)> watcher;
    Timer doneTask;
    Timer errorClearTimer;
    // Recogniser sessions end inside their own callbacks; they are destroyed on a later turn.
    std::vector<std::unique_ptr<SpeechSession>> buried;
    // What is posted looks here first.
    std::shared_ptr<Impl*> alive = std::make_shared<Impl*>(this);

    /// Starts and stops must not run inside one another.
    class Transition {
    public:
        explicit Transition(Impl& impl) : impl_(impl) { impl_.isTransitioning = true; }
        Transition(const Transition&) = delete;
        Transition& operator=(const Transition&) = delete;
        ~Transition() { impl_.isTransitioning = false; }

    private:
        Impl& impl_;
    };

    /// Wraps a callback of this session: it runs once no start or stop is under way, and not at all when the session
    /// is over by then.
    template <class... Args>
    std::function<void(Args...)> ofThisSession(std::function<void(Args...)> call) {
        return
            [weak = std::weak_ptr(alive), generation = audioGeneration, call = std::move(call)](const Args&... args) {
                const auto self = weak.lock();
                if (!self || (*self)->audioGeneration != generation) {
                    return;
                }
                if (!(*self)->isTransitioning) {
                    // The call may end the session that owns this very function.
                    const auto kept = call;
                    kept(args...);
                    return;
                }
                (*self)->ports.loop.post([weak, generation, call, args...] {
                    const auto later = weak.lock();
                    if (later && (*later)->audioGeneration == generation) {
                        call(args...);
                    }
                });
            };
    }

    // --- the chord ---------------------------------------------------------------------------------------------------

    void watchChord();
    void modifiersChanged(std::uint32_t held);
    void chordChanged(bool isHeld);
    void chordReleased();
    void otherKeyPressed();
    void checkRelease();

    // --- media -------------------------------------------------------------------------------------------------------

    void pauseMedia();
    void resumeMedia();

    // --- start -------------------------------------------------------------------------------------------------------

    std::optional<std::string> reasonNotToStart();
    void startListening(bool byToggle);
    bool openSession(bool byToggle);
    bool beginRecognition();

    // --- while listening ---------------------------------------------------------------------------------------------

    void takeLevel();
    void noteFirstSamples();
    void partialArrived(const std::string& text);
    void updatePending();
    void recognitionFailed(SpeechError reason);
    bool restartRecognition();
    void microphoneEnded();

    // --- end ---------------------------------------------------------------------------------------------------------

    void stopAndProcess();
    // The recording is with the server while this device decodes the same sound; `weigh` decides between the two.
    void upload(const Result<std::filesystem::path, std::string>& file);
    void serverAnswered(const Result<std::string, TranscriptionClient::Failure>& answer);
    void weigh();
    void textArrived(std::string text);
    void heard(const std::string& text);
    void executed(const CommandOutcome& outcome);
    void showOutcome(CommandOutcome outcome, bool undoable);
    void showFor(Millis time);
    void takeUndo();
    /// Ends whatever runs and leaves nothing behind but an error that is shown.
    void backToIdle();
    void abandon();
    void fail(std::string text);
    void showError(std::string text);
    void clearError();
    void discardSession();
    void dropSpeech();
};

}  // namespace tolvik
