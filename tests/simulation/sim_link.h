#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "backend/http_client.h"
#include "tests/fakes/virtual_main_loop.h"
#include "tests/simulation/sim_server.h"

namespace tolvik::sim {

/// What the network does to requests, as chances in a thousand.
struct Weather {
    bool isOffline = false;
    unsigned lose = 0;
    unsigned loseReply = 0;
    unsigned duplicate = 0;
    unsigned refuse = 0;     ///< 429, or 5xx before or after the server has done it
    unsigned cutStream = 0;  ///< with each comment of the stream
    Millis slowest{300};
};

/// One device's way to the server. Requests on different connections pass one another; a request may arrive twice, and
/// long after its sender has given up.
class SimLink final : public HttpClient {
public:
    SimLink(VirtualMainLoop& loop, SimServer& server, Random& random) : loop_(loop), server_(server), random_(random) {}

    [[nodiscard]] std::unique_ptr<HttpExchange> send(HttpRequest request, Done done) override;
    [[nodiscard]] std::unique_ptr<HttpExchange> stream(HttpRequest request, StreamHandlers handlers) override;

    /// Says to the open streams of a user what the server announces; `ended` closes them.
    void announce(const std::string& userId, const std::string& deviceId, bool ended);
    void cutStreams();
    /// The process ended without a chance to save: what it learned of so lately it may ask for again.
    void crashed(Millis lately);

    Weather weather;

private:
    struct Exchange;
    class Handle;

    [[nodiscard]] bool happens(unsigned inAThousand) { return random_.next() % 1000 < inAThousand; }
    [[nodiscard]] Millis someTime(Millis longest) {
        return Millis{1 + static_cast<std::int64_t>(random_.next() % static_cast<std::uint64_t>(longest.count()))};
    }
    void later(Millis delay, std::function<void()> call);
    void reply(const std::shared_ptr<Exchange>& exchange, Result<HttpResponse, HttpFailure> result);
    void say(const std::shared_ptr<Exchange>& exchange, const std::string& bytes);
    void keepAlive(const std::shared_ptr<Exchange>& exchange);
    void end(const std::shared_ptr<Exchange>& exchange);

    VirtualMainLoop& loop_;
    SimServer& server_;
    Random& random_;
    /// Operations whose success has reached the device, and when.
    std::map<std::string, Instant> acknowledged_;
    std::vector<std::weak_ptr<Exchange>> streams_;
    /// Calls of the network outlive the exchanges that they belong to.
    std::vector<Timer> timers_;
    /// How many of them may be over before those that are go.
    std::size_t sweepAt_ = 64;
};

}  // namespace tolvik::sim
