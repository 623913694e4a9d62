#pragma once

#include <QObject>
#include <QVariantList>
#include <QtQml/qqmlregistration.h>
#include <functional>

#include "core/value_store.h"
#include "voice/capture/push_to_talk_hotkey.h"

namespace tolvik {

/// How the recorder reaches the keyboard. Everything outlives the model.
struct ChordRecorderPorts {
    ValueStore& values;
    /// The old chord does nothing while a new one is recorded. May be empty.
    std::function<void(bool suspended)> suspend;
    /// Hands the held modifiers over while recording; an empty watcher ends it. May be empty.
    std::function<void(std::function<void(std::uint32_t held)>)> watch;
};

/// The push-to-talk chord and the recording of a new one. Main thread only.
class ChordRecorderModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Belongs to the settings' model")
    Q_PROPERTY(bool recording READ recording NOTIFY changed)
    /// The keys to draw: objects with `name` (as on this keyboard), `glyph` and `held`.
    Q_PROPERTY(QVariantList keys READ keys NOTIFY changed)
    /// The names of the chord's keys, as on this keyboard.
    Q_PROPERTY(QStringList chordKeys READ chordKeys NOTIFY changed)
    /// "Control + Option + Shift".
    Q_PROPERTY(QString chordText READ chordText NOTIFY changed)
    /// What is wrong with the keys so far, or that keys are waited for; empty when all is well.
    Q_PROPERTY(QString message READ message NOTIFY changed)
    Q_PROPERTY(bool waiting READ waiting NOTIFY changed)
    Q_PROPERTY(QString hint READ hint CONSTANT)
public:
    explicit ChordRecorderModel(ChordRecorderPorts ports, QObject* parent = nullptr);
    ~ChordRecorderModel() override;

    [[nodiscard]] bool recording() const { return recording_; }
    [[nodiscard]] QVariantList keys() const;
    [[nodiscard]] QStringList chordKeys() const;
    [[nodiscard]] QString chordText() const;
    [[nodiscard]] QString message() const;
    [[nodiscard]] bool waiting() const { return recording_ && recorder_.isWaiting(); }
    [[nodiscard]] QString hint() const { return QString::fromUtf8(ChordRecorder::hint); }

    Q_INVOKABLE void start();
    /// Ends recording and keeps the old chord.
    Q_INVOKABLE void cancel();

    /// The modifiers that are down now. Public for hosts that see the keys themselves.
    void modifiersChanged(std::uint32_t held);

signals:
    void changed();
    /// A new chord was saved.
    void saved();

private:
    void end();

    ChordRecorderPorts ports_;
    bool recording_ = false;
    ChordRecorder recorder_;
};

/// "Ctrl", "Alt", "Shift", "Super": what stands on this keyboard's keys, in the order of the chord's glyphs.
[[nodiscard]] QStringList keyNames(std::uint32_t modifiers);

}  // namespace tolvik
