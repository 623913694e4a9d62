#include "app/models/pill_model.h"

#include <algorithm>
#include <array>
#include <utility>

#include "app/models/wording.h"

namespace tolvik {
namespace {

constexpr int kBars = 10;

struct Sign {
    QStringView text;
    const char* icon;
};

// The first sign of an outcome line and the icon that is drawn in its place.
const std::array kSigns{Sign{u"✓ ", "check2"}, Sign{u"→ ", "arrow-right"}, Sign{u"⏸ ", "pause-fill"},
                        Sign{u"↩ ", "arrow-counterclockwise"}};

QString iconOf(const std::string& action) {
    if (action == "start") {
        return QStringLiteral("play-fill");
    }
    if (action == "switch") {
        return QStringLiteral("arrow-right");
    }
    if (action == "done") {
        return QStringLiteral("check2");
    }
    if (action == "stop") {
        return QStringLiteral("pause-fill");
    }
    if (action == "undo") {
        return QStringLiteral("arrow-counterclockwise");
    }
    return {};
}

const Sign* signOf(const QString& line) {
    const auto found = std::ranges::find_if(kSigns, [&](const Sign& sign) { return line.startsWith(sign.text); });
    return found == kSigns.end() ? nullptr : &*found;
}

}  // namespace

void PillModel::follow(VoiceManager& voice, std::function<int(const Identifier&)> colorOf,
                       std::function<QString()> runningTitle) {
    voice_ = &voice;
    colorOf_ = std::move(colorOf);
    runningTitle_ = std::move(runningTitle);
    subscription_ = voice.onChanged([this] { pull(); });
    pull();
}

void PillModel::pull() {
    PillState state{.phase = voice_->phase(),
                    .transcript = wording::fromUtf8(voice_->transcript()),
                    .pending = voice_->pending(),
                    .doneText = wording::fromUtf8(voice_->doneText()),
                    .note = wording::fromUtf8(voice_->doneNote()),
                    .outcome = voice_->doneOutcome(),
                    .error = voice_->error() ? wording::fromUtf8(*voice_->error()) : QString(),
                    .secondsLeft = voice_->secondsLeft(),
                    .offersUndo = voice_->offersUndo()};
    const auto& levels = voice_->levels();
    const std::size_t count = std::min<std::size_t>(levels.size(), kBars);
    state.levels = QList<double>(levels.end() - static_cast<std::ptrdiff_t>(count), levels.end());
    show(state);
}

void PillModel::show(const PillState& state) {
    const QString before = phase();
    const bool sameLevels = state.levels == state_.levels;
    state_ = state;
    Q_EMIT changed();
    if (!sameLevels) {
        Q_EMIT levelsChanged();
    }
    announce(before);
}

QString PillModel::phase() const {
    if (!state_.error.isEmpty() && state_.phase == VoicePhase::idle) {
        return QStringLiteral("error");
    }
    switch (state_.phase) {
        case VoicePhase::idle:
            return QStringLiteral("idle");
        case VoicePhase::listening:
            return QStringLiteral("listening");
        case VoicePhase::transcribing:
            return QStringLiteral("transcribing");
        case VoicePhase::done:
            return state_.doneText.isEmpty() ? QStringLiteral("idle") : QStringLiteral("done");
    }
    return {};
}

QString PillModel::pendingIcon() const {
    return state_.pending && !pendingTitle().isEmpty() ? iconOf(state_.pending->action) : QString();
}

QString PillModel::pendingTitle() const {
    if (!state_.pending || iconOf(state_.pending->action).isEmpty()) {
        return {};
    }
    const QString title = wording::fromUtf8(state_.pending->taskTitle);
    return title.isEmpty() && runningTitle_ && state_.pending->action != "undo" ? runningTitle_() : title;
}

int PillModel::pendingColor() const {
    const bool known = state_.pending && state_.pending->taskId && colorOf_;
    return known ? colorOf_(*state_.pending->taskId) : -1;
}

QString PillModel::outcomeIcon() const {
    if (const Sign* sign = signOf(state_.doneText)) {
        return QLatin1String(sign->icon);
    }
    const QString icon = state_.outcome ? iconOf(state_.outcome->action) : QString();
    return icon.isEmpty() ? QStringLiteral("question-lg") : icon;
}

QString PillModel::outcomeTitle() const {
    QString line = state_.doneText;
    if (const Sign* sign = signOf(line)) {
        line.remove(0, sign->text.size());
    }
    const QString reason = spokenReason();
    if (!reason.isEmpty()) {
        line.chop(reason.size() + 3);
    }
    return line;
}

QString PillModel::outcomeReason() const {
    const QString reason = spokenReason();
    return reason.isEmpty() || state_.note.isEmpty() ? reason + state_.note
                                                     : reason + QStringLiteral(" · ") + state_.note;
}

QString PillModel::spokenReason() const {
    if (!state_.outcome || !state_.outcome->reason) {
        return {};
    }
    const QString reason = wording::fromUtf8(*state_.outcome->reason);
    return state_.doneText.endsWith(QStringLiteral(" · ") + reason) ? reason : QString();
}

bool PillModel::outcomeIsForward() const {
    const QString icon = outcomeIcon();
    return icon == QLatin1String("play-fill") || icon == QLatin1String("arrow-right") ||
           icon == QLatin1String("check2");
}

void PillModel::undo() {
    if (voice_ != nullptr) {
        voice_->undo();
    }
    Q_EMIT undoWanted();
}

void PillModel::keepUndoOffer() {
    if (voice_ != nullptr) {
        voice_->keepUndoOffer();
    }
    Q_EMIT undoKept();
}

void PillModel::announce(const QString& phaseBefore) {
    const QString now = phase();
    if (now == phaseBefore) {
        return;
    }
    if (now == QLatin1String("listening")) {
        announcement_ = QStringLiteral("Listening");
    } else if (now == QLatin1String("transcribing")) {
        announcement_ = QStringLiteral("Transcribing");
    } else if (now == QLatin1String("done")) {
        announcement_ = state_.doneText + (state_.note.isEmpty() ? QString() : QStringLiteral(", ") + state_.note);
    } else if (now == QLatin1String("error")) {
        announcement_ = state_.error;
    } else {
        announcement_.clear();
    }
    Q_EMIT announcementChanged();
}

}  // namespace tolvik
