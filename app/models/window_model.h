#pragma once

#include <QObject>
#include <QStringList>
#include <QtQml/qqmlregistration.h>

#include "app/models/home_model.h"
#include "app/models/looks_model.h"
#include "app/models/pill_model.h"
#include "app/models/settings_model.h"

namespace tolvik {

/// Everything that the main window and the pill show. The composition makes one; it outlives both windows. Main thread
/// only.
class WindowModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Made by the application")
    Q_PROPERTY(tolvik::HomeModel* home READ home CONSTANT)
    Q_PROPERTY(tolvik::SettingsModel* settings READ settings CONSTANT)
    Q_PROPERTY(tolvik::LooksModel* looks READ looks CONSTANT)
    Q_PROPERTY(tolvik::PillModel* pill READ pill CONSTANT)
    /// The name and the state of synchronisation at the foot of the side bar.
    Q_PROPERTY(QString accountName READ accountName CONSTANT)
    Q_PROPERTY(QString accountState READ accountState CONSTANT)
public:
    /// `voice` in the settings' ports is also what the pill follows and the microphone button presses.
    WindowModel(HomePorts home, SettingsPorts settings, DesktopAppearance* desktop, QObject* parent = nullptr);

    [[nodiscard]] HomeModel* home() { return &home_; }
    [[nodiscard]] SettingsModel* settings() { return &settings_; }
    [[nodiscard]] LooksModel* looks() { return &looks_; }
    [[nodiscard]] PillModel* pill() { return &pill_; }
    [[nodiscard]] QString accountName() const { return QStringLiteral("Not signed in"); }
    [[nodiscard]] QString accountState() const { return QStringLiteral("On this device only"); }

    /// Starts listening, or ends and processes.
    Q_INVOKABLE void toggleVoice();

    /// Asks the window to show a page ("home", "settings").
    void showPage(const QString& page) { Q_EMIT pageWanted(page); }
    /// Asks the window to put the keyboard focus into the input bar.
    void focusInput() { Q_EMIT inputFocusWanted(); }

signals:
    void pageWanted(const QString& page);
    void inputFocusWanted();

private:
    VoiceManager* voice_;
    HomeModel home_;
    SettingsModel settings_;
    LooksModel looks_;
    PillModel pill_;
};

}  // namespace tolvik
