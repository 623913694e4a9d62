#include "server/net/network_server.h"

#include <algorithm>
#include <boost/asio/ip/address.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <fmt/format.h>
#include <thread>
#include <vector>

#include "server/net/http_connection.h"
#include "server/net/shard.h"

namespace tolvik::server {

namespace asio = boost::asio;
using asio::ip::tcp;
using boost::system::error_code;

struct NetworkServer::Impl {
    Impl(const NetworkOptions& options, RequestHandler& handler, StreamHub& hub, NetworkCounters& counters,
         const TlsCredentials* credentials)
        : limits(options.maxConnections, options.maxConnectionsPerPeer),
          context{handler, hub, counters, options.proxies, options.times, options.bodyBytesTotal},
          tls(credentials) {
        for (std::size_t at = 0; at < std::max<std::size_t>(1, options.threads); ++at) {
            shards.push_back(std::make_unique<Shard>());
        }
        acceptor.emplace(shards.front()->context());
        retry.emplace(shards.front()->context());
    }

    void accept() {
        Shard& shard = *shards[next++ % shards.size()];
        acceptor->async_accept(shard.context(), [this, &shard](const error_code& error, tcp::socket socket) {
            if (!acceptor->is_open() || error == asio::error::operation_aborted) {
                return;
            }
            if (error) {
                // Out of descriptors or memory: the waiting clients are taken when others have gone.
                retry->expires_after(std::chrono::milliseconds(100));
                retry->async_wait([this](const error_code& cancelled) {
                    if (!cancelled) {
                        accept();
                    }
                });
                return;
            }
            take(shard, std::move(socket));
            accept();
        });
    }

    void take(Shard& shard, tcp::socket socket) {
        error_code error;
        const auto peer = socket.remote_endpoint(error);
        if (error) {
            return;
        }
        const auto address = addressText(peer.address());
        auto place = limits.take(address, context.proxies.trusts(address));
        if (!place) {
            ++context.counters.connectionsRefused;
            return;
        }
        auto ssl = tls != nullptr ? tls->newConnection() : SslHandle();
        if (tls != nullptr && !ssl) {
            ++context.counters.connectionsRefused;
            return;
        }
        ++context.counters.connectionsAccepted;
        ++context.counters.connectionsOpen;
        auto connection = std::make_shared<HttpConnection>(shard, context, Transport(std::move(socket), std::move(ssl)),
                                                           std::move(place), address);
        asio::post(shard.context(), [&shard, connection = std::move(connection)] {
            shard.add(connection);
            if (shard.isDraining()) {
                connection->abort();
            } else {
                connection->start();
            }
        });
    }

    static std::string addressText(const asio::ip::address& address) {
        if (address.is_v6() && address.to_v6().is_v4_mapped()) {
            return asio::ip::make_address_v4(asio::ip::v4_mapped, address.to_v6()).to_string();
        }
        return address.to_string();
    }

    PeerLimits limits;
    ConnectionContext context;
    const TlsCredentials* tls;
    std::vector<std::unique_ptr<Shard>> shards;
    std::optional<tcp::acceptor> acceptor;
    std::optional<asio::steady_timer> retry;
    std::size_t next = 0;
    bool started = false;
    bool stopped = false;
};

NetworkServer::NetworkServer(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}

NetworkServer::~NetworkServer() {
    stop(std::chrono::milliseconds(0));
    for (const auto& shard : impl_->shards) {
        shard->stop();
    }
    // Both live in a shard's context.
    impl_->retry.reset();
    impl_->acceptor.reset();
}

Result<std::unique_ptr<NetworkServer>, std::string> NetworkServer::listen(const NetworkOptions& options,
                                                                          RequestHandler& handler, StreamHub& hub,
                                                                          NetworkCounters& counters,
                                                                          const TlsCredentials* tls) {
    error_code error;
    const auto address = asio::ip::make_address(options.address, error);
    if (error) {
        return failure(
            fmt::format("“{}” is no address to listen on. Give one of this machine's, such as 127.0.0.1 or "
                        "0.0.0.0.",
                        options.address));
    }
    auto impl = std::make_unique<Impl>(options, handler, hub, counters, tls);
    auto& acceptor = *impl->acceptor;
    const tcp::endpoint endpoint(address, options.port);
    acceptor.open(endpoint.protocol(), error);
    if (!error) {
        acceptor.set_option(asio::socket_base::reuse_address(true), error);
        acceptor.bind(endpoint, error);
    }
    if (!error) {
        acceptor.listen(4096, error);
    }
    if (error == asio::error::address_in_use) {
        return failure(
            fmt::format("Port {} of {} is taken. Stop the program that listens there, or choose another "
                        "with --port (0 finds a free one).",
                        options.port, options.address));
    }
    if (error == asio::error::access_denied) {
        return failure(
            fmt::format("Port {} may not be used by this account. Choose one from 1024 on, or give the "
                        "service the capability CAP_NET_BIND_SERVICE.",
                        options.port));
    }
    if (error) {
        return failure(
            fmt::format("{} port {} cannot be listened on: {}.", options.address, options.port, error.message()));
    }
    return std::unique_ptr<NetworkServer>(new NetworkServer(std::move(impl)));
}

std::uint16_t NetworkServer::port() const {
    error_code error;
    return impl_->acceptor->local_endpoint(error).port();
}

void NetworkServer::start() {
    impl_->started = true;
    asio::post(impl_->shards.front()->context(), [impl = impl_.get()] { impl->accept(); });
    for (const auto& shard : impl_->shards) {
        shard->start();
    }
}

void NetworkServer::stop(std::chrono::milliseconds grace) {
    if (!impl_->started || std::exchange(impl_->stopped, true)) {
        return;
    }
    asio::post(impl_->shards.front()->context(), [impl = impl_.get()] {
        error_code ignored;
        impl->acceptor->close(ignored);
        impl->retry->cancel();
    });
    for (const auto& shard : impl_->shards) {
        shard->drain();
    }
    const auto end = std::chrono::steady_clock::now() + grace;
    while (impl_->limits.taken() > 0 && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

}  // namespace tolvik::server
