#pragma once

#include <arpa/inet.h>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <mutex>
#include <netinet/in.h>
#include <openssl/ssl.h>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

namespace tolvik {

/// A certificate for localhost that is its own authority, made anew for each test; files below `folder`.
struct TestCertificate {
    explicit TestCertificate(const std::string& folder) : key(folder + "/key.pem"), certificate(folder + "/cert.pem") {
        const std::string command =
            "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -days 2 -subj /CN=localhost "
            "-addext subjectAltName=DNS:localhost,IP:127.0.0.1 -keyout " +
            key + " -out " + certificate + " 2>/dev/null";
        isMade = std::system(command.c_str()) == 0;
    }
    std::string key;
    std::string certificate;
    bool isMade = false;
};

/// A server on a port of its own on the loopback, which does to each connection what the test says: honest or not.
class LocalServer {
public:
    class Connection {
    public:
        Connection(int socket, SSL* tls) : socket_(socket), tls_(tls) {}
        Connection(const Connection&) = delete;
        Connection& operator=(const Connection&) = delete;
        ~Connection() {
            if (tls_ != nullptr) {
                SSL_shutdown(tls_);
                SSL_free(tls_);
            }
            ::close(socket_);
        }

        /// The next request, head and body by its content-length; empty when the peer is gone.
        std::string readRequest() {
            std::string request;
            std::size_t whole = std::string::npos;
            while (request.size() < whole) {
                char buffer[16384];
                const int count = receive(buffer, sizeof buffer);
                if (count <= 0) {
                    return {};
                }
                request.append(buffer, static_cast<std::size_t>(count));
                const auto end = request.find("\r\n\r\n");
                if (whole == std::string::npos && end != std::string::npos) {
                    const auto length = request.find("Content-Length: ");
                    whole = end + 4 + (length < end ? std::stoul(request.substr(length + 16)) : 0);
                }
            }
            return request;
        }
        /// False when the peer is gone.
        bool write(std::string_view bytes) {
            while (!bytes.empty()) {
                const auto count = tls_ != nullptr
                                       ? SSL_write(tls_, bytes.data(), static_cast<int>(bytes.size()))
                                       : static_cast<int>(::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL));
                if (count <= 0) {
                    return false;
                }
                bytes.remove_prefix(static_cast<std::size_t>(count));
            }
            return true;
        }
        /// Waits until the peer goes away.
        void waitForEnd() {
            char byte = 0;
            while (receive(&byte, 1) > 0) {
            }
        }

    private:
        int receive(char* buffer, std::size_t size) {
            return tls_ != nullptr ? SSL_read(tls_, buffer, static_cast<int>(size))
                                   : static_cast<int>(::recv(socket_, buffer, size, 0));
        }

        int socket_;
        SSL* tls_;
    };
    using Serve = std::function<void(Connection&)>;

    /// Plain without a certificate.
    explicit LocalServer(Serve serve, const TestCertificate* certificate = nullptr) : serve_(std::move(serve)) {
        std::signal(SIGPIPE, SIG_IGN);
        if (certificate != nullptr) {
            tls_ = SSL_CTX_new(TLS_server_method());
            SSL_CTX_use_certificate_file(tls_, certificate->certificate.c_str(), SSL_FILETYPE_PEM);
            SSL_CTX_use_PrivateKey_file(tls_, certificate->key.c_str(), SSL_FILETYPE_PEM);
        }
        listening_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        ::bind(listening_, reinterpret_cast<sockaddr*>(&address), sizeof address);
        ::listen(listening_, 16);
        socklen_t size = sizeof address;
        ::getsockname(listening_, reinterpret_cast<sockaddr*>(&address), &size);
        port_ = ntohs(address.sin_port);
        accepting_ = std::thread([this] { acceptAll(); });
    }
    LocalServer(const LocalServer&) = delete;
    LocalServer& operator=(const LocalServer&) = delete;
    /// Cuts all connections.
    ~LocalServer() {
        ending_ = true;
        accepting_.join();
        {
            const std::scoped_lock lock(mutex_);
            for (const int socket : sockets_) {
                ::shutdown(socket, SHUT_RDWR);
            }
        }
        for (std::thread& thread : threads_) {
            thread.join();
        }
        ::close(listening_);
        SSL_CTX_free(tls_);
    }

    [[nodiscard]] std::string url() const {
        return (tls_ != nullptr ? "https://localhost:" : "http://localhost:") + std::to_string(port_);
    }
    [[nodiscard]] int port() const { return port_; }
    [[nodiscard]] int connections() const { return connections_; }
    /// Everything that `record` was called with, in order.
    [[nodiscard]] std::vector<std::string> seen() const {
        const std::scoped_lock lock(mutex_);
        return seen_;
    }
    void record(std::string what) {
        const std::scoped_lock lock(mutex_);
        seen_.push_back(std::move(what));
    }

private:
    void acceptAll() {
        while (!ending_) {
            pollfd waiting{listening_, POLLIN, 0};
            if (::poll(&waiting, 1, 20) <= 0) {
                continue;
            }
            const int socket = ::accept4(listening_, nullptr, nullptr, SOCK_CLOEXEC);
            if (socket < 0) {
                continue;
            }
            ++connections_;
            const std::scoped_lock lock(mutex_);
            sockets_.push_back(socket);
            threads_.emplace_back([this, socket] { serveOne(socket); });
        }
    }
    void serveOne(int socket) {
        SSL* tls = nullptr;
        if (tls_ != nullptr) {
            tls = SSL_new(tls_);
            SSL_set_fd(tls, socket);
            if (SSL_accept(tls) != 1) {
                SSL_free(tls);
                tls = nullptr;
            }
        }
        {
            Connection connection(socket, tls);
            if (tls_ == nullptr || tls != nullptr) {
                serve_(connection);
            }
            const std::scoped_lock lock(mutex_);
            std::erase(sockets_, socket);
        }
    }

    Serve serve_;
    SSL_CTX* tls_ = nullptr;
    int listening_ = -1;
    int port_ = 0;
    std::atomic<bool> ending_ = false;
    std::atomic<int> connections_ = 0;
    mutable std::mutex mutex_;
    std::vector<int> sockets_;
    std::vector<std::string> seen_;
    std::vector<std::thread> threads_;
    std::thread accepting_;
};

}  // namespace tolvik
