#include "sync/sse_stream.h"

#include <algorithm>
#include <utility>

namespace tolvik {
namespace {

constexpr Millis kSilence{60'000};
constexpr Millis kLifetime{3'600'000};
constexpr Millis kFirstDelay{1'000};
constexpr Millis kLongestDelay{30'000};
/// Nobody holds off for longer; an instant farther ahead stems from a clock that was set back.
constexpr Millis kLongestHoldOff{8'000};

}  // namespace

SseStream::SseStream(Ports ports) : ports_(ports) {}

SseStream::~SseStream() = default;

void SseStream::start() {
    if (exchange_) {
        return;
    }
    stopped_ = false;
    reconnect_.cancel();
    auto request = authorisedRequest(ports_.endpoint, ports_.session,
                                     {.method = "GET", .path = "/sync/stream", .timeout = kSilence});
    if (!request) {
        return;
    }
    request->request.lifetime = kLifetime;
    events_.clear();
    badStatus_ = false;
    const std::uint64_t number = ++number_;
    HttpClient::StreamHandlers handlers;
    handlers.onResponse = [this, number, token = request->token](const HttpResponse& response) {
        if (number != number_) {
            return;
        }
        badStatus_ = response.status != 200;
        if (response.status == 401) {
            ports_.session.handleUnauthorized(token);
        }
    };
    handlers.onData = [this, number](std::string_view bytes) {
        if (number == number_ && !badStatus_) {
            receive(bytes);
        }
    };
    handlers.onEnd = [this, number](const std::optional<HttpFailure>&) {
        if (number == number_) {
            ended();
        }
    };
    exchange_ = ports_.http.stream(std::move(request->request), std::move(handlers));
}

void SseStream::stop() {
    stopped_ = true;
    connected_ = false;
    ++number_;
    reconnect_.cancel();
    delivery_.cancel();
    missed_ = false;
    exchange_.reset();
}

void SseStream::receive(std::string_view bytes) {
    const std::uint64_t number = number_;
    for (const SseEvents::Event event : events_.take(bytes)) {
        if (event == SseEvents::Event::greeting) {
            connected_ = true;
            delay_ = kFirstDelay;
            greeted_.emit();
        } else {
            announce();
        }
        if (number != number_) {
            return;
        }
    }
    if (events_.isTooLong()) {
        ended();
    }
}

void SseStream::announce() {
    const Instant now = ports_.clock.now();
    suppressUntil_ = std::min(suppressUntil_, now + kLongestHoldOff);
    if (now < suppressUntil_) {
        missed_ = true;
        delivery_ = ports_.loop.after(suppressUntil_ - now, [this] {
            if (missed_) {
                announce();
            }
        });
        return;
    }
    missed_ = false;
    delivery_.cancel();
    announced_.emit();
}

void SseStream::ended() {
    ++number_;
    connected_ = false;
    const auto over = std::move(exchange_);
    if (stopped_) {
        return;
    }
    constexpr std::uint64_t steps = 1'000;
    // Between three and five quarters of the delay.
    const auto quarters = static_cast<std::int64_t>(3 * steps + (ports_.random.next() % (2 * steps + 1)));
    const Millis wait{delay_.count() * quarters / static_cast<std::int64_t>(4 * steps)};
    delay_ = std::min(delay_ * 2, kLongestDelay);
    reconnect_ = ports_.loop.after(wait, [this] { start(); });
}

void SseStream::suppressUntil(Instant instant) {
    suppressUntil_ = std::max(instant, std::min(suppressUntil_, ports_.clock.now() + kLongestHoldOff));
}

}  // namespace tolvik
