#include "server/api/replies.h"

#include <algorithm>
#include <utility>

#include "base/json_writer.h"

namespace tolvik::server {

Response json(std::string body, int status) {
    return {status, {{"content-type", "application/json"}, {"cache-control", "no-store"}}, std::move(body)};
}

Response done() {
    return json("{}");
}

Response problem(int status, std::string_view code, std::string_view text) {
    std::string body;
    {
        JsonObjectWriter out(body);
        out.text("error", text);
        out.text("code", code);
    }
    return json(std::move(body), status);
}

Response badRequest(std::string_view text) {
    return problem(400, "bad_request", text);
}

Response unauthorized() {
    return problem(401, "unauthorized", "The session is over. Sign in again.");
}

Response tooMany(std::int64_t seconds) {
    Response out = problem(429, "too_many_requests", "Too many requests. Please wait a moment and try again.");
    out.headers.emplace_back("Retry-After", std::to_string(std::max<std::int64_t>(seconds, 1)));
    return out;
}

std::string_view Request::header(std::string_view name) const {
    for (const auto& [key, value] : headers) {
        if (key == name) {
            return value;
        }
    }
    return {};
}

}  // namespace tolvik::server
