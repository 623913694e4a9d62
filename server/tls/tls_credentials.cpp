#include "server/tls/tls_credentials.h"

#include <array>
#include <fmt/format.h>
#include <openssl/err.h>
#include <string_view>
#include <system_error>

namespace tolvik::server {
namespace {

std::string tlsReason() {
    // The first error is the cause; a file that cannot be read is told as the system tells it.
    if (const auto first = ERR_peek_error(); ERR_SYSTEM_ERROR(first)) {
        ERR_clear_error();
        return std::system_category().message(ERR_GET_REASON(first));
    }
    const auto code = ERR_peek_last_error();
    const char* reason = ERR_reason_error_string(code);
    ERR_clear_error();
    return reason != nullptr ? reason : "unknown reason";
}

/// Only HTTP/1.1 is spoken, whatever else the client offers.
int chooseProtocol(SSL*, const unsigned char** out, unsigned char* length, const unsigned char* offered,
                   unsigned int offeredLength, void*) {
    static constexpr std::array<unsigned char, 9> http11{8, 'h', 't', 't', 'p', '/', '1', '.', '1'};
    unsigned char* chosen = nullptr;
    if (SSL_select_next_proto(&chosen, length, http11.data(), http11.size(), offered, offeredLength) !=
        OPENSSL_NPN_NEGOTIATED) {
        return SSL_TLSEXT_ERR_NOACK;
    }
    *out = chosen;
    return SSL_TLSEXT_ERR_OK;
}

}  // namespace

TlsCredentials::TlsCredentials(std::filesystem::path certificate, std::filesystem::path key)
    : certificate_(std::move(certificate)), key_(std::move(key)) {}

Result<TlsCredentials::Context, std::string> TlsCredentials::read() const {
    ERR_clear_error();
    Context context(SSL_CTX_new(TLS_server_method()));
    if (!context) {
        return failure("TLS cannot be set up: " + tlsReason());
    }
    SSL_CTX_set_min_proto_version(context.get(), TLS1_2_VERSION);
    SSL_CTX_set_options(context.get(), SSL_OP_NO_RENEGOTIATION | SSL_OP_NO_COMPRESSION |
                                           SSL_OP_CIPHER_SERVER_PREFERENCE | SSL_OP_IGNORE_UNEXPECTED_EOF);
    // Thousands of idle streams: what a record needs is given back between records, and no session is kept.
    SSL_CTX_set_mode(context.get(),
                     SSL_MODE_RELEASE_BUFFERS | SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER);
    SSL_CTX_set_session_cache_mode(context.get(), SSL_SESS_CACHE_OFF);
    SSL_CTX_set_read_ahead(context.get(), 0);
    SSL_CTX_set_alpn_select_cb(context.get(), chooseProtocol, nullptr);
    if (SSL_CTX_use_certificate_chain_file(context.get(), certificate_.c_str()) != 1) {
        return failure(
            fmt::format("The certificate {} cannot be used ({}). It must be a PEM file with the "
                        "certificate first and its chain behind it, readable for this account.",
                        certificate_.string(), tlsReason()));
    }
    if (SSL_CTX_use_PrivateKey_file(context.get(), key_.c_str(), SSL_FILETYPE_PEM) != 1) {
        return failure(
            fmt::format("The key {} cannot be used ({}). It must be the certificate's key as a PEM file, "
                        "without a pass phrase, readable for this account.",
                        key_.string(), tlsReason()));
    }
    return context;
}

Result<std::unique_ptr<TlsCredentials>, std::string> TlsCredentials::load(const std::filesystem::path& certificate,
                                                                          const std::filesystem::path& key) {
    std::unique_ptr<TlsCredentials> credentials(new TlsCredentials(certificate, key));
    if (auto loaded = credentials->reload(); !loaded) {
        return failure(std::move(loaded.error()));
    }
    return credentials;
}

Result<void, std::string> TlsCredentials::reload() {
    auto context = read();
    if (!context) {
        return failure(std::move(context.error()));
    }
    const std::lock_guard lock(mutex_);
    // Connections hold a reference of their own to the context that they began with.
    context_ = std::move(*context);
    return {};
}

SslHandle TlsCredentials::newConnection() const {
    const std::lock_guard lock(mutex_);
    return SslHandle(SSL_new(context_.get()));
}

}  // namespace tolvik::server
