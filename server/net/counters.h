#pragma once

#include <array>
#include <atomic>
#include <cstdint>

namespace tolvik::server {

/// What the network layer counts; read by whoever publishes it. Any thread.
struct NetworkCounters {
    std::atomic<std::uint64_t> connectionsAccepted = 0;
    std::atomic<std::uint64_t> connectionsRefused = 0;  ///< over a limit, closed unread
    std::atomic<std::int64_t> connectionsOpen = 0;      ///< streams included
    std::atomic<std::int64_t> streamsOpen = 0;
    std::atomic<std::uint64_t> handshakesFailed = 0;
    std::atomic<std::uint64_t> requestsMalformed = 0;  ///< answered 4xx or 501 before a handler saw them
    std::atomic<std::uint64_t> requestsTimedOut = 0;
    std::atomic<std::uint64_t> streamEventsSent = 0;
    std::atomic<std::int64_t> bodyBytesHeld = 0;  ///< of requests being read or handled
};

}  // namespace tolvik::server
