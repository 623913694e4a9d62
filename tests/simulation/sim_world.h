#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace tolvik::sim {

struct RunStatistics {
    std::uint64_t actions = 0;
    std::uint64_t crashes = 0;
    std::uint64_t drains = 0;
};

/// Runs one seed from an empty server to quiet. What went wrong, or none. The same seed runs the same way.
[[nodiscard]] std::optional<std::string> runSeed(std::uint64_t seed, RunStatistics& statistics);

}  // namespace tolvik::sim
