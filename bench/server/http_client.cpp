#include "bench/server/http_client.h"

#include <array>
#include <charconv>
#include <fmt/format.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

namespace tolvik::bench {

HttpClient::HttpClient(std::uint16_t port, SSL_CTX* tls) : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    const int on = 1;
    ::setsockopt(socket_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(port);
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(socket_, reinterpret_cast<const sockaddr*>(&to), sizeof to) != 0) {
        return;
    }
    if (tls != nullptr) {
        ssl_ = SSL_new(tls);
        SSL_set_fd(ssl_, socket_);
        SSL_set1_host(ssl_, "localhost");
        SSL_connect(ssl_);
    }
}

HttpClient::~HttpClient() {
    SSL_free(ssl_);
    ::close(socket_);
}

bool HttpClient::send(std::string_view text) {
    while (!text.empty()) {
        const auto sent = ssl_ != nullptr ? SSL_write(ssl_, text.data(), static_cast<int>(text.size()))
                                          : ::send(socket_, text.data(), text.size(), MSG_NOSIGNAL);
        if (sent <= 0) {
            return false;
        }
        text.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
}

bool HttpClient::receive() {
    std::array<char, 4096> part{};
    const auto got = ssl_ != nullptr ? SSL_read(ssl_, part.data(), static_cast<int>(part.size()))
                                     : ::recv(socket_, part.data(), part.size(), 0);
    if (got > 0) {
        got_.append(part.data(), static_cast<std::size_t>(got));
    }
    return got > 0;
}

HttpClient::Answer HttpClient::request(std::string_view method, std::string_view path, std::string_view fields,
                                       std::string_view body) {
    if (!send(fmt::format("{} {} HTTP/1.1\r\nhost: localhost\r\n{}content-length: {}\r\n\r\n{}", method, path, fields,
                          body.size(), body))) {
        return {};
    }
    std::size_t end = 0;
    while ((end = got_.find("\r\n\r\n")) == std::string::npos) {
        if (!receive()) {
            return {};
        }
    }
    Answer answer;
    std::from_chars(got_.data() + 9, got_.data() + 12, answer.status);
    std::size_t length = 0;
    if (const auto at = got_.find("content-length: "); at < end) {
        std::from_chars(got_.data() + at + 16, got_.data() + end, length);
    }
    while (got_.size() < end + 4 + length) {
        if (!receive()) {
            return {};
        }
    }
    answer.body = got_.substr(end + 4, length);
    got_.erase(0, end + 4 + length);
    return answer;
}

bool HttpClient::openStream(std::string_view fields) {
    if (!send(fmt::format("GET /sync/stream HTTP/1.1\r\nhost: localhost\r\n{}\r\n", fields))) {
        return false;
    }
    while (got_.find(":ok\n\n") == std::string::npos) {
        if (got_.find("\r\n\r\n") != std::string::npos && !got_.starts_with("HTTP/1.1 200")) {
            return false;
        }
        if (!receive()) {
            return false;
        }
    }
    got_ = std::string();
    return true;
}

bool HttpClient::awaitChange() {
    std::size_t at = 0;
    while ((at = got_.find("data: changed\n\n")) == std::string::npos) {
        if (!receive()) {
            return false;
        }
    }
    got_.erase(0, at + 15);
    return true;
}

}  // namespace tolvik::bench
