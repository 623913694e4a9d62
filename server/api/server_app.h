#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/clock.h"
#include "base/result.h"
#include "server/api/message.h"
#include "server/api/ports.h"
#include "server/storage/storage.h"

namespace tolvik {
class LocalVoiceParser;
}

namespace tolvik::server {

/// How a request of a route is to be run.
enum class RouteKind : unsigned char {
    unknown,  ///< no such route: `handle` answers 404 or 405, in no transaction's need
    write,    ///< `handle` inside `Storage::transact`; quick
    read,     ///< `handle` inside `Storage::read`; may take a second for a long log
    slow,     ///< `handle` inside `Storage::transact`, then its `Outcome::slow` on a worker
    stream,   ///< the change stream: `caller` inside `Storage::read`; the network layer keeps it open
};

/// What has to be known of a request before its body is read.
struct RouteInfo {
    RouteKind kind = RouteKind::unknown;
    /// The longest body that is accepted, in bytes; more is answered with 413.
    std::size_t bodyLimit = 0;
    /// The route's pattern for logs and metrics, for example "/tasks/{id}"; never holds what was sent.
    std::string_view name = "unknown";
};

/// Whose request it is.
struct Caller {
    std::string userId;
    std::string deviceId;
};

/// Everything that the handlers need of the world. All must outlive the app.
struct ServerPorts {
    /// Any thread.
    const Clock& clock;
    /// Called by one thread at a time.
    Random& random;
    /// Null: nothing can be transcribed.
    Transcriber* transcriber = nullptr;
    /// Null: sentences are understood by phrases, titles and spelling alone.
    LanguageModel* languageModel = nullptr;
    /// Null: one without embeddings is made at the first use.
    const LocalVoiceParser* parser = nullptr;
};

struct ServerOptions {
    /// Mixed into what is stored of codes and peers, so that the database alone does not give them away. Instances
    /// that share a database must have the same one. May be empty.
    std::string pepper;
    /// How many codes a peer may ask for, and how many check, in a quarter of an hour.
    std::int64_t mostSignInsOfPeer = 100;
};

/// The server without its network: a request and a transaction in, an answer out. Same request, storage, clock and
/// chance: same answer. Any thread.
class ServerApp {
public:
    explicit ServerApp(ServerPorts ports, ServerOptions options = {});
    ServerApp(const ServerApp&) = delete;
    ServerApp& operator=(const ServerApp&) = delete;
    ~ServerApp();

    /// `method` and `path` as sent, without the query. HEAD is not GET.
    [[nodiscard]] static RouteInfo route(std::string_view method, std::string_view path);

    /// Methods and patterns of all routes.
    [[nodiscard]] static std::vector<std::pair<std::string_view, std::string_view>> routes();

    /// Answers one request in the transaction. When the transaction fails afterwards, `unavailable` is the answer and
    /// the outcome counts for nothing.
    [[nodiscard]] Outcome handle(const Request& request, Transaction& transaction);

    /// Whose request it is, by its token; otherwise the answer (401).
    [[nodiscard]] Result<Caller, Response> caller(const Request& request, Transaction& transaction);

    /// The answer when the database did not do it: 503 with Retry-After.
    [[nodiscard]] static Response unavailable();

    /// All of it for requests that are not streams: those that write share one transaction, the others are read in
    /// order. One outcome for each request.
    [[nodiscard]] std::vector<Outcome> serve(Storage& storage, std::span<const Request> requests);

    /// Forgets codes, rate limits and operation ids that have run out, a little at each call; to be called every few
    /// minutes inside `Storage::transact`.
    void tidy(Transaction& transaction);

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace tolvik::server
