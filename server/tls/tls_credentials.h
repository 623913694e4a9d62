#pragma once

#include <filesystem>
#include <memory>
#include <mutex>
#include <openssl/ssl.h>
#include <string>

#include "base/result.h"
#include "server/tls/ssl_handle.h"

namespace tolvik::server {

/// The certificate and key that connections are answered with. Any thread.
class TlsCredentials {
public:
    /// PEM files: the certificate with its chain, and its key. The error says what is wrong with which file.
    [[nodiscard]] static Result<std::unique_ptr<TlsCredentials>, std::string> load(
        const std::filesystem::path& certificate, const std::filesystem::path& key);
    TlsCredentials(const TlsCredentials&) = delete;
    TlsCredentials& operator=(const TlsCredentials&) = delete;

    /// Reads the files again. On failure the previous ones stay in use; open connections keep theirs either way.
    [[nodiscard]] Result<void, std::string> reload();

    /// For one connection; null when memory is out.
    [[nodiscard]] SslHandle newConnection() const;

private:
    struct ContextFree {
        void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
    };
    using Context = std::unique_ptr<SSL_CTX, ContextFree>;

    TlsCredentials(std::filesystem::path certificate, std::filesystem::path key);
    [[nodiscard]] Result<Context, std::string> read() const;

    const std::filesystem::path certificate_;
    const std::filesystem::path key_;
    mutable std::mutex mutex_;  ///< guards the context
    Context context_;
};

}  // namespace tolvik::server
