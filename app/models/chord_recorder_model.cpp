#include "app/models/chord_recorder_model.h"

#include <QStringList>
#include <QVariantMap>
#include <array>
#include <utility>

#include "app/models/wording.h"

namespace tolvik {
namespace {

struct Key {
    std::uint32_t bit;
    const char* name;
};
constexpr std::array kKeys{Key{modifier::control, "Ctrl"}, Key{modifier::option, "Alt"}, Key{modifier::shift, "Shift"},
                           Key{modifier::command, "Super"}};

}  // namespace

QStringList keyNames(std::uint32_t modifiers) {
    QStringList names;
    for (const Key& key : kKeys) {
        if ((modifiers & key.bit) != 0) {
            names << QLatin1String(key.name);
        }
    }
    return names;
}

ChordRecorderModel::ChordRecorderModel(ChordRecorderPorts ports, QObject* parent)
    : QObject(parent), ports_(std::move(ports)) {}

ChordRecorderModel::~ChordRecorderModel() {
    if (recording_) {
        end();
    }
}

QVariantList ChordRecorderModel::keys() const {
    const std::uint32_t chord = PushToTalkHotkey::current(ports_.values).modifiers;
    const std::uint32_t held = recording_ ? recorder_.captured() : chord;
    QVariantList list;
    for (const Key& key : kKeys) {
        // Command can never be recorded; it is drawn only when it is held, to go with its message.
        const bool drawn = recording_ ? key.bit != modifier::command || (held & key.bit) != 0 : (chord & key.bit) != 0;
        if (drawn) {
            QVariantMap item;
            item[QStringLiteral("name")] = QLatin1String(key.name);
            item[QStringLiteral("glyph")] = wording::fromUtf8(PushToTalkHotkey::glyphs(key.bit).front());
            item[QStringLiteral("held")] = (held & key.bit) != 0;
            list << item;
        }
    }
    return list;
}

QStringList ChordRecorderModel::chordKeys() const {
    return keyNames(PushToTalkHotkey::current(ports_.values).modifiers);
}

QString ChordRecorderModel::chordText() const {
    return wording::fromUtf8(PushToTalkHotkey::names(PushToTalkHotkey::current(ports_.values).modifiers));
}

QString ChordRecorderModel::message() const {
    if (!recording_) {
        return {};
    }
    if (recorder_.isWaiting()) {
        return QString::fromUtf8(ChordRecorder::waitingText);
    }
    const auto problem = recorder_.message();
    return problem ? wording::fromUtf8(*problem) : QString();
}

void ChordRecorderModel::start() {
    if (recording_) {
        return;
    }
    recorder_ = ChordRecorder();
    recording_ = true;
    if (ports_.suspend) {
        ports_.suspend(true);
    }
    if (ports_.watch) {
        ports_.watch([this](std::uint32_t held) { modifiersChanged(held); });
    }
    Q_EMIT changed();
}

void ChordRecorderModel::cancel() {
    if (recording_) {
        end();
        Q_EMIT changed();
    }
}

void ChordRecorderModel::modifiersChanged(std::uint32_t held) {
    if (!recording_) {
        return;
    }
    recorder_.modifiersChanged(held);
    const auto chord = recorder_.result();
    if (!chord) {
        Q_EMIT changed();
        return;
    }
    // A chord that cannot be saved now is tried again with the next gesture; the log's banner tells of the disk.
    if (chord->save(ports_.values)) {
        end();
        Q_EMIT changed();
        Q_EMIT saved();
    } else {
        Q_EMIT changed();
    }
}

void ChordRecorderModel::end() {
    recording_ = false;
    if (ports_.watch) {
        ports_.watch({});
    }
    if (ports_.suspend) {
        ports_.suspend(false);
    }
}

}  // namespace tolvik
