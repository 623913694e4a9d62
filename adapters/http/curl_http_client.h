#pragma once

#include <memory>

#include "backend/http_client.h"
#include "base/main_loop.h"

namespace tolvik {

/// HTTP/1.1 by libcurl. All transfers run on one thread, which begins with the first request and sleeps while nothing
/// happens. Of the environment it reads SSL_CERT_FILE and the proxy variables, anew for each request. Neither cookies,
/// nor stored passwords, nor compressed bodies.
class CurlHttpClient final : public HttpClient {
public:
    static constexpr std::size_t maxBody = std::size_t{64} << 20U;
    static constexpr std::size_t maxHeaders = std::size_t{256} << 10U;
    /// A stream whose reader lags behind by this many bytes waits for it.
    static constexpr std::size_t maxUnread = std::size_t{1} << 20U;

    /// The loop outlives the client and its exchanges.
    explicit CurlHttpClient(MainLoop& loop);
    /// Gives up what is under way; no callback follows.
    ~CurlHttpClient() override;

    [[nodiscard]] std::unique_ptr<HttpExchange> send(HttpRequest request, Done done) override;
    [[nodiscard]] std::unique_ptr<HttpExchange> stream(HttpRequest request, StreamHandlers handlers) override;

private:
    class Thread;
    std::shared_ptr<Thread> thread_;
    MainLoop& loop_;
};

}  // namespace tolvik
