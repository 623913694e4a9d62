#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "backend/http_client.h"
#include "backend/session.h"
#include "base/clock.h"

namespace tolvik {

/// Whether a text can stand as an address, whole or without host: the characters, escapes and port of RFC 3986.
[[nodiscard]] bool isUrl(std::string_view text);
/// The one test for a connection that may carry the token: the configured text begins with "https://", in lower case.
[[nodiscard]] bool isHttps(std::string_view base);

/// Where the server is. The configuration is read afresh for each request. Main loop only.
class BackendEndpoint {
public:
    /// `configured` gives the base address as it stands in the configuration; none or empty when there is none.
    using Configured = std::function<std::optional<std::string>()>;
    explicit BackendEndpoint(Configured configured);

    [[nodiscard]] bool isConfigured() const;
    /// As configured; empty, with a line in the log, when nothing is.
    [[nodiscard]] std::string baseUrl() const;

private:
    Configured configured_;
};

/// Why a request is not sent.
enum class RequestRefusal : std::uint8_t {
    notSignedIn,
    invalidUrl,
    insecure,  ///< the token would travel over a connection that is not HTTPS
};

/// A request before the token is added.
struct RequestDraft {
    std::string method;
    /// Appended to the base as it stands, query included.
    std::string path;
    Millis timeout{60'000};
    /// JSON, sent with its content-type.
    std::optional<std::string> body = {};
    /// Whether it says which client it comes from.
    bool namesClient = true;
    /// Further fields, in order, between x-client and authorization.
    HttpHeaders headers = {};
};

/// A request without token.
[[nodiscard]] Result<HttpRequest, RequestRefusal> anonymousRequest(const BackendEndpoint& endpoint, RequestDraft draft);

struct AuthorisedRequest {
    HttpRequest request;
    /// The token that it carries, for `Session::handleUnauthorized`.
    std::string token;
};
/// A request as the signed-in user. Checked in this order: token, address, HTTPS.
[[nodiscard]] Result<AuthorisedRequest, RequestRefusal> authorisedRequest(const BackendEndpoint& endpoint,
                                                                          Session& session, RequestDraft draft);
void addAuthorization(HttpRequest& request, std::string_view token);

/// The value of X-TZ-Offset: minutes west of UTC at the start of `day`, or now when the day is absent or is no day.
[[nodiscard]] std::string timezoneOffsetHeader(const TimeZone& zone, const Clock& clock,
                                               std::optional<std::string_view> day = {});

/// Seconds of a Retry-After field; none when it is absent or no whole number.
[[nodiscard]] std::optional<std::int64_t> retryAfterSeconds(const HttpHeaders& headers);

/// What a server says about a failure; a body that is no JSON object says nothing.
struct ServerMessage {
    std::optional<std::string> error;
    std::optional<std::string> code;
};
[[nodiscard]] ServerMessage readServerMessage(std::string_view body);
/// The first 200 characters of the server's message, else "request failed".
[[nodiscard]] std::string briefServerMessage(std::string_view body);

/// A JSON object with text members, in order.
[[nodiscard]] std::string jsonObject(const std::vector<std::pair<std::string_view, std::string_view>>& members);

}  // namespace tolvik
