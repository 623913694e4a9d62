#include "adapters/desktop/logind_sleep_monitor.h"

#include <QDBusConnection>
#include <spdlog/spdlog.h>
#include <utility>

namespace tolvik {

LogindSleepMonitor::LogindSleepMonitor() {
    QDBusConnection bus = QDBusConnection::systemBus();
    if (!bus.connect("org.freedesktop.login1", "/org/freedesktop/login1", "org.freedesktop.login1.Manager",
                     "PrepareForSleep", this, SLOT(prepareForSleep(bool)))) {
        spdlog::info("sleep is not followed: no system bus");
    }
}

Subscription LogindSleepMonitor::onWake(std::function<void()> callback) {
    return woke_.connect(std::move(callback));
}

void LogindSleepMonitor::prepareForSleep(bool goesToSleep) {
    if (!goesToSleep) {
        woke_.emit();
    }
}

}  // namespace tolvik
