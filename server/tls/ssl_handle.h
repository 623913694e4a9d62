#pragma once

#include <memory>
#include <openssl/ssl.h>

namespace tolvik::server {

struct SslFree {
    void operator()(SSL* ssl) const { SSL_free(ssl); }
};

/// One connection's TLS state; null where the connection is plain.
using SslHandle = std::unique_ptr<SSL, SslFree>;

}  // namespace tolvik::server
