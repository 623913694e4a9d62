#pragma once

#include <QObject>

#include "app/shell/sleep_monitor.h"

namespace tolvik {

/// Hears from the login manager on the system bus. On a machine without either it stays silent.
class LogindSleepMonitor final : public QObject, public SleepMonitor {
    Q_OBJECT
public:
    /// Connects to the bus, which may take some milliseconds.
    LogindSleepMonitor();

    Subscription onWake(std::function<void()> callback) override;

private slots:
    void prepareForSleep(bool goesToSleep);

private:
    Signal<> woke_;
};

}  // namespace tolvik
