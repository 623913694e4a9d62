#include "app/models/settings_model.h"

#include <QDesktopServices>
#include <QPointer>
#include <QProcess>
#include <QUrl>
#include <QVariantMap>
#include <algorithm>
#include <cmath>
#include <utility>

#include "app/models/system_settings.h"
#include "app/models/wording.h"
#include "voice/capture/voice_settings.h"

namespace tolvik {
namespace {

constexpr int kMeterPeriodMs = 50;
// Quiet rooms lie near -55 dB of full scale, a close voice near -8 dB.
constexpr double kQuietDb = -55;
constexpr double kLoudDb = -8;

double onMeter(float peak) {
    const double db = 20 * std::log10(std::max(static_cast<double>(peak), 1e-6));
    return std::clamp((db - kQuietDb) / (kLoudDb - kQuietDb), 0.0, 1.0);
}

ChordRecorderPorts recorderPorts(const SettingsPorts& ports) {
    VoiceManager* voice = ports.voice;
    ChordRecorderPorts recorder{.values = ports.values, .suspend = {}, .watch = {}};
    if (voice != nullptr) {
        recorder.suspend = [voice](bool suspended) { voice->setHotkeySuspended(suspended); };
        recorder.watch = [voice](auto watcher) { voice->watchModifiers(std::move(watcher)); };
    }
    return recorder;
}

}  // namespace

SettingsModel::SettingsModel(SettingsPorts ports, QObject* parent)
    : QObject(parent), ports_(std::move(ports)), chord_(recorderPorts(ports_)) {
    meterTimer_.setInterval(kMeterPeriodMs);
    connect(&meterTimer_, &QTimer::timeout, this, &SettingsModel::readMeter);
    if (ports_.microphone != nullptr) {
        ports_.microphone->onDevicesChanged([model = QPointer(this)] {
            if (model) {
                Q_EMIT model->devicesChanged();
                model->openMeter();
            }
        });
    }
    if (ports_.voice != nullptr) {
        voiceSubscription_ =
            ports_.voice->onChanged([this, enabled = ports_.voice->enabled(), problem = std::string()]() mutable {
                // The controller changes twenty times a second while it listens; the page cares for two things.
                if (enabled != ports_.voice->enabled() || problem != ports_.voice->chordProblem()) {
                    enabled = ports_.voice->enabled();
                    problem = ports_.voice->chordProblem();
                    Q_EMIT changed();
                }
            });
    }
}

SettingsModel::~SettingsModel() = default;

void SettingsModel::keep(const Result<void, StoreError>& saved) {
    const std::string_view text = saved ? std::string_view() : describe(saved.error());
    problem_ = QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
    Q_EMIT changed();
}

bool SettingsModel::voiceEnabled() const {
    return ports_.voice != nullptr ? ports_.voice->enabled() : ports_.values.flag(voiceEnabledKey, true);
}

void SettingsModel::setVoiceEnabled(bool enabled) {
    if (enabled == voiceEnabled()) {
        return;
    }
    if (ports_.voice != nullptr) {
        ports_.voice->setEnabled(enabled);
    }
    keep(ports_.values.setFlag(voiceEnabledKey, enabled));
}

bool SettingsModel::pauseMedia() const {
    return ports_.values.flag(voiceSetting::pauseMedia, false);
}

void SettingsModel::setPauseMedia(bool pause) {
    if (pause != pauseMedia()) {
        keep(ports_.values.setFlag(voiceSetting::pauseMedia, pause));
    }
}

QVariantList SettingsModel::microphones() const {
    QVariantList list;
    QString defaultName;
    const auto devices = ports_.microphone != nullptr ? ports_.microphone->devices() : std::vector<MicrophoneDevice>{};
    for (const MicrophoneDevice& device : devices) {
        if (device.isDefault) {
            defaultName = wording::fromUtf8(device.name);
        }
        QVariantMap item;
        item[QStringLiteral("id")] = wording::fromUtf8(device.id);
        item[QStringLiteral("name")] = wording::fromUtf8(device.name);
        list << item;
    }
    QVariantMap first;
    first[QStringLiteral("id")] = QString();
    first[QStringLiteral("name")] = defaultName.isEmpty() ? QStringLiteral("System default")
                                                          : QStringLiteral("System default (%1)").arg(defaultName);
    list.prepend(first);
    return list;
}

QString SettingsModel::microphoneId() const {
    return wording::fromUtf8(ports_.values.text(voiceSetting::microphone));
}

void SettingsModel::setMicrophoneId(const QString& id) {
    if (id != microphoneId()) {
        keep(ports_.values.setText(voiceSetting::microphone, id.toStdString()));
        Q_EMIT devicesChanged();
        openMeter();
    }
}

QString SettingsModel::microphoneName() const {
    const QString id = microphoneId();
    const auto devices = ports_.microphone != nullptr ? ports_.microphone->devices() : std::vector<MicrophoneDevice>{};
    for (const MicrophoneDevice& device : devices) {
        if (id.isEmpty() ? device.isDefault : wording::fromUtf8(device.id) == id) {
            return wording::fromUtf8(device.name);
        }
    }
    return QStringLiteral("System default");
}

QString SettingsModel::microphoneProblem() const {
    const auto error = ports_.microphone != nullptr ? ports_.microphone->check()
                                                    : MicrophoneError{MicrophoneError::Kind::noDevice, {}};
    if (!error) {
        return {};
    }
    switch (error->kind) {
        case MicrophoneError::Kind::denied:
            return QStringLiteral("Microphone access denied. Enable it in System Settings > Privacy > Microphone.");
        case MicrophoneError::Kind::noDevice:
            return QStringLiteral("No microphone available.");
        case MicrophoneError::Kind::failed:
            return QStringLiteral("Mic error: ") + wording::fromUtf8(error->description);
    }
    return {};
}

void SettingsModel::setMetering(bool metering) {
    if (metering == metering_) {
        return;
    }
    metering_ = metering;
    openMeter();
    Q_EMIT meteringChanged();
}

void SettingsModel::openMeter() {
    recording_.reset();
    meterTimer_.stop();
    peak_->store(0);
    if (metering_ && ports_.microphone != nullptr && !ports_.microphone->check()) {
        Microphone::Callbacks callbacks;
        callbacks.onSamples = [peak = peak_](std::span<const float> samples) {
            float loudest = peak->load(std::memory_order_relaxed);
            for (const float sample : samples) {
                loudest = std::max(loudest, std::abs(sample));
            }
            peak->store(loudest, std::memory_order_relaxed);
        };
        callbacks.onEnded = [model = QPointer(this)] {
            if (model) {
                model->meterTimer_.stop();
            }
        };
        if (auto recording = ports_.microphone->start(microphoneId().toStdString(), std::move(callbacks))) {
            recording_ = std::move(*recording);
            meterTimer_.start();
        }
    }
    if (!recording_ && level_ != 0) {
        level_ = 0;
        Q_EMIT levelChanged();
    }
}

void SettingsModel::readMeter() {
    const double heard = onMeter(peak_->exchange(0, std::memory_order_relaxed));
    // Falls slower than it rises, so that a syllable can be read.
    const double next = std::max(heard, level_ - 0.12);
    if (next != level_) {
        level_ = next;
        Q_EMIT levelChanged();
    }
}

bool SettingsModel::engineReady() const {
    return ports_.recognizer != nullptr && ports_.recognizer->isAvailable();
}

QString SettingsModel::engineProblem() const {
    if (ports_.recognizer == nullptr) {
        return QStringLiteral("Speech recognizer not available");
    }
    return wording::fromUtf8(ports_.recognizer->unavailableReason());
}

QString SettingsModel::modelFolder() const {
    return wording::fromUtf8(ports_.values.text(modelFolderKey));
}

void SettingsModel::setModelFolder(const QString& folder) {
    const QString local = folder.startsWith(QStringLiteral("file:")) ? QUrl(folder).toLocalFile() : folder.trimmed();
    if (local != modelFolder()) {
        keep(ports_.values.setText(modelFolderKey, local.toStdString()));
        if (ports_.modelFolderChanged) {
            ports_.modelFolderChanged(local.toStdString());
        }
        Q_EMIT engineChanged();
    }
}

QString SettingsModel::chordProblem() const {
    return ports_.voice != nullptr ? wording::fromUtf8(ports_.voice->chordProblem()) : QString();
}

bool SettingsModel::menuBarEnabled() const {
    return ports_.values.flag(menuBarKey, true);
}

void SettingsModel::setMenuBarEnabled(bool enabled) {
    if (enabled != menuBarEnabled()) {
        keep(ports_.values.setFlag(menuBarKey, enabled));
        if (ports_.menuBarChanged) {
            ports_.menuBarChanged(enabled);
        }
    }
}

bool SettingsModel::startsAtLogin() const {
    return ports_.loginStart != nullptr && ports_.loginStart->isEnabled();
}

void SettingsModel::setStartsAtLogin(bool starts) {
    if (ports_.loginStart != nullptr && starts != startsAtLogin()) {
        const auto saved = ports_.loginStart->setEnabled(starts);
        problem_ = saved ? QString() : wording::fromUtf8(saved.error());
        Q_EMIT changed();
    }
}

void SettingsModel::openDataFolder() {
    if (!QDesktopServices::openUrl(QUrl::fromLocalFile(ports_.dataFolder))) {
        problem_ = QStringLiteral("No file manager opened the folder. It is at %1.").arg(ports_.dataFolder);
        Q_EMIT changed();
    }
}

void SettingsModel::openSystemSettings() {
    QStringList command = systemSettingsCommand();
    const QString program = command.isEmpty() ? QString() : command.takeFirst();
    const bool opened = !program.isEmpty() && QProcess::startDetached(program, command);
    problem_ = opened ? QString()
                      : QStringLiteral(
                            "No program for the desktop's settings was found. Open them from the desktop's "
                            "menu and look for keyboard or accessibility.");
    Q_EMIT changed();
}

void SettingsModel::checkForUpdates() {
    if (ports_.updates == nullptr || checkingForUpdates_) {
        return;
    }
    checkingForUpdates_ = true;
    updateText_.clear();
    Q_EMIT updatesChanged();
    ports_.updates->check([model = QPointer(this)](const UpdateReport& report) {
        if (model) {
            model->checkingForUpdates_ = false;
            model->updateText_ = wording::fromUtf8(report.text);
            Q_EMIT model->updatesChanged();
        }
    });
}

void SettingsModel::refresh() {
    Q_EMIT changed();
    Q_EMIT devicesChanged();
    Q_EMIT engineChanged();
}

}  // namespace tolvik
