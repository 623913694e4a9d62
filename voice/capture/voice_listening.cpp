#include <utility>

#include "base/text.h"
#include "voice/capture/ticket_names.h"
#include "voice/capture/voice_manager_impl.h"
#include "voice/capture/voice_settings.h"

// From the first sample to the last: the session is opened, heard and shown while the person speaks.

namespace tolvik {

namespace {

constexpr int maxRestarts = 3;
constexpr const char* microphoneDenied =
    "Microphone access denied. Enable it in System Settings > Privacy > Microphone.";
constexpr const char* noMicrophone = "No microphone available.";
constexpr const char* noRecognizer = "Speech recognizer not available";
constexpr const char* microphoneStopped = "Microphone stopped. Try again.";

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

}  // namespace

void VoiceManager::Impl::pauseMedia() {
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

void VoiceManager::Impl::resumeMedia() {
    const bool owed = std::exchange(pendingMediaResume, false);
    didPauseMedia = false;
    if (owed) {
        ports.media.resumePaused();
    }
}

std::optional<std::string> VoiceManager::Impl::reasonNotToStart() {
    if (const auto problem = ports.microphone.check()) {
        return textFor(*problem);
    }
    if (!ports.recognizer.isAvailable()) {
        return noRecognizer;
    }
    return std::nullopt;
}

void VoiceManager::Impl::startListening(bool byToggle) {
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

bool VoiceManager::Impl::openSession(bool byToggle) {
    ++audioGeneration;
    auto fresh = std::make_unique<VoiceSession>();
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
        session->sound, ofThisSession(std::function<void(std::string)>([this](const std::string& reason) {
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

bool VoiceManager::Impl::beginRecognition() {
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

void VoiceManager::Impl::takeLevel() {
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

void VoiceManager::Impl::noteFirstSamples() {
    if (const auto first = session->sound->firstSamplesAt()) {
        timings.chordToFirstSamples = *first - session->startedAt;
    }
}

void VoiceManager::Impl::partialArrived(const std::string& text) {
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

void VoiceManager::Impl::updatePending() {
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

void VoiceManager::Impl::recognitionFailed(SpeechError reason) {
    if (reason == SpeechError::cancelled || session->isRestartingRecognition) {
        return;
    }
    if (phase == VoicePhase::transcribing && session->isUploading) {
        session->deviceFailed = true;
        weigh();
        return;
    }
    const bool isHeld = session->byToggle || holdingHotkey;
    const bool canRestart =
        phase == VoicePhase::listening && isHeld && session->attempt <= maxRestarts && ports.recognizer.isAvailable();
    if (!canRestart || !restartRecognition()) {
        fail(recognizerStopped);
    }
}

bool VoiceManager::Impl::restartRecognition() {
    session->isRestartingRecognition = true;
    dropSpeech();
    const bool restarted = beginRecognition();
    session->isRestartingRecognition = false;
    return restarted;
}

void VoiceManager::Impl::microphoneEnded() {
    if (phase == VoicePhase::listening) {
        fail(microphoneStopped);
    }
}

}  // namespace tolvik
