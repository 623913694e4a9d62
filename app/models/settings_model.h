#pragma once

#include <QObject>
#include <QTimer>
#include <QVariantList>
#include <QtQml/qqmlregistration.h>
#include <atomic>
#include <functional>
#include <memory>

#include "app/models/chord_recorder_model.h"
#include "app/shell/login_start.h"
#include "app/shell/update_checker.h"
#include "core/value_store.h"
#include "voice/capture/microphone.h"
#include "voice/capture/speech_recognizer.h"
#include "voice/capture/voice_manager.h"

namespace tolvik {

/// What the settings page lends from the rest of the application; null pointers and empty functions stand for what
/// this session does not have. Everything outlives the model.
struct SettingsPorts {
    ValueStore& values;
    VoiceManager* voice = nullptr;
    Microphone* microphone = nullptr;
    SpeechRecognizer* recognizer = nullptr;
    LoginStart* loginStart = nullptr;
    UpdateChecker* updates = nullptr;
    /// The menu bar item is shown or hidden.
    std::function<void(bool shown)> menuBarChanged;
    /// The folder with a speech model changed; empty for the one that came with the program.
    std::function<void(const std::string& folder)> modelFolderChanged;
    QString dataFolder;
    QString version;
};

/// The settings page. Main thread only.
class SettingsModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Belongs to the window's model")
    Q_PROPERTY(tolvik::ChordRecorderModel* chord READ chord CONSTANT)
    Q_PROPERTY(bool voiceEnabled READ voiceEnabled WRITE setVoiceEnabled NOTIFY changed)
    Q_PROPERTY(bool pauseMedia READ pauseMedia WRITE setPauseMedia NOTIFY changed)
    /// Objects with `id` and `name`; the first follows the system's default.
    Q_PROPERTY(QVariantList microphones READ microphones NOTIFY devicesChanged)
    Q_PROPERTY(QString microphoneId READ microphoneId WRITE setMicrophoneId NOTIFY devicesChanged)
    Q_PROPERTY(QString microphoneName READ microphoneName NOTIFY devicesChanged)
    /// Why there is no sound to be had; empty when there is.
    Q_PROPERTY(QString microphoneProblem READ microphoneProblem NOTIFY devicesChanged)
    /// Whether the level is measured, which opens the microphone; nothing is kept of what it hears.
    Q_PROPERTY(bool metering READ metering WRITE setMetering NOTIFY meteringChanged)
    /// From 0 to 1, over the range of speech.
    Q_PROPERTY(double level READ level NOTIFY levelChanged)
    Q_PROPERTY(bool engineReady READ engineReady NOTIFY engineChanged)
    Q_PROPERTY(QString engineProblem READ engineProblem NOTIFY engineChanged)
    /// A folder with a speech model of the user's own; empty for the one that came with the program.
    Q_PROPERTY(QString modelFolder READ modelFolder WRITE setModelFolder NOTIFY engineChanged)
    /// Why the chord cannot be seen; empty when it can.
    Q_PROPERTY(QString chordProblem READ chordProblem NOTIFY changed)
    Q_PROPERTY(bool menuBarEnabled READ menuBarEnabled WRITE setMenuBarEnabled NOTIFY changed)
    Q_PROPERTY(bool canStartAtLogin READ canStartAtLogin CONSTANT)
    Q_PROPERTY(bool startsAtLogin READ startsAtLogin WRITE setStartsAtLogin NOTIFY changed)
    /// What went wrong with the last change of a setting; empty when nothing did.
    Q_PROPERTY(QString problem READ problem NOTIFY changed)
    Q_PROPERTY(QString dataFolder READ dataFolder CONSTANT)
    Q_PROPERTY(QString version READ version CONSTANT)
    Q_PROPERTY(bool canCheckForUpdates READ canCheckForUpdates CONSTANT)
    Q_PROPERTY(bool checkingForUpdates READ checkingForUpdates NOTIFY updatesChanged)
    Q_PROPERTY(QString updateText READ updateText NOTIFY updatesChanged)
public:
    /// Keys of the settings; those of the voice controller are in voice/capture.
    static constexpr const char* voiceEnabledKey = "tolvik.voice.enabled";
    static constexpr const char* menuBarKey = "tolvik.menuBar.enabled";
    static constexpr const char* modelFolderKey = "tolvik.voice.modelFolder";

    explicit SettingsModel(SettingsPorts ports, QObject* parent = nullptr);
    ~SettingsModel() override;

    [[nodiscard]] ChordRecorderModel* chord() { return &chord_; }
    [[nodiscard]] bool voiceEnabled() const;
    void setVoiceEnabled(bool enabled);
    [[nodiscard]] bool pauseMedia() const;
    void setPauseMedia(bool pause);
    [[nodiscard]] QVariantList microphones() const;
    [[nodiscard]] QString microphoneId() const;
    void setMicrophoneId(const QString& id);
    [[nodiscard]] QString microphoneName() const;
    [[nodiscard]] QString microphoneProblem() const;
    [[nodiscard]] bool metering() const { return metering_; }
    void setMetering(bool metering);
    [[nodiscard]] double level() const { return level_; }
    [[nodiscard]] bool engineReady() const;
    [[nodiscard]] QString engineProblem() const;
    [[nodiscard]] QString modelFolder() const;
    void setModelFolder(const QString& folder);
    [[nodiscard]] QString chordProblem() const;
    [[nodiscard]] bool menuBarEnabled() const;
    void setMenuBarEnabled(bool enabled);
    [[nodiscard]] bool canStartAtLogin() const { return ports_.loginStart != nullptr; }
    [[nodiscard]] bool startsAtLogin() const;
    void setStartsAtLogin(bool starts);
    [[nodiscard]] QString problem() const { return problem_; }
    [[nodiscard]] QString dataFolder() const { return ports_.dataFolder; }
    [[nodiscard]] QString version() const { return ports_.version; }
    [[nodiscard]] bool canCheckForUpdates() const { return ports_.updates != nullptr; }
    [[nodiscard]] bool checkingForUpdates() const { return checkingForUpdates_; }
    [[nodiscard]] QString updateText() const { return updateText_; }

    Q_INVOKABLE void openDataFolder();
    /// Opens the desktop's own settings; where no program for them is known, `problem` says what to do.
    Q_INVOKABLE void openSystemSettings();
    Q_INVOKABLE void checkForUpdates();
    /// Looks at what may have changed outside: devices, engine, login start.
    Q_INVOKABLE void refresh();

signals:
    void changed();
    void devicesChanged();
    void meteringChanged();
    void levelChanged();
    void engineChanged();
    void updatesChanged();

private:
    void keep(const Result<void, StoreError>& saved);
    void openMeter();
    void readMeter();

    SettingsPorts ports_;
    ChordRecorderModel chord_;
    QString problem_;
    bool metering_ = false;
    double level_ = 0;
    /// Loudest sample since the last reading; written on the audio thread.
    std::shared_ptr<std::atomic<float>> peak_ = std::make_shared<std::atomic<float>>(0.0F);
    std::unique_ptr<Microphone::Recording> recording_;
    QTimer meterTimer_;
    bool checkingForUpdates_ = false;
    QString updateText_;
    Subscription voiceSubscription_;
};

}  // namespace tolvik
