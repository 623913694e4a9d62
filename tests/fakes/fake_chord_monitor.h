#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "voice/capture/chord_monitor.h"

namespace tolvik {

/// A keyboard under the test's hands.
class FakeChordMonitor final : public ChordMonitor {
public:
    [[nodiscard]] bool start(Callbacks callbacks) override {
        ++starts;
        callbacks_ = std::move(callbacks);
        return problemText.empty();
    }
    void stop() override {
        ++stops;
        callbacks_ = {};
    }
    [[nodiscard]] std::string problem() const override { return problemText; }
    [[nodiscard]] std::uint32_t heldNow() const override { return held_; }

    /// Changes the keys that are down and reports it.
    void hold(std::uint32_t held) {
        held_ = held;
        if (callbacks_.onModifiers) {
            const auto report = callbacks_.onModifiers;
            report(held);
        }
    }
    /// Changes them without a report, as when the screen locks.
    void holdUnseen(std::uint32_t held) { held_ = held; }
    void pressOtherKey() {
        if (callbacks_.onOtherKey) {
            const auto report = callbacks_.onOtherKey;
            report();
        }
    }

    std::string problemText;
    int starts = 0;
    int stops = 0;

private:
    Callbacks callbacks_;
    std::uint32_t held_ = 0;
};

}  // namespace tolvik
