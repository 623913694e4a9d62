#include "ai/ai_service.h"

#include <fmt/format.h>
#include <utility>

#include "base/json_reader.h"

namespace tolvik {
namespace {

constexpr Millis kTimeout{20'000};
constexpr JsonReader::Limits kAnswer{.bytes = 4'000'000};
constexpr int kSuccess = 200;
constexpr int kUnauthorized = 401;

std::optional<std::string> textIn(simdjson::dom::object object, std::string_view key) {
    std::string_view text;
    return object.at_key(key).get(text) == simdjson::SUCCESS ? std::optional(std::string(text)) : std::nullopt;
}

bool readNumber(simdjson::dom::object object, std::string_view key, std::int64_t& number) {
    return object.at_key(key).get(number) == simdjson::SUCCESS;
}

AIError errorOf(RequestRefusal refusal) {
    switch (refusal) {
        case RequestRefusal::notSignedIn:
            return {AIError::Kind::noAuth, 0, {}};
        case RequestRefusal::insecure:
            return {AIError::Kind::insecureTransport, 0, {}};
        case RequestRefusal::invalidUrl:
            return {AIError::Kind::badUrl, 0, {}};
    }
    return {};
}

/// Reads a body, or makes an error of what does not read.
template <class T, class Read>
auto reader(AIService::Done<T> done, Read read) {
    return [done = std::move(done), read](Result<std::string, AIError> body) {
        if (!body) {
            done(failure(std::move(body.error())));
        } else if (auto value = read(*body)) {
            done(std::move(*value));
        } else {
            done(failure(AIError{AIError::Kind::badResponse, kSuccess, "request failed"}));
        }
    };
}

}  // namespace

std::string AIError::text() const {
    switch (kind) {
        case Kind::noAuth:
            return "Sign in required";
        case Kind::insecureTransport:
            return "Refusing to send token over plain HTTP";
        case Kind::badUrl:
            return "Invalid backend URL";
        case Kind::badResponse:
            return fmt::format("AI request failed ({}): {}", status, message);
        case Kind::network:
            return "Network error: " + message;
    }
    return {};
}

AIService::AIService(Ports ports) : ports_(ports) {}
AIService::~AIService() = default;

void AIService::send(RequestDraft draft, std::optional<DayKey> day, Received received) {
    const auto dayText = day ? std::optional(day->text()) : std::nullopt;
    draft.timeout = kTimeout;
    if (!draft.body) {
        draft.headers.emplace_back("content-type", "application/json");
    }
    draft.headers.emplace_back("X-TZ-Offset", timezoneOffsetHeader(ports_.timeZone, ports_.clock, dayText));
    draft.headers.emplace_back("X-TZ", ports_.timeZone.name());
    auto request = authorisedRequest(ports_.endpoint, ports_.session, std::move(draft));
    if (!request && request.error() != RequestRefusal::notSignedIn && !isHttps(ports_.endpoint.baseUrl())) {
        request = failure(RequestRefusal::insecure);
    }
    if (!request) {
        ports_.loop.post([received = std::move(received), error = errorOf(request.error()),
                          alive = std::weak_ptr<bool>(alive_)]() mutable {
            if (!alive.expired()) {
                received(failure(std::move(error)));
            }
        });
        return;
    }
    const auto place = exchanges_.emplace(exchanges_.end());
    *place = ports_.http.send(std::move(request->request), [this, place, token = std::move(request->token),
                                                            received = std::move(received)](
                                                               Result<HttpResponse, HttpFailure> response) mutable {
        // The exchange, and with it this call's captures, may go once the answer is passed on.
        const auto over = std::move(*place);
        exchanges_.erase(place);
        const auto hand = std::move(received);
        if (!response) {
            const bool isUrl = response.error().kind == HttpFailure::Kind::invalidUrl;
            hand(failure(AIError{isUrl ? AIError::Kind::badUrl : AIError::Kind::network, 0,
                                 std::move(response.error().description)}));
            return;
        }
        const std::weak_ptr<bool> alive(alive_);
        if (response->status == kUnauthorized) {
            ports_.session.handleUnauthorized(token);
        }
        if (alive.expired()) {
            return;
        }
        if (response->status == kSuccess) {
            hand(std::move(response->body));
        } else {
            hand(failure(AIError{AIError::Kind::badResponse, response->status, briefServerMessage(response->body)}));
        }
    });
}

void AIService::dailySummary(DayKey day, Done<DaySummary> done) {
    send({.method = "GET", .path = "/ai/summary/daily?date=" + day.text()}, day,
         reader<DaySummary>(std::move(done), readDaySummary));
}

void AIService::narrative(const DaySpan& days, Done<std::string> done) {
    send({.method = "GET", .path = "/ai/reports/narrative?from=" + days.first.text() + "&to=" + days.last.text()},
         std::nullopt, reader<std::string>(std::move(done), readNarrative));
}

void AIService::query(std::string_view question, Done<Answer> done) {
    send({.method = "POST", .path = "/ai/query", .body = jsonObject({{"question", question}})}, std::nullopt,
         reader<Answer>(std::move(done), readAnswer));
}

std::optional<DaySummary> readDaySummary(std::string_view json) {
    JsonReader reader(kAnswer);
    const auto object = reader.readObject(json);
    simdjson::dom::object stats;
    DaySummary summary;
    if (!object || object->at_key("stats").get(stats) != simdjson::SUCCESS ||
        !readNumber(stats, "totalMs", summary.totalMs) || !readNumber(stats, "taskCount", summary.taskCount) ||
        !readNumber(stats, "focusBlocks", summary.focusBlocks)) {
        return std::nullopt;
    }
    auto narrative = textIn(*object, "narrative");
    simdjson::dom::element top;
    const bool hasTop = stats.at_key("topProject").get(top) == simdjson::SUCCESS && !top.is_null();
    if (!narrative || (hasTop && !top.is_string())) {
        return std::nullopt;
    }
    summary.narrative = std::move(*narrative);
    if (hasTop) {
        summary.topProject = textIn(stats, "topProject");
    }
    return summary;
}

std::optional<std::string> readNarrative(std::string_view json) {
    JsonReader reader(kAnswer);
    const auto object = reader.readObject(json);
    return object ? textIn(*object, "narrative") : std::nullopt;
}

std::optional<Answer> readAnswer(std::string_view json) {
    JsonReader reader(kAnswer);
    const auto object = reader.readObject(json);
    simdjson::dom::array citations;
    if (!object || object->at_key("citations").get(citations) != simdjson::SUCCESS) {
        return std::nullopt;
    }
    auto text = textIn(*object, "answer");
    if (!text) {
        return std::nullopt;
    }
    Answer answer{std::move(*text), 0, {}};
    for (const auto element : citations) {
        simdjson::dom::object one;
        Citation citation;
        if (element.get(one) != simdjson::SUCCESS || !readNumber(one, "timeMs", citation.timeMs)) {
            return std::nullopt;
        }
        const auto task = textIn(one, "taskId");
        if (!task) {
            return std::nullopt;
        }
        citation.taskId = Identifier(*task);
        answer.totalMs += citation.timeMs;
        answer.citations.push_back(citation);
    }
    return answer;
}

}  // namespace tolvik
