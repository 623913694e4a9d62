#include "tests/simulation/sim_link.h"

#include <algorithm>
#include <cctype>
#include <fmt/format.h>

namespace tolvik::sim {
namespace {

const std::string kBase = "https://sim";

server::Request asRequest(const HttpRequest& request) {
    server::Request out;
    out.method = request.method;
    const std::string target = request.url.substr(kBase.size());
    const auto question = target.find('?');
    out.path = target.substr(0, question);
    out.query = question == std::string::npos ? "" : target.substr(question + 1);
    for (auto [name, value] : request.headers) {
        std::ranges::transform(name, name.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        out.headers.emplace_back(name, value);
    }
    out.body = request.body.value_or("");
    out.peer = "192.0.2.1";
    return out;
}

HttpResponse asResponse(const server::Response& response, Instant now) {
    // As the server's network layer adds it.
    constexpr std::array months{"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    const std::string text = formatInstant(now);
    const std::string date = fmt::format("Mon, {} {} {} {} GMT", text.substr(8, 2),
                                         months.at(static_cast<std::size_t>(std::stoi(text.substr(5, 2)) - 1)),
                                         text.substr(0, 4), text.substr(11, 8));
    HttpResponse out{response.status, {{"date", date}}, response.body};
    out.headers.insert(out.headers.end(), response.headers.begin(), response.headers.end());
    return out;
}

}  // namespace

struct SimLink::Exchange {
    HttpRequest request;
    Done done;
    StreamHandlers handlers;
    bool isOver = false;
    std::string userId;
    std::string deviceId;
};

class SimLink::Handle final : public HttpExchange {
public:
    explicit Handle(std::shared_ptr<Exchange> exchange) : exchange_(std::move(exchange)) {}
    ~Handle() override { exchange_->isOver = true; }

private:
    std::shared_ptr<Exchange> exchange_;
};

void SimLink::later(Millis delay, std::function<void()> call) {
    if (timers_.size() >= sweepAt_) {
        std::erase_if(timers_, [](const Timer& timer) { return !timer.isPending(); });
        sweepAt_ = std::max<std::size_t>(64, 2 * timers_.size());
    }
    timers_.push_back(loop_.after(delay, std::move(call)));
}

void SimLink::reply(const std::shared_ptr<Exchange>& exchange, Result<HttpResponse, HttpFailure> result) {
    if (!std::exchange(exchange->isOver, true)) {
        if (result && result->status < 400) {
            if (const auto id = findHeader(exchange->request.headers, "x-op-id")) {
                acknowledged_.emplace(*id, server_.clock().now());
            }
        }
        const auto done = exchange->done;
        done(std::move(result));
    }
}

std::unique_ptr<HttpExchange> SimLink::send(HttpRequest request, Done done) {
    auto exchange = std::make_shared<Exchange>();
    exchange->request = std::move(request);
    exchange->done = std::move(done);
    if (const auto id = findHeader(exchange->request.headers, "x-op-id");
        id && acknowledged_.contains(std::string(*id))) {
        throw Violation{fmt::format("operation {} is sent again after its success was known", *id)};
    }
    const auto fail = [this, exchange] {
        reply(exchange, failure(HttpFailure{HttpFailure::Kind::transport, "no answer"}));
    };
    later(exchange->request.timeout, fail);
    if (weather.isOffline) {
        later(someTime(Millis{2000}), fail);
        return std::make_unique<Handle>(exchange);
    }
    const auto arrive = [this, exchange, fail](bool isCopy) {
        if (!server_.isUp) {
            later(someTime(Millis{500}), fail);
            return;
        }
        if (!isCopy && happens(weather.refuse)) {
            const unsigned which = static_cast<unsigned>(random_.next() % 3);
            if (which == 2) {
                (void)server_.handle(asRequest(exchange->request));
            }
            const int status = which == 0 ? 429 : 502;
            later(someTime(weather.slowest),
                  [this, exchange, status] { reply(exchange, HttpResponse{status, {}, ""}); });
            return;
        }
        const auto response = server_.handle(asRequest(exchange->request));
        if (!isCopy && !happens(weather.loseReply)) {
            later(someTime(weather.slowest),
                  [this, exchange, answer = asResponse(response, server_.clock().now())] { reply(exchange, answer); });
        }
    };
    if (!happens(weather.lose)) {
        later(someTime(weather.slowest), [arrive] { arrive(false); });
    }
    if (happens(weather.duplicate)) {
        later(someTime(Millis{60'000}), [arrive] { arrive(true); });
    }
    return std::make_unique<Handle>(exchange);
}

std::unique_ptr<HttpExchange> SimLink::stream(HttpRequest request, StreamHandlers handlers) {
    auto exchange = std::make_shared<Exchange>();
    exchange->request = std::move(request);
    exchange->handlers = std::move(handlers);
    std::erase_if(streams_, [](const auto& one) { return one.expired() || one.lock()->isOver; });
    streams_.push_back(exchange);
    if (exchange->request.lifetime > Millis{0}) {
        later(exchange->request.lifetime, [this, exchange] { end(exchange); });
    }
    later(someTime(weather.slowest), [this, exchange] {
        if (weather.isOffline || !server_.isUp || exchange->isOver) {
            end(exchange);
            return;
        }
        const auto caller = server_.callerOf(asRequest(exchange->request));
        const auto onResponse = exchange->handlers.onResponse;
        onResponse(HttpResponse{caller ? 200 : 401, {}, ""});
        if (!caller) {
            end(exchange);
            return;
        }
        exchange->userId = caller->userId;
        exchange->deviceId = caller->deviceId;
        say(exchange, ":ok\n\n");
        keepAlive(exchange);
    });
    return std::make_unique<Handle>(exchange);
}

void SimLink::keepAlive(const std::shared_ptr<Exchange>& exchange) {
    later(Millis{20'000}, [this, exchange] {
        if (exchange->isOver) {
            return;
        }
        if (weather.isOffline || !server_.isUp || happens(weather.cutStream)) {
            end(exchange);
            return;
        }
        say(exchange, ": still here\n\n");
        keepAlive(exchange);
    });
}

void SimLink::say(const std::shared_ptr<Exchange>& exchange, const std::string& bytes) {
    if (!exchange->isOver) {
        const std::size_t cut = random_.next() % bytes.size();
        const auto onData = exchange->handlers.onData;
        onData(std::string_view(bytes).substr(0, cut));
        if (!exchange->isOver) {
            onData(std::string_view(bytes).substr(cut));
        }
    }
}

void SimLink::end(const std::shared_ptr<Exchange>& exchange) {
    if (!std::exchange(exchange->isOver, true)) {
        const auto onEnd = exchange->handlers.onEnd;
        onEnd(happens(500) ? std::nullopt
                           : std::optional(HttpFailure{HttpFailure::Kind::transport, "the connection broke"}));
    }
}

void SimLink::announce(const std::string& userId, const std::string& deviceId, bool ended) {
    for (const auto& weak : streams_) {
        const auto exchange = weak.lock();
        if (!exchange || exchange->isOver || exchange->userId != userId) {
            continue;
        }
        if (ended && (deviceId.empty() || exchange->deviceId == deviceId)) {
            later(Millis{1}, [this, exchange] { end(exchange); });
        } else if (!ended && exchange->deviceId != deviceId && !weather.isOffline) {
            later(someTime(weather.slowest), [this, exchange] { say(exchange, "event: change\ndata: {}\n\n"); });
        }
    }
}

void SimLink::crashed(Millis lately) {
    std::erase_if(acknowledged_, [&](const auto& one) { return server_.clock().now() - one.second <= lately; });
}

void SimLink::cutStreams() {
    for (const auto& weak : std::vector(streams_)) {
        if (const auto exchange = weak.lock()) {
            end(exchange);
        }
    }
}

}  // namespace tolvik::sim
