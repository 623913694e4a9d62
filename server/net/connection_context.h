#pragma once

#include <chrono>
#include <cstddef>

#include "server/hub/stream_hub.h"
#include "server/net/counters.h"
#include "server/net/handler.h"
#include "server/net/peer_limits.h"
#include "server/net/trusted_proxies.h"

namespace tolvik::server {

/// How long each step of a connection may take.
struct NetworkTimes {
    std::chrono::milliseconds handshake = std::chrono::seconds(10);
    /// Between requests, and before the first.
    std::chrono::milliseconds idle = std::chrono::seconds(75);
    /// From a request's first byte to the end of its header.
    std::chrono::milliseconds head = std::chrono::seconds(10);
    std::chrono::milliseconds body = std::chrono::seconds(30);
    /// For the client to take an answer, or one event of a stream.
    std::chrono::milliseconds write = std::chrono::seconds(30);
    /// How long a refused client may go on sending before the connection is cut.
    std::chrono::milliseconds linger = std::chrono::seconds(2);
    std::chrono::milliseconds streamComment = std::chrono::seconds(20);
    /// A stream's session is checked again this often: it ends and the client opens another.
    std::chrono::milliseconds streamAge = std::chrono::hours(1);
};

/// What every connection shares; outlives them all.
struct ConnectionContext {
    RequestHandler& handler;
    StreamHub& hub;
    NetworkCounters& counters;
    TrustedProxies proxies;
    NetworkTimes times;
    /// Bodies of all connections together; past it, requests with a body are answered 503.
    std::int64_t bodyBytesTotal;
};

}  // namespace tolvik::server
