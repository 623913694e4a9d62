#include <utility>

#include "base/text.h"
#include "voice/capture/ticket_names.h"
#include "voice/capture/voice_manager_impl.h"

// From the release to the outcome and back to idle.

namespace tolvik {

namespace {

constexpr const char* heardHere = "heard on this device";

bool changedTheLog(const CommandOutcome& outcome) {
    return (outcome.action == "start" || outcome.action == "switch" || outcome.action == "stop" ||
            outcome.action == "done") &&
           !outcome.feedback.starts_with("Already running: ");
}

}  // namespace

void VoiceManager::Impl::stopAndProcess() {
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

void VoiceManager::Impl::upload(const Result<std::filesystem::path, std::string>& file) {
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

void VoiceManager::Impl::serverAnswered(const Result<std::string, TranscriptionClient::Failure>& answer) {
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

void VoiceManager::Impl::weigh() {
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

void VoiceManager::Impl::textArrived(std::string text) {
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

void VoiceManager::Impl::heard(const std::string& text) {
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

void VoiceManager::Impl::executed(const CommandOutcome& outcome) {
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

void VoiceManager::Impl::showOutcome(CommandOutcome outcome, bool undoable) {
    phase = VoicePhase::done;
    doneText = outcome.feedback;
    doneOutcome = std::move(outcome);
    offersUndo = undoable;
    showFor(doneTime);
    changed.emit();
}

void VoiceManager::Impl::showFor(Millis time) {
    doneTask = ports.loop.after(time, [this] {
        backToIdle();
        changed.emit();
    });
}

void VoiceManager::Impl::takeUndo() {
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

void VoiceManager::Impl::backToIdle() {
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

void VoiceManager::Impl::abandon() {
    ++audioGeneration;
    backToIdle();
    changed.emit();
}

void VoiceManager::Impl::fail(std::string text) {
    ++audioGeneration;
    backToIdle();
    showError(std::move(text));
    changed.emit();
}

void VoiceManager::Impl::showError(std::string text) {
    error = std::move(text);
    errorClearTimer = ports.loop.after(errorTime, [this] {
        error.reset();
        changed.emit();
    });
}

void VoiceManager::Impl::clearError() {
    error.reset();
    errorClearTimer.cancel();
}

void VoiceManager::Impl::discardSession() {
    if (!session) {
        return;
    }
    dropSpeech();
    session.reset();
}

void VoiceManager::Impl::dropSpeech() {
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

}  // namespace tolvik
