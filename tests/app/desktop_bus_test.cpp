// The adapters that speak over the bus, against services of the test's own on a private bus.

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "adapters/desktop/bus_notifier.h"
#include "adapters/desktop/logind_sleep_monitor.h"
#include "adapters/desktop/portal_appearance.h"

namespace tolvik {
namespace {

bool runUntil(const std::function<bool()>& condition) {
    QElapsedTimer watch;
    watch.start();
    while (!condition() && watch.elapsed() < 10'000) {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 10);
    }
    return condition();
}

/// Answers every call by `answer`, under a bus name of its own.
class Service final : public QDBusVirtualObject {
public:
    using Answer = std::function<QDBusMessage(const QDBusMessage&)>;
    Service(const QString& name, const QString& path, Answer answer)
        : bus_(QDBusConnection::connectToBus(QDBusConnection::SessionBus, name)),
          name_(name),
          answer_(std::move(answer)) {
        EXPECT_TRUE(bus_.registerVirtualObject(path, this));
        EXPECT_TRUE(bus_.registerService(name));
    }
    ~Service() override {
        bus_.unregisterService(name_);
        QDBusConnection::disconnectFromBus(name_);
    }
    [[nodiscard]] QString introspect(const QString&) const override { return {}; }
    bool handleMessage(const QDBusMessage& message, const QDBusConnection&) override {
        if (message.interface() == "org.freedesktop.DBus.Introspectable") {
            return false;
        }
        calls.push_back(message);
        bus_.send(answer_(message));
        return true;
    }
    void emitSignal(const QDBusMessage& signal) { bus_.send(signal); }

    std::vector<QDBusMessage> calls;

private:
    QDBusConnection bus_;
    QString name_;
    Answer answer_;
};

TEST(LogindSleepMonitor, tellsOfWakingAndNotOfFallingAsleep) {
    const QString path = "/org/freedesktop/login1";
    Service logind("org.freedesktop.login1", path, [](const QDBusMessage& call) { return call.createReply(); });
    LogindSleepMonitor monitor;
    int woke = 0;
    const Subscription subscription = monitor.onWake([&] { ++woke; });
    const auto prepareForSleep = [&](bool asleep) {
        QDBusMessage signal = QDBusMessage::createSignal(path, "org.freedesktop.login1.Manager", "PrepareForSleep");
        signal << asleep;
        logind.emitSignal(signal);
    };
    prepareForSleep(true);
    prepareForSleep(false);
    prepareForSleep(true);
    prepareForSleep(false);
    EXPECT_TRUE(runUntil([&] { return woke >= 2; }));
    EXPECT_EQ(woke, 2);
}

TEST(PortalAppearance, startsFromMemoryAndAsksThePortal) {
    std::map<QString, QVariant> settings{{"color-scheme", 1U}, {"enable-animations", false}};
    Service portal("org.freedesktop.portal.Desktop", "/org/freedesktop/portal/desktop", [&](const QDBusMessage& call) {
        const auto found = settings.find(call.arguments().value(1).toString());
        if (found == settings.end()) {
            return call.createErrorReply("org.freedesktop.portal.Error.NotFound", "no such setting");
        }
        // Portals wrap what Read answers twice.
        return call.createReply(QVariant::fromValue(QDBusVariant(QVariant::fromValue(QDBusVariant(found->second)))));
    });
    PortalAppearance appearance({.dark = false, .highContrast = true});
    EXPECT_EQ(appearance.current(), (Appearance{.dark = false, .highContrast = true}));
    int changes = 0;
    const Subscription subscription = appearance.onChanged([&] { ++changes; });
    appearance.follow();
    EXPECT_TRUE(runUntil([&] { return appearance.current().dark && appearance.current().reducedMotion; }));
    // What the portal does not know stays as it was.
    EXPECT_TRUE(appearance.current().highContrast);
    EXPECT_EQ(changes, 2);

    // Changed while the program runs, to and fro.
    for (const unsigned scheme : {2U, 1U, 2U}) {
        QDBusMessage signal = QDBusMessage::createSignal("/org/freedesktop/portal/desktop",
                                                         "org.freedesktop.portal.Settings", "SettingChanged");
        signal << "org.freedesktop.appearance" << "color-scheme" << QVariant::fromValue(QDBusVariant(scheme));
        portal.emitSignal(signal);
        EXPECT_TRUE(runUntil([&] { return appearance.current().dark == (scheme == 1U); })) << scheme;
    }
}

TEST(WithSetting, leavesWhatItDoesNotUnderstand) {
    const Appearance dark{.dark = true};
    EXPECT_FALSE(withSetting(dark, "org.freedesktop.appearance", "color-scheme", 2U).dark);
    EXPECT_EQ(withSetting(dark, "org.freedesktop.appearance", "color-scheme", "no number"), dark);
    EXPECT_EQ(withSetting(dark, "some.other.group", "color-scheme", 2U), dark);
}

TEST(BusNotifier, fallsBackWhereNobodyShowsMessages) {
    std::vector<std::string> shown;
    BusNotifier notifier([&](const std::string& title, const std::string& text) { shown.push_back(title + text); });
    notifier.tell("a", "b");
    EXPECT_TRUE(runUntil([&] { return !shown.empty(); }));
    Service service("org.freedesktop.Notifications", "/org/freedesktop/Notifications",
                    [](const QDBusMessage& call) { return call.createReply(1U); });
    notifier.tell("Tolvik", "1 < 2");
    ASSERT_TRUE(runUntil([&] { return !service.calls.empty(); }));
    EXPECT_EQ(service.calls[0].arguments().value(3).toString(), "Tolvik");
    EXPECT_EQ(service.calls[0].arguments().value(4).toString(), "1 &lt; 2");
    EXPECT_EQ(shown, std::vector<std::string>{"ab"});
}

}  // namespace
}  // namespace tolvik

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    // One private bus stands for both.
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", qgetenv("DBUS_SESSION_BUS_ADDRESS"));
    const QGuiApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
