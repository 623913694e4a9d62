#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/result.h"
#include "base/time.h"

namespace tolvik {

/// Header fields in the order and the letter case in which they are sent.
using HttpHeaders = std::vector<std::pair<std::string, std::string>>;

/// The first value of a field; names are compared without regard to letter case. None when it is absent.
[[nodiscard]] std::optional<std::string_view> findHeader(const HttpHeaders& headers, std::string_view name);

struct HttpRequest {
    std::string method;
    /// The whole address as text; nothing is escaped or corrected.
    std::string url;
    /// No other fields are sent than these and what the protocol itself needs. A field whose name or value could break
    /// out of its line is refused (`invalidUrl`).
    HttpHeaders headers = {};
    std::optional<std::string> body = {};
    /// For the whole exchange; for a stream, the longest silence.
    Millis timeout{60'000};
    /// For a stream, its longest life; 0 stands for no limit.
    Millis lifetime{0};
};

struct HttpResponse {
    int status = 0;
    HttpHeaders headers;
    std::string body;
};

/// Why there was no response.
struct HttpFailure {
    enum class Kind : unsigned char {
        invalidUrl,  ///< the address cannot be used; nothing was sent
        transport,   ///< no connection, no answer in time, or the answer broke off
        tooLarge,    ///< the answer's body passed the limit
    };
    Kind kind = Kind::transport;
    /// For the user, a short sentence part without a full stop; never holds a header or a body.
    std::string description;
};

/// A running exchange. Destroying it cancels the exchange and its callbacks; it may be destroyed inside its own
/// callbacks, and does nothing more once it is over. Main loop only.
class HttpExchange {
public:
    HttpExchange() = default;
    HttpExchange(const HttpExchange&) = delete;
    HttpExchange& operator=(const HttpExchange&) = delete;
    virtual ~HttpExchange() = default;
};

/// Requests over HTTP and HTTPS. Certificates are checked against the system's authorities (or `SSL_CERT_FILE`),
/// proxies of the environment are honoured, redirects are never followed (a 3xx is an answer like any other), bodies
/// are limited to 64 MB. Main loop only; callbacks come on the main loop, never before the call has returned.
class HttpClient {
public:
    HttpClient() = default;
    HttpClient(const HttpClient&) = delete;
    HttpClient& operator=(const HttpClient&) = delete;
    virtual ~HttpClient() = default;

    using Done = std::function<void(Result<HttpResponse, HttpFailure>)>;
    /// `done` is called once unless the exchange is destroyed before.
    [[nodiscard]] virtual std::unique_ptr<HttpExchange> send(HttpRequest request, Done done) = 0;

    struct StreamHandlers {
        /// Status and headers (no body), once, before any data.
        std::function<void(const HttpResponse&)> onResponse;
        /// Bytes as they come, in order.
        std::function<void(std::string_view)> onData;
        /// Once, at the end: none when the server ended it cleanly.
        std::function<void(std::optional<HttpFailure>)> onEnd;
    };
    /// An answer of unlimited length, delivered as it arrives.
    [[nodiscard]] virtual std::unique_ptr<HttpExchange> stream(HttpRequest request, StreamHandlers handlers) = 0;
};

}  // namespace tolvik
