#pragma once

#include <QList>
#include <QObject>
#include <QString>
#include <QtQml/qqmlregistration.h>
#include <functional>
#include <optional>

#include "voice/capture/voice_manager.h"
#include "voice/parse/command.h"

namespace tolvik {

/// What the pill shows of the voice controller at one moment.
struct PillState {
    VoicePhase phase = VoicePhase::idle;
    QString transcript;
    std::optional<CommandOutcome> pending;
    QString doneText;
    /// A few words on how the outcome came about; shown beside its reason.
    QString note{};
    std::optional<CommandOutcome> outcome;
    QString error;
    std::optional<int> secondsLeft;
    bool offersUndo = false;
    QList<double> levels{};
    /// The recording is sent to the server instead of being heard here.
    bool sent = false;
};

/// The floating pill. Main thread only.
class PillModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Belongs to the pill's window")
    /// Whether there is anything to show.
    Q_PROPERTY(bool shown READ shown NOTIFY changed)
    /// "idle", "listening", "transcribing", "done" or "error".
    Q_PROPERTY(QString phase READ phase NOTIFY changed)
    Q_PROPERTY(QString transcript READ transcript NOTIFY changed)
    /// The icon of what the words would do; empty while nothing was understood.
    Q_PROPERTY(QString pendingIcon READ pendingIcon NOTIFY changed)
    Q_PROPERTY(QString pendingTitle READ pendingTitle NOTIFY changed)
    /// Index into the task palette; negative for none.
    Q_PROPERTY(int pendingColor READ pendingColor NOTIFY changed)
    /// The outcome line: its icon in place of its first sign, what it is about, and the reason if there is one.
    Q_PROPERTY(QString outcomeIcon READ outcomeIcon NOTIFY changed)
    Q_PROPERTY(QString outcomeTitle READ outcomeTitle NOTIFY changed)
    Q_PROPERTY(QString outcomeReason READ outcomeReason NOTIFY changed)
    /// Something was started, switched or marked done, rather than stopped or missed.
    Q_PROPERTY(bool outcomeIsForward READ outcomeIsForward NOTIFY changed)
    Q_PROPERTY(QString error READ error NOTIFY changed)
    /// Seconds until listening ends by itself; negative while there are enough.
    Q_PROPERTY(int secondsLeft READ secondsLeft NOTIFY changed)
    Q_PROPERTY(bool offersUndo READ offersUndo NOTIFY changed)
    Q_PROPERTY(bool sent READ sent NOTIFY changed)
    /// From 0 to 1, oldest first.
    Q_PROPERTY(QList<double> levels READ levels NOTIFY levelsChanged)
    /// The full line for assistive technology, once a phase.
    Q_PROPERTY(QString announcement READ announcement NOTIFY announcementChanged)
public:
    explicit PillModel(QObject* parent = nullptr) : QObject(parent) {}

    /// Follows the controller, which outlives the model. `colorOf` gives a task's colour, negative for none;
    /// `runningTitle` what stop and done are about when they name no task.
    void follow(VoiceManager& voice, std::function<int(const Identifier&)> colorOf,
                std::function<QString()> runningTitle);
    /// Shows a state as it is given.
    void show(const PillState& state);
    void setColorOf(std::function<int(const Identifier&)> colorOf) { colorOf_ = std::move(colorOf); }

    [[nodiscard]] bool shown() const { return phase() != QLatin1String("idle"); }
    [[nodiscard]] QString phase() const;
    [[nodiscard]] QString transcript() const { return state_.transcript; }
    [[nodiscard]] QString pendingIcon() const;
    [[nodiscard]] QString pendingTitle() const;
    [[nodiscard]] int pendingColor() const;
    [[nodiscard]] QString outcomeIcon() const;
    [[nodiscard]] QString outcomeTitle() const;
    [[nodiscard]] QString outcomeReason() const;
    [[nodiscard]] bool outcomeIsForward() const;
    [[nodiscard]] QString error() const { return state_.error; }
    [[nodiscard]] int secondsLeft() const { return state_.secondsLeft.value_or(-1); }
    [[nodiscard]] bool offersUndo() const { return state_.offersUndo; }
    [[nodiscard]] bool sent() const { return state_.sent; }
    [[nodiscard]] QList<double> levels() const { return state_.levels; }
    [[nodiscard]] QString announcement() const { return announcement_; }

    Q_INVOKABLE void undo();
    /// The pointer rests on the pill.
    Q_INVOKABLE void keepUndoOffer();

signals:
    void changed();
    void levelsChanged();
    void announcementChanged();
    void undoWanted();
    void undoKept();

private:
    /// The reason that the person gave, if the line tells it.
    [[nodiscard]] QString spokenReason() const;
    void pull();
    void announce(const QString& phaseBefore);

    VoiceManager* voice_ = nullptr;
    PillState state_;
    QString announcement_;
    std::function<int(const Identifier&)> colorOf_;
    std::function<QString()> runningTitle_;
    Subscription subscription_;
};

}  // namespace tolvik
