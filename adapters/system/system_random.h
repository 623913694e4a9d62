#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "base/clock.h"

namespace tolvik {

/// The kernel's random numbers, fetched in small lots.
class SystemRandom final : public Random {
public:
    [[nodiscard]] std::uint64_t next() override;

private:
    std::array<std::uint64_t, 16> lot_{};
    std::size_t used_ = lot_.size();
};

}  // namespace tolvik
