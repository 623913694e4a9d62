#include "voice/capture/voice_manager.h"

#include <utility>

#include "base/text.h"
#include "voice/capture/capture_buffer.h"
#include "voice/capture/push_to_talk_hotkey.h"
#include "voice/capture/recording_file.h"
#include "voice/capture/ticket_names.h"
#include "voice/capture/voice_settings.h"

namespace tolvik {

namespace {

constexpr int maxRestarts = 3;
constexpr const char* microphoneDenied =
    "Microphone access denied. Enable it in System Settings > Privacy > Microphone.";
constexpr const char* noMicrophone = "No microphone available.";
constexpr const char* noRecognizer = "Speech recognizer not available";
constexpr const char* microphoneStopped = "Microphone stopped. Try again.";
constexpr const char* heardHere = "heard on this device";
constexpr const char* recognizerStopped = "Speech recognizer unavailable. Try again.";

std::string textFor(const MicrophoneError& error) {
    switch (error.kind) {
        case MicrophoneError::Kind::denied:
            return microphoneDenied;
        case MicrophoneError::Kind::noDevice:
            return noMicrophone;
        case MicrophoneError::Kind::failed:
            break;
    }
    return "Mic error: " + error.description;
}

bool changedTheLog(const CommandOutcome& outcome) {
    return (outcome.action == "start" || outcome.action == "switch" || outcome.action == "stop" ||
            outcome.action == "done") &&
           !outcome.feedback.starts_with("Already running: ");
}

/// One press of the chord, from listening to the executed command.
struct Session {
    bool byToggle = false;
    /// The keys whose release ends it.
    PushToTalkHotkey hotkey;
    Instant startedAt;
    Instant releasedAt;
    /// Held for the minimum time.
    bool isPress = false;
    /// It began while an undo was offered: a mere tap takes it.
    bool tapUndoes = false;

    std::shared_ptr<CaptureBuffer> sound;
    AudioFormat format;
    std::unique_ptr<RecordingFile> file;
    std::unique_ptr<SpeechSession> speech;
    /// Counts the recogniser's starts; callbacks of an earlier one are dropped.
    int attempt = 0;
    bool isRestartingRecognition = false;

    /// While the recording is with the server as well: what each of the two has come to.
    bool isUploading = false;
    TranscriptionClient::Request request;
    std::optional<std::string> serverProblem;
    bool serverIsLate = false;
    std::optional<std::string> deviceText;
    bool deviceFailed = false;
    Timer patience;
    /// The text is settled and being carried out.
    bool isDecided = false;
    std::string note;

    // Destroyed before what its samples go to.
    std::unique_ptr<Microphone::Recording> recording;

    Timer cap;
    Timer minimum;
    Timer releaseCheck;
    Timer level;
    Timer preview;
    bool previewIsStale = false;
    Timer limit;

