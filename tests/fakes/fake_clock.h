#pragma once

#include <cstdint>

#include "base/clock.h"

namespace tolvik {

/// Time that moves only when told.
class FakeClock final : public Clock {
public:
    explicit FakeClock(Instant start = {1'794'304'800'000}) : now_(start) {}  // 2026-11-10T10:00:00Z

    [[nodiscard]] Instant now() const override { return now_; }
    void set(Instant instant) { now_ = instant; }
    void advance(Millis by) { now_ = now_ + by; }

private:
    Instant now_;
};

/// The same numbers from the same seed (splitmix64, as Sebastiano Vigna published it).
class FakeRandom final : public Random {
public:
    explicit FakeRandom(std::uint64_t seed = 1) : state_(seed) {}

    void seed(std::uint64_t seed) { state_ = seed; }

    [[nodiscard]] std::uint64_t next() override {
        state_ += 0x9E37'79B9'7F4A'7C15U;
        std::uint64_t z = state_;
        z = (z ^ (z >> 30U)) * 0xBF58'476D'1CE4'E5B9U;
        z = (z ^ (z >> 27U)) * 0x94D0'49BB'1331'11EBU;
        return z ^ (z >> 31U);
    }

private:
    std::uint64_t state_;
};

}  // namespace tolvik
