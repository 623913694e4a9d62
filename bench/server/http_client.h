#pragma once

#include <cstdint>
#include <openssl/ssl.h>
#include <string>
#include <string_view>

namespace tolvik::bench {

/// One blocking connection to a server on this machine. One thread.
class HttpClient {
public:
    /// `tls` is null for plain connections and must outlive the client.
    HttpClient(std::uint16_t port, SSL_CTX* tls);
    HttpClient(const HttpClient&) = delete;
    HttpClient& operator=(const HttpClient&) = delete;
    ~HttpClient();

    struct Answer {
        int status = 0;  ///< 0 when the connection failed
        std::string body;
    };
    /// `fields` are whole header lines, each ended by CR LF.
    Answer request(std::string_view method, std::string_view path, std::string_view fields, std::string_view body);

    /// Opens the change stream; false unless its greeting came.
    bool openStream(std::string_view fields);
    /// Waits for the next announcement; false at the end of the stream.
    bool awaitChange();

private:
    bool send(std::string_view text);
    bool receive();

    int socket_ = -1;
    SSL* ssl_ = nullptr;
    std::string got_;
};

}  // namespace tolvik::bench