    void stopTimers() {
        for (Timer* timer : {&cap, &minimum, &releaseCheck, &level}) {
            timer->cancel();
        }
    }
};

}  // namespace

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
    std::unique_ptr<Session> session;
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
        return [weak = std::weak_ptr(alive), generation = audioGeneration, call = std::move(call)](Args... args) {
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

    void watchChord() {
        const bool wanted = enabled || watcher;
        if (wanted == isWatching) {
            return;
        }
        isWatching = wanted;
        if (!wanted) {
            ports.chord.stop();
            return;
        }
        // A session that cannot be watched says so through `problem()`; the button still works there.
        std::ignore = ports.chord.start({.onModifiers = [this](std::uint32_t held) { modifiersChanged(held); },
                                         .onOtherKey = [this] { otherKeyPressed(); }});
        holdingHotkey = PushToTalkHotkey::current(ports.values).isHeldBy(ports.chord.heldNow());
    }

    void modifiersChanged(std::uint32_t held) {
        modifiers.emit(held);
        if (watcher) {
            const auto kept = watcher;
            kept(held);
            return;
        }
        if (!enabled || hotkeySuspended) {
            return;
        }
        const PushToTalkHotkey hotkey = phase == VoicePhase::listening && !session->byToggle
                                            ? session->hotkey
                                            : PushToTalkHotkey::current(ports.values);
        const bool isHeld = hotkey.isHeldBy(held);
        if (isHeld != holdingHotkey) {
            chordChanged(isHeld);
        }
    }

    void chordChanged(bool isHeld) {
        holdingHotkey = isHeld;
        if (!isHeld) {
            if (phase == VoicePhase::listening) {
                chordReleased();
            }
            return;
        }
        if (phase == VoicePhase::idle) {
            startListening(false);
        } else if (phase == VoicePhase::done && doneTask.isPending()) {
            const bool offered = offersUndo;
            backToIdle();
            startListening(false);
            if (session) {
                session->tapUndoes = offered;
            }
        }
    }

    void chordReleased() {
        if (session->byToggle || session->isPress) {
            stopAndProcess();
            return;
        }
        const bool undoes = session->tapUndoes;
        abandon();
        if (undoes) {
            takeUndo();
        }
    }

    void otherKeyPressed() {
        if (phase == VoicePhase::listening && !session->byToggle && !isTransitioning) {
            abandon();
        }
    }

    void checkRelease() {
        session->releaseCheck = ports.loop.after(releaseCheckInterval, [this] { checkRelease(); });
        if (!session->hotkey.isHeldBy(ports.chord.heldNow())) {
            chordChanged(false);
        }
    }

    // --- media -------------------------------------------------------------------------------------------------------

    void pauseMedia() {
        if (!ports.values.flag(voiceSetting::pauseMedia, false)) {
            return;
        }
        ports.media.pausePlaying([weak = std::weak_ptr(alive)](bool paused) {
            const auto self = weak.lock();
            if (!self || !paused) {
                return;
            }
            (*self)->didPauseMedia = true;
            (*self)->pendingMediaResume = true;
            // The session may have ended while the players were asked.
            if ((*self)->phase == VoicePhase::idle) {
                (*self)->resumeMedia();
            }
        });
    }

    void resumeMedia() {
        const bool owed = std::exchange(pendingMediaResume, false);
        didPauseMedia = false;
        if (owed) {
            ports.media.resumePaused();
        }
    }

    // --- start -------------------------------------------------------------------------------------------------------

    std::optional<std::string> reasonNotToStart() {
        if (const auto problem = ports.microphone.check()) {
            return textFor(*problem);
        }
        if (!ports.recognizer.isAvailable()) {
            return noRecognizer;
        }
        return std::nullopt;
    }

    void startListening(bool byToggle) {
        if (isTransitioning) {
            return;
        }
        clearError();
        if (auto reason = reasonNotToStart()) {
            showError(std::move(*reason));
            changed.emit();
            return;
        }
        {
            const Transition transition(*this);
            if (!openSession(byToggle)) {
                return;
            }
        }
        changed.emit();
    }

    bool openSession(bool byToggle) {
        ++audioGeneration;
        auto fresh = std::make_unique<Session>();
        fresh->byToggle = byToggle;
        fresh->hotkey = PushToTalkHotkey::current(ports.values);
        fresh->startedAt = ports.clock.now();
        fresh->sound = std::make_shared<CaptureBuffer>(ports.clock);
        // The microphone first: the first word is being spoken.
        auto recording = ports.microphone.start(
            ports.values.text(voiceSetting::microphone),
            {.onSamples = [sound = fresh->sound](std::span<const float> samples) { sound->append(samples); },
             .onEnded = ofThisSession(std::function<void()>([this] { microphoneEnded(); }))});
        if (!recording) {
            fail(textFor(recording.error()));
            return false;
        }
        fresh->recording = std::move(*recording);
        fresh->format = fresh->recording->format();
        session = std::move(fresh);
        phase = VoicePhase::listening;
        transcript.clear();
        session->file = std::make_unique<RecordingFile>(
            ports.workers, ports.loop, ports.codec,
            ports.temporaryFolder / RecordingFile::nameFor(ports.random.identifier().text()), session->format,
            session->sound, ofThisSession(std::function<void(std::string)>([this](std::string reason) {
                // Once the sound is complete, the file matters only to the upload, which asks again.
                if (phase == VoicePhase::listening) {
                    fail("Mic error: " + reason);
                }
            })));
        if (!beginRecognition()) {
            fail(recognizerStopped);
            return false;
        }
        session->cap = ports.loop.after(listeningCap, [this] { stopAndProcess(); });
        session->level = ports.loop.after(levelInterval, [this] { takeLevel(); });
        if (byToggle) {
            session->isPress = true;
            pauseMedia();
        } else {
            session->minimum = ports.loop.after(minimumPress, [this] {
                session->isPress = true;
                pauseMedia();
            });
            session->releaseCheck = ports.loop.after(releaseCheckInterval, [this] { checkRelease(); });
        }
        return true;
    }

    bool beginRecognition() {
        const int attempt = ++session->attempt;
        const auto ofThisAttempt = [this, attempt]<class Arg>(void (Impl::*method)(Arg)) {
            return ofThisSession(std::function<void(Arg)>([this, attempt, method](Arg arg) {
                if (session && session->attempt == attempt) {
                    (this->*method)(std::move(arg));
                }
            }));
        };
        session->speech = ports.recognizer.begin(session->format.sampleRate, session->format.channels,
                                                 ports.vocabulary ? ports.vocabulary() : SpeechVocabulary{},
                                                 {.onPartial = ofThisAttempt(&Impl::partialArrived),
                                                  .onFinal = ofThisAttempt(&Impl::textArrived),
                                                  .onError = ofThisAttempt(&Impl::recognitionFailed)});
        if (!session->speech) {
            return false;
        }
        session->sound->attach(*session->speech);
        return true;
    }

    // --- while listening ---------------------------------------------------------------------------------------------

    void takeLevel() {
        session->level = ports.loop.after(levelInterval, [this] { takeLevel(); });
        levels.push_back(session->sound->takeLevel());
        if (levels.size() > levelCount) {
            levels.erase(levels.begin());
        }
        noteFirstSamples();
        session->file->update();
        const Millis left = listeningCap - (ports.clock.now() - session->startedAt);
        const auto seconds = static_cast<int>((left.count() + 999) / 1000);
        secondsLeft = left < Millis{10'000} && seconds > 0 ? std::optional(seconds) : std::nullopt;
        changed.emit();
    }

    void noteFirstSamples() {
        if (const auto first = session->sound->firstSamplesAt()) {
            timings.chordToFirstSamples = *first - session->startedAt;
        }
    }

    void partialArrived(std::string text) {
        if (phase != VoicePhase::listening && phase != VoicePhase::transcribing) {
            return;
        }
        transcript = withTicketNames(text);
        if (session->preview.isPending()) {
            session->previewIsStale = true;
        } else {
            updatePending();
        }
        changed.emit();
    }

    void updatePending() {
        session->previewIsStale = false;
        pending.reset();
        if (ports.preview && !trimmed(transcript).empty()) {
            CommandOutcome outcome = ports.preview(transcript);
            if (outcome.action != "none" && !outcome.action.empty()) {
                pending = std::move(outcome);
            }
        }
        session->preview = ports.loop.after(previewInterval, [this] {
            if (session->previewIsStale) {
                updatePending();
                changed.emit();
            }
        });
    }

    void recognitionFailed(SpeechError reason) {
        if (reason == SpeechError::cancelled || session->isRestartingRecognition) {
            return;
        }
        if (phase == VoicePhase::transcribing && session->isUploading) {
            session->deviceFailed = true;
            weigh();
            return;
        }
        const bool isHeld = session->byToggle || holdingHotkey;
        const bool canRestart = phase == VoicePhase::listening && isHeld && session->attempt <= maxRestarts &&
                                ports.recognizer.isAvailable();
        if (!canRestart || !restartRecognition()) {
            fail(recognizerStopped);
        }
    }

    bool restartRecognition() {
        session->isRestartingRecognition = true;
        dropSpeech();
        const bool restarted = beginRecognition();
        session->isRestartingRecognition = false;
        return restarted;
    }

    void microphoneEnded() {
        if (phase == VoicePhase::listening) {
            fail(microphoneStopped);
        }
    }

    // --- end ---------------------------------------------------------------------------------------------------------

    void stopAndProcess() {
        if (isTransitioning || phase != VoicePhase::listening) {
            return;
        }
        {
            const Transition transition(*this);
            session->releasedAt = ports.clock.now();
            session->stopTimers();
            session->recording->drain();
            session->recording.reset();
            noteFirstSamples();
            session->sound->detach();
            levels.clear();
            secondsLeft.reset();
            phase = VoicePhase::transcribing;
            session->limit = ports.loop.after(transcribingLimit, [this] { fail(recognizerStopped); });
            session->isUploading = ports.transcription != nullptr && ports.transcription->isWanted();
            session->speech->finish();
            if (session->isUploading) {
                session->file->finish([this](Result<std::filesystem::path, std::string> file) { upload(file); });
            }
        }
        changed.emit();
    }

    // The recording is with the server while this device decodes the same sound; `weigh` decides between the two.

    void upload(const Result<std::filesystem::path, std::string>& file) {
        if (session->isDecided) {
            return;
        }
        if (!file) {
            serverAnswered(failure(TranscriptionClient::Failure{"Mic error: " + file.error(), true}));
            return;
        }
        const Transition transition(*this);
        session->patience = ports.loop.after(serverPatience, [this] {
            session->serverIsLate = true;
            weigh();
        });
        using Answer = Result<std::string, TranscriptionClient::Failure>;
        session->request = ports.transcription->transcribe(
            *file, ports.prompt ? ports.prompt() : std::string(),
            ofThisSession(std::function<void(Answer)>([this](const Answer& answer) { serverAnswered(answer); })));
    }

    void serverAnswered(const Result<std::string, TranscriptionClient::Failure>& answer) {
        if (session->isDecided) {
            return;
        }
        if (answer) {
            heard(*answer);
        } else if (!answer.error().deviceTextServes) {
            fail(answer.error().text);
        } else {
            session->serverProblem = answer.error().text;
            weigh();
        }
    }

    void weigh() {
        if (session->isDecided || !(session->serverProblem || session->serverIsLate)) {
            return;
        }
        if (session->deviceText) {
            session->note = heardHere;
            heard(*session->deviceText);
        } else if (session->serverProblem && session->deviceFailed) {
            fail(*session->serverProblem);
        }
    }

    void textArrived(std::string text) {
        if (phase != VoicePhase::transcribing || session->isDecided) {
            return;
        }
        if (session->isUploading) {
            session->deviceText = std::move(text);
            weigh();
        } else {
            heard(text);
        }
    }

    void heard(const std::string& text) {
        session->isDecided = true;
        session->patience.cancel();
        session->request.reset();
        dropSpeech();
        transcript = withTicketNames(trimmed(text));
        if (transcript.empty()) {
            abandon();
            return;
        }
        ports.execute(transcript, ofThisSession(std::function<void(const CommandOutcome&)>(
                                      [this](const CommandOutcome& outcome) { executed(outcome); })));
    }

    void executed(const CommandOutcome& outcome) {
        if (phase != VoicePhase::transcribing) {
            return;
        }
        timings.releaseToDone = ports.clock.now() - session->releasedAt;
        doneNote = session->note;
        discardSession();
        pending.reset();
        if (outcome.feedback.empty()) {
            abandon();
            return;
        }
        showOutcome(outcome, ports.undo && changedTheLog(outcome));
    }

    void showOutcome(CommandOutcome outcome, bool undoable) {
        phase = VoicePhase::done;
        doneText = outcome.feedback;
        doneOutcome = std::move(outcome);
        offersUndo = undoable;
        showFor(doneTime);
        changed.emit();
    }

    void showFor(Millis time) {
        doneTask = ports.loop.after(time, [this] {
            backToIdle();
            changed.emit();
        });
    }

    void takeUndo() {
        const auto words = ports.undo();
        if (!words) {
            offersUndo = false;
            changed.emit();
            return;
        }
        doneNote.clear();
        CommandOutcome outcome;
        outcome.action = "undo";
        outcome.feedback = *words;
        showOutcome(std::move(outcome), false);
    }

    /// Ends whatever runs and leaves nothing behind but an error that is shown.
    void backToIdle() {
        doneTask.cancel();
        discardSession();
        resumeMedia();
        phase = VoicePhase::idle;
        transcript.clear();
        doneText.clear();
        doneNote.clear();
        doneOutcome.reset();
        pending.reset();
        offersUndo = false;
        levels.clear();
        secondsLeft.reset();
    }

    void abandon() {
        ++audioGeneration;
        backToIdle();
        changed.emit();
    }

    void fail(std::string text) {
        ++audioGeneration;
        backToIdle();
        showError(std::move(text));
        changed.emit();
    }

    void showError(std::string text) {
        error = std::move(text);
        errorClearTimer = ports.loop.after(errorTime, [this] {
            error.reset();
            changed.emit();
        });
    }

    void clearError() {
        error.reset();
        errorClearTimer.cancel();
    }

    void discardSession() {
        if (!session) {
            return;
        }
        dropSpeech();
        session.reset();
    }

    void dropSpeech() {
        session->sound->detach();
        if (!session->speech) {
            return;
        }
        buried.push_back(std::move(session->speech));
        ports.loop.post([weak = std::weak_ptr(alive)] {
            if (const auto self = weak.lock()) {
                (*self)->buried.clear();
            }
        });
    }
};

VoiceManager::VoiceManager(Ports ports) : impl_(std::make_unique<Impl>(std::move(ports))) {}
VoiceManager::~VoiceManager() = default;

VoicePhase VoiceManager::phase() const {
    return impl_->phase;
}
const std::string& VoiceManager::transcript() const {
    return impl_->transcript;
}
const std::string& VoiceManager::doneText() const {
    return impl_->doneText;
}
const std::string& VoiceManager::doneNote() const {
    return impl_->doneNote;
}
const std::optional<CommandOutcome>& VoiceManager::doneOutcome() const {
    return impl_->doneOutcome;
}
const std::optional<std::string>& VoiceManager::error() const {
    return impl_->error;
}
const std::optional<CommandOutcome>& VoiceManager::pending() const {
    return impl_->pending;
}
bool VoiceManager::offersUndo() const {
    return impl_->offersUndo;
}
const std::vector<float>& VoiceManager::levels() const {
    return impl_->levels;
}
std::optional<int> VoiceManager::secondsLeft() const {
    return impl_->secondsLeft;
}
bool VoiceManager::enabled() const {
    return impl_->enabled;
}
bool VoiceManager::hotkeySuspended() const {
    return impl_->hotkeySuspended;
}
std::string VoiceManager::chordProblem() const {
    return impl_->ports.chord.problem();
}
Subscription VoiceManager::onChanged(std::function<void()> callback) {
    return impl_->changed.connect(std::move(callback));
}
const VoiceManager::Timings& VoiceManager::lastTimings() const {
    return impl_->timings;
}

void VoiceManager::setEnabled(bool enabled) {
    if (enabled == impl_->enabled) {
        return;
    }
    impl_->enabled = enabled;
    if (enabled) {
        // File times are read from a clock that lags by up to a tick.
        const auto now = std::filesystem::file_time_type::clock::now() - Millis{50};
        impl_->ports.workers.run([folder = impl_->ports.temporaryFolder, now] { RecordingFile::sweep(folder, now); });
    } else if (impl_->phase != VoicePhase::idle) {
        impl_->abandon();
    }
    impl_->watchChord();
    impl_->changed.emit();
}

void VoiceManager::setHotkeySuspended(bool suspended) {
    if (suspended == impl_->hotkeySuspended) {
        return;
    }
    impl_->hotkeySuspended = suspended;
    if (suspended && impl_->phase == VoicePhase::listening && !impl_->session->byToggle) {
        impl_->abandon();
    }
    // Keys that are still down from before start nothing.
    impl_->holdingHotkey =
        !suspended && PushToTalkHotkey::current(impl_->ports.values).isHeldBy(impl_->ports.chord.heldNow());
    impl_->changed.emit();
}

void VoiceManager::toggle() {
    if (!impl_->enabled) {
        return;
    }
    if (impl_->phase == VoicePhase::idle) {
        impl_->startListening(true);
    } else if (impl_->phase == VoicePhase::listening) {
        impl_->stopAndProcess();
    }
}

void VoiceManager::undo() {
    if (impl_->phase == VoicePhase::done && impl_->offersUndo) {
        impl_->takeUndo();
    }
}

void VoiceManager::keepUndoOffer() {
    if (impl_->phase == VoicePhase::done && impl_->offersUndo) {
        impl_->showFor(keptOfferTime);
    }
}

Subscription VoiceManager::onModifiers(std::function<void(std::uint32_t held)> callback) {
    return impl_->modifiers.connect(std::move(callback));
}

void VoiceManager::watchModifiers(std::function<void(std::uint32_t held)> watcher) {
    impl_->watcher = std::move(watcher);
    impl_->watchChord();
    impl_->holdingHotkey = PushToTalkHotkey::current(impl_->ports.values).isHeldBy(impl_->ports.chord.heldNow());
}

}  // namespace tolvik
