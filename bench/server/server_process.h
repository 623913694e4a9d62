#pragma once

#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <openssl/ssl.h>
#include <string>
#include <sys/types.h>
#include <thread>
#include <vector>

#include "bench/server/http_client.h"

namespace tolvik::bench {

/// A tolvik-server that this program started with --dev, and the codes that it prints.
class ServerProcess {
public:
    /// Waits until it listens; ends this program when it does not.
    ServerProcess(const std::string& program, const std::string& data, const std::vector<std::string>& more, bool tls);
    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;
    ~ServerProcess();

    [[nodiscard]] std::unique_ptr<HttpClient> connect() const;
    /// A session of this address; its header lines, the token among them. Each caller seems to come from a peer of its
    /// own, `peer` being any number. Empty when the server refused.
    [[nodiscard]] std::string signIn(HttpClient& client, const std::string& address, std::size_t peer);
    [[nodiscard]] std::uint16_t port() const { return port_; }
    /// The file with the certificate of its authority; empty without TLS.
    [[nodiscard]] const std::string& authority() const { return authority_; }
    /// Memory of the process in RAM, in bytes.
    [[nodiscard]] std::int64_t resident() const;
    /// From its start to the line that says that it listens, in milliseconds.
    [[nodiscard]] double startMs() const { return startMs_; }

private:
    void readLines();
    [[nodiscard]] std::string awaitCode(const std::string& address);

    pid_t process_ = -1;
    int from_ = -1;
    std::uint16_t port_ = 0;
    std::string authority_;
    double startMs_ = 0;
    std::unique_ptr<SSL_CTX, void (*)(SSL_CTX*)> tls_{nullptr, SSL_CTX_free};
    std::string buffer_;
    std::mutex mutex_;
    std::condition_variable came_;
    std::map<std::string, std::string> codes_;
    std::thread reader_;
};

}  // namespace tolvik::bench
