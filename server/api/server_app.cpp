#include "server/api/server_app.h"

#include <algorithm>
#include <array>
#include <utility>

#include "server/api/handlers.h"
#include "server/api/hash.h"
#include "server/api/record_form.h"
#include "server/api/replies.h"
#include "voice/parse/local_voice_parser.h"

namespace tolvik::server {
namespace {

constexpr std::size_t smallBody = 4096;
/// Two texts of the greatest length in any script fit.
constexpr std::size_t recordBody = std::size_t{128} * 1024;
constexpr std::size_t eventBody = std::size_t{2} * 1024 * 1024;
/// A minute of uncompressed speech fits.
constexpr std::size_t audioBody = std::size_t{16} * 1024 * 1024;
constexpr std::size_t sentenceBody = std::size_t{512} * 1024;

/// Devices resend for as long as their owner lets them; nobody's lies asleep for longer.
constexpr Millis operationsKept{std::chrono::hours{24} * 180};

struct Route {
    std::string_view method;
    /// "{id}" at the end stands for the id of a record.
    std::string_view pattern;
    RouteKind kind;
    std::size_t bodyLimit;
    bool needsToken;
    Handler handler;
};

template <RecordKind kind>
constexpr Route posting(std::string_view path) {
    return {"POST", path, RouteKind::write, recordBody, true, postRecord<kind>};
}
template <RecordKind kind>
constexpr Route patching(std::string_view path) {
    return {"PATCH", path, RouteKind::write, recordBody, true, patchRecord<kind>};
}
template <RecordKind kind>
constexpr Route deleting(std::string_view path) {
    return {"DELETE", path, RouteKind::write, smallBody, true, deleteRecord<kind>};
}

constexpr std::array routes{
    Route{"POST", "/auth/otp/send", RouteKind::write, smallBody, false, sendCode},
    Route{"POST", "/auth/otp/verify", RouteKind::write, smallBody, false, verifyCode},
    Route{"POST", "/auth/logout", RouteKind::write, smallBody, false, logOut},
    Route{"PUT", "/auth/me", RouteKind::write, smallBody, true, changeMe},
    Route{"DELETE", "/auth/me", RouteKind::write, smallBody, true, deleteMe},
    Route{"POST", "/profile", RouteKind::write, smallBody, true, putProfile},
    posting<RecordKind::task>("/tasks"),
    patching<RecordKind::task>("/tasks/{id}"),
    deleting<RecordKind::task>("/tasks/{id}"),
    posting<RecordKind::timeEntry>("/time-entries"),
    patching<RecordKind::timeEntry>("/time-entries/{id}"),
    deleting<RecordKind::timeEntry>("/time-entries/{id}"),
    posting<RecordKind::switchLog>("/switch-logs"),
    patching<RecordKind::switchLog>("/switch-logs/{id}"),
    deleting<RecordKind::switchLog>("/switch-logs/{id}"),
    posting<RecordKind::tag>("/tags"),
    patching<RecordKind::tag>("/tags/{id}"),
    deleting<RecordKind::tag>("/tags/{id}"),
    posting<RecordKind::dictionary>("/dictionaries"),
    deleting<RecordKind::dictionary>("/dictionaries/{id}"),
    Route{"GET", "/sync/pull", RouteKind::read, smallBody, true, pull},
    Route{"GET", "/sync/stream", RouteKind::stream, smallBody, true, nullptr},
    Route{"POST", "/voice/transcribe", RouteKind::slow, audioBody, true, transcribe},
    Route{"POST", "/voice/parse", RouteKind::slow, sentenceBody, true, parseSentence},
    Route{"POST", "/analytics/ingest", RouteKind::write, eventBody, true, takeEvents},
    Route{"POST", "/analytics/voice", RouteKind::write, eventBody, true, takeVoiceEvents},
    Route{"GET", "/ai/summary/daily", RouteKind::read, smallBody, true, dailySummary},
    Route{"GET", "/ai/reports/narrative", RouteKind::read, smallBody, true, rangeNarrative},
    Route{"POST", "/ai/query", RouteKind::read, smallBody, true, answerQuery},
};

struct Found {
    const Route* route = nullptr;
    std::string_view id;
    /// The methods of a path that is known with other methods only, for example "PATCH, DELETE".
    std::string others;
};

Found find(std::string_view method, std::string_view path) {
    constexpr std::string_view placeholder = "{id}";
    Found out;
    for (const Route& route : routes) {
        std::string_view id;
        if (route.pattern.ends_with(placeholder)) {
            const auto prefix = route.pattern.substr(0, route.pattern.size() - placeholder.size());
            id = path.starts_with(prefix) ? path.substr(prefix.size()) : std::string_view();
            if (id.empty() || id.contains('/')) {
                continue;
            }
        } else if (route.pattern != path) {
            continue;
        }
        if (route.method == method) {
            return {&route, id, {}};
        }
        out.others += (out.others.empty() ? "" : ", ") + std::string(route.method);
    }
    return out;
}

}  // namespace

struct ServerApp::Impl : AppState {
    using AppState::AppState;
};

AppState::AppState(ServerPorts givenPorts, ServerOptions givenOptions)
    : ports(givenPorts), options(std::move(givenOptions)) {}

AppState::~AppState() = default;

const LocalVoiceParser& AppState::parser() {
    if (ports.parser != nullptr) {
        return *ports.parser;
    }
    const std::scoped_lock lock(parserGuard);
    if (!ownParser) {
        ownParser = std::make_unique<LocalVoiceParser>();
    }
    return *ownParser;
}

std::optional<Response> AppState::countRead(std::int64_t account, Instant now) {
    constexpr Millis length{60'000};
    constexpr std::int64_t most = 600;
    constexpr std::size_t mostWindows = 100'000;
    const std::scoped_lock lock(readsGuard);
    if (reads.size() > mostWindows) {
        std::erase_if(reads, [&](const auto& one) { return one.second.until <= now; });
    }
    Window& window = reads[account];
    if (window.until <= now) {
        window = {now + length, 0};
    }
    if (++window.used > most) {
        return tooMany((window.until - now).count() / 1000 + 1);
    }
    return std::nullopt;
}

std::optional<std::string> tokenHashOf(const Request& request) {
    constexpr std::string_view scheme = "Bearer ";
    constexpr std::size_t longest = 512;
    const std::string_view header = request.header("authorization");
    if (!header.starts_with(scheme) || header.size() == scheme.size() || header.size() > longest) {
        return std::nullopt;
    }
    return sha256(header.substr(scheme.size()));
}

std::optional<Response> overLimit(Context& context, std::string_view name, std::int64_t most, Millis window) {
    const UseCount count = context.transaction.countUse(name, context.now, window);
    if (count.used <= most) {
        return std::nullopt;
    }
    return tooMany((count.until - context.now).count() / 1000 + 1);
}

ServerApp::ServerApp(ServerPorts ports, ServerOptions options)
    : impl_(std::make_unique<Impl>(ports, std::move(options))) {}

ServerApp::~ServerApp() = default;

RouteInfo ServerApp::route(std::string_view method, std::string_view path) {
    const Found found = find(method, path);
    if (found.route == nullptr) {
        return {};
    }
    return {found.route->kind, found.route->bodyLimit, found.route->pattern};
}

std::vector<std::pair<std::string_view, std::string_view>> ServerApp::routes() {
    std::vector<std::pair<std::string_view, std::string_view>> out;
    out.reserve(server::routes.size());
    for (const Route& one : server::routes) {
        out.emplace_back(one.method, one.pattern);
    }
    return out;
}

Outcome ServerApp::handle(const Request& request, Transaction& transaction) {
    const Found found = find(request.method, request.path);
    if (found.route == nullptr) {
        if (found.others.empty()) {
            return {problem(404, "not_found", "There is nothing at this address.")};
        }
        Outcome out{problem(405, "method_not_allowed", "This address does not take that method.")};
        out.response.headers.emplace_back("allow", found.others);
        return out;
    }
    if (found.route->handler == nullptr) {
        return {problem(400, "bad_request", "This address gives a stream.")};
    }
    if (request.body.size() > found.route->bodyLimit) {
        return {problem(413, "too_large", "The request is too large.")};
    }
    Context context{request, transaction, *impl_, impl_->ports.clock.now()};
    context.id = found.id;
    if (found.route->needsToken) {
        const auto hash = tokenHashOf(request);
        const auto session = hash ? transaction.session(*hash) : std::nullopt;
        if (!session) {
            return {unauthorized()};
        }
        context.session = *session;
        context.tokenHash = *hash;
    }
    return found.route->handler(context);
}

Result<Caller, Response> ServerApp::caller(const Request& request, Transaction& transaction) {
    const auto hash = tokenHashOf(request);
    const auto session = hash ? transaction.session(*hash) : std::nullopt;
    if (!session) {
        return failure(unauthorized());
    }
    return Caller{session->userId, session->deviceId};
}

Response ServerApp::unavailable() {
    Response out = problem(503, "unavailable", "The server cannot reach its database. Try again in a moment.");
    out.headers.emplace_back("Retry-After", "5");
    return out;
}

std::vector<Outcome> ServerApp::serve(Storage& storage, std::span<const Request> requests) {
    std::vector<Outcome> out(requests.size());
    std::vector<Storage::Work> units;
    std::vector<std::size_t> indexes;
    for (std::size_t i = 0; i < requests.size(); ++i) {
        const auto run = [this, &out, &requests, i](Transaction& transaction) {
            out[i] = handle(requests[i], transaction);
        };
        const RouteKind kind = route(requests[i].method, requests[i].path).kind;
        if (kind == RouteKind::write || kind == RouteKind::slow) {
            units.emplace_back(run);
            indexes.push_back(i);
        } else if (const auto read = storage.read(run); !read) {
            out[i] = Outcome{unavailable()};
        }
    }
    if (!units.empty()) {
        const auto results = storage.transact(units);
        for (std::size_t i = 0; i < results.size(); ++i) {
            if (!results[i]) {
                out[indexes[i]] = Outcome{unavailable()};
            }
        }
    }
    return out;
}

void ServerApp::tidy(Transaction& transaction) {
    const Instant now = impl_->ports.clock.now();
    transaction.tidy(now, now - operationsKept);
}

}  // namespace tolvik::server
