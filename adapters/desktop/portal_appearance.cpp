#include "adapters/desktop/portal_appearance.h"

#include <QDBusConnection>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QGuiApplication>
#include <QPalette>
#include <utility>

namespace tolvik {

namespace {

constexpr auto service = "org.freedesktop.portal.Desktop";
constexpr auto path = "/org/freedesktop/portal/desktop";
constexpr auto interface = "org.freedesktop.portal.Settings";
constexpr auto appearanceGroup = "org.freedesktop.appearance";
constexpr auto accessGroup = "org.gnome.desktop.a11y.interface";
constexpr auto interfaceGroup = "org.gnome.desktop.interface";

/// A portal's answer wraps its value once or twice.
QVariant unwrapped(QVariant value) {
    while (value.canConvert<QDBusVariant>() && value.typeId() == qMetaTypeId<QDBusVariant>()) {
        value = value.value<QDBusVariant>().variant();
    }
    return value;
}

bool isPaletteDark() {
    const QPalette palette = QGuiApplication::palette();
    return palette.color(QPalette::Window).lightness() < palette.color(QPalette::WindowText).lightness();
}

}  // namespace

Appearance withSetting(Appearance before, const QString& group, const QString& key, const QVariant& wrapped) {
    const QVariant value = unwrapped(wrapped);
    if (group == appearanceGroup && key == "color-scheme" && value.typeId() == QMetaType::UInt) {
        // 0 no preference, 1 dark, 2 light, as the portal's documentation numbers them.
        before.dark = value.toUInt() == 1;
    } else if (group == appearanceGroup && key == "contrast" && value.typeId() == QMetaType::UInt) {
        before.highContrast = value.toUInt() == 1;
    } else if (group == accessGroup && key == "high-contrast" && value.typeId() == QMetaType::Bool) {
        before.highContrast = value.toBool();
    } else if (group == interfaceGroup && key == "enable-animations" && value.typeId() == QMetaType::Bool) {
        before.reducedMotion = !value.toBool();
    }
    return before;
}

PortalAppearance::PortalAppearance(Appearance remembered) : current_(remembered) {}

void PortalAppearance::follow() {
    QDBusConnection::sessionBus().connect(service, path, interface, "SettingChanged", this,
                                          SLOT(settingChanged(QDBusMessage)));
    ask(appearanceGroup, "color-scheme");
    ask(appearanceGroup, "contrast");
    ask(accessGroup, "high-contrast");
    ask(interfaceGroup, "enable-animations");
}

Subscription PortalAppearance::onChanged(std::function<void()> callback) {
    return changed_.connect(std::move(callback));
}

void PortalAppearance::settingChanged(const QDBusMessage& signal) {
    const QVariantList values = signal.arguments();
    take(values.value(0).toString(), values.value(1).toString(), values.value(2));
}

void PortalAppearance::ask(const QString& group, const QString& key) {
    QDBusMessage call = QDBusMessage::createMethodCall(service, path, interface, "Read");
    call << group << key;
    auto* watcher = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(call), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, group, key](QDBusPendingCallWatcher* self) {
        self->deleteLater();
        const QDBusPendingReply<QDBusVariant> reply = *self;
        if (!reply.isError()) {
            take(group, key, reply.value().variant());
        } else if (group == appearanceGroup && key == "color-scheme") {
            Appearance next = current_;
            next.dark = isPaletteDark();
            set(next);
        }
    });
}

void PortalAppearance::take(const QString& group, const QString& key, const QVariant& value) {
    set(withSetting(current_, group, key, value));
}

void PortalAppearance::set(const Appearance& appearance) {
    if (appearance != current_) {
        current_ = appearance;
        changed_.emit();
    }
}

}  // namespace tolvik
