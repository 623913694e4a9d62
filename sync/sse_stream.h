#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>

#include "backend/endpoint.h"
#include "backend/http_client.h"
#include "backend/session.h"
#include "base/clock.h"
#include "base/main_loop.h"
#include "base/subscription.h"
#include "core/mutation_sink.h"
#include "sync/sse_events.h"

namespace tolvik {

/// The server's change stream: one long connection on which it says that something changed elsewhere, not what.
/// Connects again by itself, also after a clean end, with growing waits. Main loop only.
class SseStream final : public ChangeHoldOff {
public:
    /// Everything outlives the stream.
    struct Ports {
        HttpClient& http;
        const BackendEndpoint& endpoint;
        Session& session;
        const Clock& clock;
        Random& random;
        MainLoop& loop;
    };

    explicit SseStream(Ports ports);
    ~SseStream() override;

    /// Connects, with a token and over HTTPS only. Nothing happens while it is connecting or connected.
    void start();
    void stop();
    /// From the server's greeting until the connection is lost.
    [[nodiscard]] bool isConnected() const { return connected_; }

    /// Something changed elsewhere. Announcements during a hold-off are delivered once, when it is over.
    Subscription subscribe(std::function<void()> handler) { return announced_.connect(std::move(handler)); }
    /// The server has greeted: from now on every change is announced.
    Subscription onConnected(std::function<void()> handler) { return greeted_.connect(std::move(handler)); }

    /// The later of this instant and those asked for before holds.
    void suppressUntil(Instant instant) override;

private:
    void receive(std::string_view bytes);
    void announce();
    void ended();

    Ports ports_;
    std::unique_ptr<HttpExchange> exchange_;
    SseEvents events_;
    bool stopped_ = true;
    bool badStatus_ = false;
    bool connected_ = false;
    Millis delay_{1000};
    Timer reconnect_;
    Instant suppressUntil_;
    bool missed_ = false;
    Timer delivery_;
    Signal<> announced_;
    Signal<> greeted_;
    /// Told apart from exchanges that are over.
    std::uint64_t number_ = 0;
};

}  // namespace tolvik
