#pragma once

#include <QDBusMessage>
#include <QObject>
#include <QString>

#include "app/shell/desktop_appearance.h"

class QDBusPendingCallWatcher;

namespace tolvik {

/// Reads the desktop portal's settings, and the application palette where there is no portal. The portal is asked
/// without waiting: until it answers, `remembered` holds.
class PortalAppearance final : public QObject, public DesktopAppearance {
    Q_OBJECT
public:
    /// `remembered` is what the desktop wished the last time.
    explicit PortalAppearance(Appearance remembered);

    /// Asks the portal and follows it. To be called once, when the first frame is out.
    void follow();

    [[nodiscard]] Appearance current() const override { return current_; }
    Subscription onChanged(std::function<void()> callback) override;

private slots:
    /// Takes the whole message: a slot with a variant among its arguments was never called.
    void settingChanged(const QDBusMessage& signal);

private:
    void ask(const QString& group, const QString& key);
    void take(const QString& group, const QString& key, const QVariant& value);
    void set(const Appearance& appearance);

    Appearance current_;
    Signal<> changed_;
};

/// The looks that follow from one portal setting; unknown settings and odd values leave `before`.
[[nodiscard]] Appearance withSetting(Appearance before, const QString& group, const QString& key,
                                     const QVariant& value);

}  // namespace tolvik
