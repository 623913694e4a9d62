#include "telemetry/telemetry.h"

#include <spdlog/spdlog.h>
#include <utility>

namespace tolvik {
namespace {

constexpr std::size_t kFlushThreshold = 10;
constexpr Millis kTimeout{60'000};

bool isSuccess(const Result<HttpResponse, HttpFailure>& response) {
    constexpr int first = 200;
    constexpr int end = 300;
    return response && response->status >= first && response->status < end;
}

}  // namespace

EventUpload::EventUpload(Ports ports, EventBuffer buffer, std::string path)
    : ports_(ports), buffer_(std::move(buffer)), path_(std::move(path)) {}

void EventUpload::append(EventBuffer::Event event) {
    buffer_.append(std::move(event));
    if (buffer_.waiting() >= kFlushThreshold) {
        flush();
    }
}

void EventUpload::flush() {
    auto body = buffer_.body();
    if (body.empty()) {
        return;
    }
    auto request = authorisedRequest(
        ports_.endpoint, ports_.session,
        {.method = "POST", .path = path_, .timeout = kTimeout, .body = std::move(body), .namesClient = false});
    if (!request) {
        return;
    }
    const auto number = nextExchange_++;
    exchanges_[number] = ports_.http.send(
        std::move(request->request),
        [this, number, ids = buffer_.take()](const Result<HttpResponse, HttpFailure>& response) mutable {
            const auto sent = std::move(ids);
            const auto over = exchanges_.extract(number);
            if (isSuccess(response)) {
                buffer_.arrived(sent);
            } else {
                buffer_.returned(sent);
            }
        });
}

void EventUpload::drop() {
    exchanges_.clear();
    buffer_.drop();
}

Telemetry::Telemetry(Ports ports)
    : ports_(std::move(ports)),
      sessionId_(ports_.random.identifier().text()),
      product_(ports_.upload, productBufferIn(ports_.folder), "/analytics/ingest"),
      voice_(ports_.upload, voiceBufferIn(ports_.folder), "/analytics/voice") {
    if (ports_.workers != nullptr) {
        product_.buffer().setWorkers(*ports_.workers);
        voice_.buffer().setWorkers(*ports_.workers);
    }
    followConsent();
}

Telemetry::~Telemetry() = default;

void Telemetry::start() {
    isOn_ = true;
    origin_ = {anonIdIn(ports_.values, ports_.random.identifier().text()), sessionId_, ports_.region,
               ports_.appVersion};
    product_.buffer().load();
    voice_.buffer().load();
}

void Telemetry::stop() {
    isOn_ = false;
    product_.drop();
    voice_.drop();
    counts_ = {};
}

Result<void, StoreError> Telemetry::setConsent(bool yes) {
    if (!yes) {
        stop();
    }
    auto kept = tolvik::setConsent(ports_.values, ports_.folder, yes);
    followConsent();
    return kept;
}

void Telemetry::followConsent() {
    const bool isOn = consent() == Consent::yes;
    if (isOn && !isOn_) {
        start();
    } else if (!isOn && isOn_) {
        stop();
    }
}

void Telemetry::later(std::function<void()> call) {
    ports_.loop.post([call = std::move(call), alive = std::weak_ptr<bool>(alive_)] {
        if (!alive.expired()) {
            call();
        }
    });
}

void Telemetry::track(std::string_view name, EventProperties properties) {
    later([this, at = ports_.clock.now(), event = std::string(name), properties = std::move(properties)] {
        followConsent();
        if (isOn_) {
            product_.append(productEvent(ports_.random.identifier().text(), at, event, properties, origin_));
        }
    });
}

void Telemetry::record(VoiceEvent event) {
    later([this, event = std::move(event)] {
        followConsent();
        if (isOn_) {
            ++counts_.totalCalls;
            counts_.localResolved += event.resolvedLocally ? 1 : 0;
            counts_.llmCalls += event.llmFallback ? 1 : 0;
            voice_.append(voiceEvent(ports_.random.identifier().text(), event));
        }
    });
}

void Telemetry::flush() {
    if (isOn_) {
        product_.flush();
        voice_.flush();
    }
}

void Telemetry::userSignedOut() {
    if (isOn_) {
        stop();
        const auto erased = forgetAnonId(ports_.values);
        if (!erased) {
            spdlog::warn("the installation's id is still the old one: {}", describe(erased.error()));
        }
        sessionId_ = ports_.random.identifier().text();
        followConsent();
    }
}

void Telemetry::save() const {
    if (isOn_ && consent() == Consent::yes) {
        product_.buffer().save();
        voice_.buffer().save();
    }
}

TelemetryPreview Telemetry::previewBytes() const {
    return {product_.buffer().body(), voice_.buffer().body()};
}

}  // namespace tolvik
