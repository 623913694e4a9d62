#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "base/result.h"
#include "server/hub/stream_hub.h"
#include "server/net/connection_context.h"
#include "server/tls/tls_credentials.h"

namespace tolvik::server {

struct NetworkOptions {
    /// An address of this machine; "::" and "0.0.0.0" stand for all.
    std::string address = "127.0.0.1";
    /// 0 takes a free one.
    std::uint16_t port = 0;
    std::size_t threads = 1;
    std::size_t maxConnections = 16'000;
    std::size_t maxConnectionsPerPeer = 256;
    /// See ConnectionContext.
    std::int64_t bodyBytesTotal = std::int64_t{256} * 1024 * 1024;
    TrustedProxies proxies = {};
    NetworkTimes times = {};
};

/// Accepts connections and speaks HTTP with them, in threads of its own.
class NetworkServer {
public:
    /// Takes the port. `tls` is null for plain connections. The handler, the hub and the counters must outlive the
    /// server. The error says what to do.
    [[nodiscard]] static Result<std::unique_ptr<NetworkServer>, std::string> listen(const NetworkOptions& options,
                                                                                    RequestHandler& handler,
                                                                                    StreamHub& hub,
                                                                                    NetworkCounters& counters,
                                                                                    const TlsCredentials* tls);
    NetworkServer(const NetworkServer&) = delete;
    NetworkServer& operator=(const NetworkServer&) = delete;
    ~NetworkServer();

    [[nodiscard]] std::uint16_t port() const;
    void start();
    /// Accepts nothing more, ends the streams and lets requests under way finish; waits for that no longer than this.
    /// Replies may still come until the server is destroyed.
    void stop(std::chrono::milliseconds grace);

private:
    struct Impl;
    explicit NetworkServer(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> impl_;
};

}  // namespace tolvik::server
