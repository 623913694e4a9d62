#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <string_view>

#include "server/net/counters.h"

namespace tolvik::server {

/// Counts answers by route and status, with the times they took. Any thread.
class RequestMetrics {
public:
    /// The upper bounds of the histogram, in seconds; slower answers are counted beyond the last.
    static constexpr std::array<double, 9> bounds{0.001, 0.0025, 0.005, 0.01, 0.025, 0.1, 0.5, 2.5, 10.0};

    /// `route` is a pattern, never a path: each distinct one is kept for ever.
    void answered(std::string_view route, int status, std::chrono::nanoseconds took);
    void count(std::string_view event);

    /// Everything in Prometheus' text format.
    [[nodiscard]] std::string text(const NetworkCounters& network) const;

private:
    struct Route {
        std::map<int, std::uint64_t> byStatus;
        std::array<std::uint64_t, bounds.size() + 1> buckets{};
        double seconds = 0;
    };
    mutable std::mutex mutex_;
    std::map<std::string, Route, std::less<>> routes_;
    std::map<std::string, std::uint64_t, std::less<>> events_;
};

/// The memory that this process holds in RAM, in bytes; 0 when it cannot be told.
[[nodiscard]] std::uint64_t residentBytes();

}  // namespace tolvik::server
