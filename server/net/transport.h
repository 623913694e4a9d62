#pragma once

#include <boost/asio/ip/tcp.hpp>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

#include "server/tls/ssl_handle.h"

namespace tolvik::server {

/// The bytes of one connection, plain or through TLS. It never waits and holds no buffer of its own: an idle
/// connection costs its socket and, with TLS, what the library keeps between records. One thread.
class Transport {
public:
    /// What an attempt came to.
    enum class Next : std::uint8_t { go, whenReadable, whenWritable, ended };
    struct Moved {
        Next next;
        std::size_t bytes;  ///< more than zero exactly when `next` is `go`
    };

    /// `ssl` is null for plain connections.
    Transport(boost::asio::ip::tcp::socket socket, SslHandle ssl);

    [[nodiscard]] Next handshake();
    [[nodiscard]] Moved read(char* into, std::size_t most);
    [[nodiscard]] Moved write(std::string_view bytes);

    /// Calls `done(true)` when another attempt may get further, `done(false)` when it was cancelled.
    template <class Done>
    void wait(Next next, Done done) {
        socket_.async_wait(
            next == Next::whenWritable ? boost::asio::socket_base::wait_write : boost::asio::socket_base::wait_read,
            [done = std::move(done)](const boost::system::error_code& error) { done(!error); });
    }

    /// Says that nothing more will be sent; what the peer sends can still be read.
    void shutdownSend();
    void close();
    [[nodiscard]] bool isTls() const { return ssl_ != nullptr; }
    /// As text; empty when the peer is already gone.
    [[nodiscard]] std::string peerAddress() const;

private:
    [[nodiscard]] Next reason(int result) const;

    boost::asio::ip::tcp::socket socket_;
    SslHandle ssl_;
};

}  // namespace tolvik::server
