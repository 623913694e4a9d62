#include "voice/capture/voice_manager.h"

#include <utility>

#include "voice/capture/voice_manager_impl.h"

namespace tolvik {

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

void VoiceManager::Impl::watchChord() {
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

void VoiceManager::Impl::modifiersChanged(std::uint32_t held) {
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

void VoiceManager::Impl::chordChanged(bool isHeld) {
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

void VoiceManager::Impl::chordReleased() {
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

void VoiceManager::Impl::otherKeyPressed() {
    if (phase == VoicePhase::listening && !session->byToggle && !isTransitioning) {
        abandon();
    }
}

void VoiceManager::Impl::checkRelease() {
    session->releaseCheck = ports.loop.after(releaseCheckInterval, [this] { checkRelease(); });
    if (!session->hotkey.isHeldBy(ports.chord.heldNow())) {
        chordChanged(false);
    }
}

}  // namespace tolvik
