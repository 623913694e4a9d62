#pragma once

#include <QObject>
#include <QString>
#include <QtQml/qqmlregistration.h>

#include "app/shell/desktop_appearance.h"
#include "core/value_store.h"

namespace tolvik {

/// How the window looks: the desktop's wishes, unless the user's settings say otherwise. Main thread only.
class LooksModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Belongs to the window's model")
    Q_PROPERTY(bool dark READ dark NOTIFY changed)
    Q_PROPERTY(bool highContrast READ highContrast NOTIFY changed)
    Q_PROPERTY(bool reducedMotion READ reducedMotion NOTIFY changed)
    /// "system", "light" or "dark".
    Q_PROPERTY(QString theme READ theme WRITE setTheme NOTIFY changed)
    /// More contrast than the desktop asks for.
    Q_PROPERTY(bool wantsContrast READ wantsContrast WRITE setWantsContrast NOTIFY changed)
    /// Less motion than the desktop allows.
    Q_PROPERTY(bool wantsStillness READ wantsStillness WRITE setWantsStillness NOTIFY changed)
public:
    /// Keys of the settings.
    static constexpr const char* themeKey = "tolvik.theme";
    static constexpr const char* contrastKey = "tolvik.theme.highContrast";
    static constexpr const char* stillnessKey = "tolvik.theme.reducedMotion";

    /// Both outlive the model; `desktop` may be null.
    LooksModel(ValueStore& values, DesktopAppearance* desktop, QObject* parent = nullptr);

    [[nodiscard]] bool dark() const;
    [[nodiscard]] bool highContrast() const { return wantsContrast_ || asked().highContrast; }
    [[nodiscard]] bool reducedMotion() const { return wantsStillness_ || asked().reducedMotion; }
    [[nodiscard]] QString theme() const { return theme_; }
    void setTheme(const QString& theme);
    [[nodiscard]] bool wantsContrast() const { return wantsContrast_; }
    void setWantsContrast(bool wanted);
    [[nodiscard]] bool wantsStillness() const { return wantsStillness_; }
    void setWantsStillness(bool wanted);

signals:
    void changed();

private:
    [[nodiscard]] Appearance asked() const { return desktop_ != nullptr ? desktop_->current() : Appearance{}; }

    ValueStore& values_;
    DesktopAppearance* desktop_;
    QString theme_;
    bool wantsContrast_ = false;
    bool wantsStillness_ = false;
    Subscription subscription_;
};

}  // namespace tolvik
