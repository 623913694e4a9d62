#include "adapters/desktop/bus_secret_service.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QObject>
#include <QStringList>
#include <QTimer>
#include <memory>
#include <utility>

namespace tolvik {
namespace {

constexpr auto service = "org.freedesktop.secrets";
constexpr auto missing =
    "No secret service was found. Signing in needs one: install gnome-keyring, KWallet or KeePassXC.";
constexpr auto noBus = "There is no session bus, so the secret service cannot be reached. Signing in needs it.";

QDBusPendingCall ask(const char* method) {
    return QDBusConnection::sessionBus().asyncCall(
        QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
                                       QStringLiteral("org.freedesktop.DBus"), QString::fromLatin1(method)));
}

/// What the two questions have come to.
struct Looks {
    int answers = 0;
    bool isFound = false;
    bool failed = false;
    std::function<void(std::string)> done;
};

}  // namespace

void lookForSecretService(QObject& context, std::function<void(std::string problem)> done) {
    if (!QDBusConnection::sessionBus().isConnected()) {
        QTimer::singleShot(0, &context, [done = std::move(done)] { done(noBus); });
        return;
    }
    const auto looks = std::make_shared<Looks>();
    looks->done = std::move(done);
    for (const char* method : {"ListNames", "ListActivatableNames"}) {
        auto* watcher = new QDBusPendingCallWatcher(ask(method), &context);
        QObject::connect(watcher, &QDBusPendingCallWatcher::finished, &context, [looks, watcher] {
            const QDBusPendingReply<QStringList> reply = *watcher;
            looks->failed = looks->failed || reply.isError();
            looks->isFound = looks->isFound || (!reply.isError() && reply.value().contains(QLatin1String(service)));
            watcher->deleteLater();
            if (++looks->answers == 2) {
                looks->done(looks->isFound ? std::string() : std::string(looks->failed ? noBus : missing));
            }
        });
    }
}

}  // namespace tolvik
