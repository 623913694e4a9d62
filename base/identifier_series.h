#pragma once

#include <array>
#include <cstdint>
#include <random>

#include "base/identifier.h"

namespace tolvik {

/// Random UUIDs out of one draw of 128 bits, for work away from the main loop, where chance does not come from. A copy
/// gives the same ones. One thread at a time.
class IdentifierSeries {
public:
    IdentifierSeries(std::uint64_t high, std::uint64_t low) {
        const std::array<std::uint64_t, 4> words{high & kLow, high >> 32U, low & kLow, low >> 32U};
        std::seed_seq seed(words.begin(), words.end());
        engine_.seed(seed);
    }

    [[nodiscard]] Identifier next() {
        const std::uint64_t high = engine_();
        return Identifier::fromRandom(high, engine_());
    }

private:
    static constexpr std::uint64_t kLow = 0xFFFF'FFFF;
    std::mt19937_64 engine_;
};

}  // namespace tolvik
