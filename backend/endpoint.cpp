#include "backend/endpoint.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <spdlog/spdlog.h>
#include <utility>

#include "base/json_reader.h"
#include "base/json_writer.h"
#include "base/text.h"

namespace tolvik {
namespace {

constexpr std::size_t kMaxErrorBody = 1'000'000;

bool isUrlCharacter(char c) {
    constexpr std::string_view others = "-._~:/?#@!$&'()*+,;=%";
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
           others.find(c) != std::string_view::npos;
}

bool hasGoodEscapes(std::string_view text) {
    const auto isHex = [](char c) { return std::isxdigit(static_cast<unsigned char>(c)) != 0; };
    for (std::size_t at = text.find('%'); at != std::string_view::npos; at = text.find('%', at + 1)) {
        if (at + 2 >= text.size() || !isHex(text[at + 1]) || !isHex(text[at + 2])) {
            return false;
        }
    }
    return true;
}

/// "host", "host:port", "[::1]:port", with or without a user before it.
bool isAuthority(std::string_view authority) {
    if (const auto at = authority.rfind('@'); at != std::string_view::npos) {
        if (!std::ranges::all_of(authority.substr(0, at), isUrlCharacter)) {
            return false;
        }
        authority.remove_prefix(at + 1);
    }
    if (authority.starts_with('[')) {
        const auto end = authority.find(']');
        if (end == std::string_view::npos || end == 1 || !std::ranges::all_of(authority.substr(1, end - 1), [](char c) {
                return c == ':' || c == '.' || std::isxdigit(static_cast<unsigned char>(c)) != 0;
            })) {
            return false;
        }
        authority.remove_prefix(end + 1);
    } else {
        const auto colon = authority.find(':');
        const auto host = authority.substr(0, colon);
        if (host.empty() || !std::ranges::all_of(host, isUrlCharacter)) {
            return false;
        }
        authority = colon == std::string_view::npos ? std::string_view() : authority.substr(colon);
    }
    return authority.empty() || (authority.starts_with(':') && authority.size() <= 6 &&
                                 std::ranges::all_of(authority.substr(1), [](char c) { return c >= '0' && c <= '9'; }));
}

std::optional<std::string> textMember(simdjson::dom::object object, std::string_view key) {
    std::string_view text;
    if (object.at_key(key).get(text) != simdjson::SUCCESS) {
        return std::nullopt;
    }
    return std::string(text);
}

}  // namespace

bool isUrl(std::string_view text) {
    if (text.empty() || !hasGoodEscapes(text)) {
        return false;
    }
    const auto colon = text.find("://");
    // A colon further behind belongs to path or query.
    if (colon == std::string_view::npos || text.substr(0, colon).find_first_of("/?#") != std::string_view::npos) {
        return std::ranges::all_of(text, isUrlCharacter);
    }
    const auto rest = text.substr(colon + 3);
    const auto end = std::min(rest.find_first_of("/?#"), rest.size());
    const bool hasScheme =
        colon > 0 && std::isalpha(static_cast<unsigned char>(text.front())) != 0 &&
        std::ranges::all_of(text.substr(0, colon), [](char c) {
            return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '+' || c == '-' || c == '.';
        });
    return hasScheme && isAuthority(rest.substr(0, end)) && std::ranges::all_of(rest.substr(end), isUrlCharacter);
}

bool isHttps(std::string_view base) {
    return base.starts_with("https://");
}

BackendEndpoint::BackendEndpoint(Configured configured) : configured_(std::move(configured)) {}

bool BackendEndpoint::isConfigured() const {
    const auto base = configured_();
    return base && !base->empty();
}

std::string BackendEndpoint::baseUrl() const {
    if (auto base = configured_(); base && !base->empty()) {
        return std::move(*base);
    }
    spdlog::critical("[Tolvik] FATAL: TOLVIK_BACKEND_URL is not set in Info.plist; backend requests will fail");
    return {};
}

namespace {

Result<HttpRequest, RequestRefusal> formed(const std::string& base, RequestDraft draft) {
    HttpRequest request;
    request.method = std::move(draft.method);
    request.url = base + draft.path;
    if (!isUrl(request.url)) {
        return failure(RequestRefusal::invalidUrl);
    }
    if (draft.body) {
        request.headers.emplace_back("content-type", "application/json");
    }
    if (draft.namesClient) {
        request.headers.emplace_back("x-client", "macos");
    }
    std::ranges::move(draft.headers, std::back_inserter(request.headers));
    request.body = std::move(draft.body);
    request.timeout = draft.timeout;
    return request;
}

}  // namespace

Result<HttpRequest, RequestRefusal> anonymousRequest(const BackendEndpoint& endpoint, RequestDraft draft) {
    return formed(endpoint.baseUrl(), std::move(draft));
}

Result<AuthorisedRequest, RequestRefusal> authorisedRequest(const BackendEndpoint& endpoint, Session& session,
                                                            RequestDraft draft) {
    auto token = session.currentToken();
    if (!token) {
        return failure(RequestRefusal::notSignedIn);
    }
    const std::string base = endpoint.baseUrl();
    auto request = formed(base, std::move(draft));
    if (!request) {
        return failure(request.error());
    }
    if (!isHttps(base)) {
        return failure(RequestRefusal::insecure);
    }
    addAuthorization(*request, *token);
    return AuthorisedRequest{std::move(*request), std::move(*token)};
}

void addAuthorization(HttpRequest& request, std::string_view token) {
    request.headers.emplace_back("authorization", "Bearer " + std::string(token));
}

std::string timezoneOffsetHeader(const TimeZone& zone, const Clock& clock, std::optional<std::string_view> day) {
    const auto given = day ? DayKey::parse(*day) : std::nullopt;
    const Instant at = given ? zone.startOf(*given) : clock.now();
    return std::to_string(-zone.offsetMinutes(at));
}

std::optional<std::int64_t> retryAfterSeconds(const HttpHeaders& headers) {
    auto value = findHeader(headers, "retry-after");
    if (!value) {
        return std::nullopt;
    }
    const auto first = value->find_first_not_of(" \t");
    if (first == std::string_view::npos) {
        return std::nullopt;
    }
    std::string_view number = value->substr(first, value->find_last_not_of(" \t") - first + 1);
    const bool plus = number.starts_with('+');
    number.remove_prefix(plus ? 1 : 0);
    if (plus && number.starts_with('-')) {
        return std::nullopt;
    }
    std::int64_t seconds = 0;
    const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), seconds);
    return error == std::errc() && end == number.data() + number.size() ? std::optional(seconds) : std::nullopt;
}

ServerMessage readServerMessage(std::string_view body) {
    // A hostile body is read no further than a real one reaches.
    JsonReader reader({.bytes = kMaxErrorBody});
    const auto object = reader.readObject(body);
    if (!object) {
        return {};
    }
    return {textMember(*object, "error"), textMember(*object, "code")};
}

std::string briefServerMessage(std::string_view body) {
    constexpr std::size_t longest = 200;
    const auto message = readServerMessage(body).error;
    return message ? firstGraphemes(*message, longest) : "request failed";
}

std::string jsonObject(const std::vector<std::pair<std::string_view, std::string_view>>& members) {
    std::string out;
    {
        JsonObjectWriter json(out);
        for (const auto& [key, value] : members) {
            json.text(key, value);
        }
    }
    return out;
}

}  // namespace tolvik
