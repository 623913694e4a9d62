#include "adapters/desktop/bus_notifier.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QStringList>
#include <QVariantMap>
#include <spdlog/spdlog.h>
#include <utility>

namespace tolvik {

BusNotifier::BusNotifier(Tell otherwise) : otherwise_(std::move(otherwise)) {}

void BusNotifier::tell(const std::string& title, const std::string& text) {
    spdlog::info("{}: {}", title, text);
    QDBusMessage call = QDBusMessage::createMethodCall(
        "org.freedesktop.Notifications", "/org/freedesktop/Notifications", "org.freedesktop.Notifications", "Notify");
    // The body may hold markup by the service's rules, so ours is escaped.
    call << "Tolvik" << 0U << "tolvik" << QString::fromStdString(title) << QString::fromStdString(text).toHtmlEscaped()
         << QStringList() << QVariantMap{{"desktop-entry", "tolvik"}} << -1;
    auto* watcher = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(call), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, title, text](QDBusPendingCallWatcher* self) {
        self->deleteLater();
        const QDBusPendingReply<uint> reply = *self;
        if (reply.isError()) {
            otherwise_(title, text);
        }
    });
}

}  // namespace tolvik
