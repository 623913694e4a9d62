#pragma once

#include <functional>

#include "base/subscription.h"

namespace tolvik {

/// The machine's sleep. Main loop only.
class SleepMonitor {
public:
    SleepMonitor() = default;
    SleepMonitor(const SleepMonitor&) = delete;
    SleepMonitor& operator=(const SleepMonitor&) = delete;
    virtual ~SleepMonitor() = default;

    /// After the machine woke.
    virtual Subscription onWake(std::function<void()> callback) = 0;
};

}  // namespace tolvik
