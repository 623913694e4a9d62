#include "server/net/transport.h"

#include <algorithm>
#include <boost/asio/buffer.hpp>
#include <climits>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/err.h>
#include <sys/socket.h>

namespace tolvik::server {

namespace asio = boost::asio;
using boost::system::error_code;

namespace {

constexpr unsigned int unacknowledgedMs = 60'000;

Transport::Moved moved(const error_code& error, std::size_t bytes, Transport::Next blocked) {
    if (error == asio::error::would_block || error == asio::error::try_again) {
        return {blocked, 0};
    }
    return error || bytes == 0 ? Transport::Moved{Transport::Next::ended, 0}
                               : Transport::Moved{Transport::Next::go, bytes};
}

int size(std::size_t bytes) {
    return static_cast<int>(std::min<std::size_t>(bytes, INT_MAX));
}

}  // namespace

Transport::Transport(asio::ip::tcp::socket socket, SslHandle ssl) : socket_(std::move(socket)), ssl_(std::move(ssl)) {
    error_code ignored;
    socket_.non_blocking(true, ignored);
    socket_.set_option(asio::ip::tcp::no_delay(true), ignored);
    // A peer that vanished without a word is noticed by the comments that it does not acknowledge; the system itself
    // would go on for a quarter of an hour.
    static_cast<void>(::setsockopt(socket_.native_handle(), IPPROTO_TCP, TCP_USER_TIMEOUT, &unacknowledgedMs,
                                   sizeof unacknowledgedMs));
    if (ssl_) {
        SSL_set_fd(ssl_.get(), socket_.native_handle());
        SSL_set_accept_state(ssl_.get());
    }
}

Transport::Next Transport::reason(int result) const {
    switch (SSL_get_error(ssl_.get(), result)) {
        case SSL_ERROR_WANT_READ:
            return Next::whenReadable;
        case SSL_ERROR_WANT_WRITE:
            return Next::whenWritable;
        default:
            return Next::ended;
    }
}

Transport::Next Transport::handshake() {
    if (!ssl_) {
        return Next::go;
    }
    // The library's queue of errors is the thread's, not the connection's.
    ERR_clear_error();
    const int result = SSL_do_handshake(ssl_.get());
    return result == 1 ? Next::go : reason(result);
}

Transport::Moved Transport::read(char* into, std::size_t most) {
    if (!ssl_) {
        error_code error;
        const auto bytes = socket_.read_some(asio::buffer(into, most), error);
        return moved(error, bytes, Next::whenReadable);
    }
    ERR_clear_error();
    const int result = SSL_read(ssl_.get(), into, size(most));
    return result > 0 ? Moved{Next::go, static_cast<std::size_t>(result)} : Moved{reason(result), 0};
}

Transport::Moved Transport::write(std::string_view bytes) {
    if (!ssl_) {
        error_code error;
        const auto written = socket_.write_some(asio::buffer(bytes.data(), bytes.size()), error);
        return moved(error, written, Next::whenWritable);
    }
    ERR_clear_error();
    const int result = SSL_write(ssl_.get(), bytes.data(), size(bytes.size()));
    return result > 0 ? Moved{Next::go, static_cast<std::size_t>(result)} : Moved{reason(result), 0};
}

void Transport::shutdownSend() {
    error_code ignored;
    if (ssl_ && SSL_is_init_finished(ssl_.get())) {
        ERR_clear_error();
        SSL_shutdown(ssl_.get());
    }
    socket_.shutdown(asio::ip::tcp::socket::shutdown_send, ignored);
}

void Transport::close() {
    error_code ignored;
    socket_.close(ignored);
}

std::string Transport::peerAddress() const {
    error_code error;
    const auto peer = socket_.remote_endpoint(error);
    if (error) {
        return {};
    }
    const auto address = peer.address();
    if (address.is_v6() && address.to_v6().is_v4_mapped()) {
        return asio::ip::make_address_v4(asio::ip::v4_mapped, address.to_v6()).to_string();
    }
    return address.to_string();
}

}  // namespace tolvik::server
