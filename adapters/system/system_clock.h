#pragma once

#include <chrono>

#include "base/clock.h"

namespace tolvik {

/// The machine's wall clock.
class SystemClock final : public Clock {
public:
    [[nodiscard]] Instant now() const override {
        return {std::chrono::duration_cast<Millis>(std::chrono::system_clock::now().time_since_epoch()).count()};
    }
};

}  // namespace tolvik
