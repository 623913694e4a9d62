#pragma once

#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "server/api/server_app.h"
#include "server/storage/transaction.h"

namespace tolvik::server {

/// What the handlers share. Any thread.
struct AppState {
    AppState(ServerPorts givenPorts, ServerOptions givenOptions);
    AppState(const AppState&) = delete;
    AppState& operator=(const AppState&) = delete;
    ~AppState();

    ServerPorts ports;
    ServerOptions options;
    std::mutex randomGuard;

    std::mutex parserGuard;
    std::unique_ptr<LocalVoiceParser> ownParser;

    /// Uses of a limit that is not worth a write: of this instance, forgotten at its end.
    struct Window {
        Instant until;
        std::int64_t used = 0;
    };
    std::mutex readsGuard;
    std::unordered_map<std::int64_t, Window> reads;

    /// Chance, one caller at a time.
    template <class Make>
    [[nodiscard]] auto draw(const Make& make) {
        const std::scoped_lock lock(randomGuard);
        return make(ports.random);
    }
    [[nodiscard]] const LocalVoiceParser& parser();
    /// Counts a reading request of an account; the answer when there were too many.
    [[nodiscard]] std::optional<Response> countRead(std::int64_t account, Instant now);
};

/// One request on its way through its handler.
struct Context {
    const Request& request;
    Transaction& transaction;
    AppState& app;
    /// Taken once for the whole request.
    Instant now;
    /// Whose request it is; empty on routes without a token.
    SessionRow session = {};
    /// The token's hash, on routes with one.
    std::string tokenHash = {};
    /// The last part of a path that names a record.
    std::string_view id = {};
};

using Handler = Outcome (*)(Context&);

Outcome sendCode(Context& context);
Outcome verifyCode(Context& context);
Outcome logOut(Context& context);
Outcome changeMe(Context& context);
Outcome deleteMe(Context& context);
Outcome putProfile(Context& context);

template <RecordKind kind>
Outcome postRecord(Context& context);
template <RecordKind kind>
Outcome patchRecord(Context& context);
template <RecordKind kind>
Outcome deleteRecord(Context& context);

Outcome pull(Context& context);
Outcome transcribe(Context& context);
Outcome parseSentence(Context& context);
Outcome takeEvents(Context& context);
Outcome takeVoiceEvents(Context& context);
Outcome dailySummary(Context& context);
Outcome rangeNarrative(Context& context);
Outcome answerQuery(Context& context);

/// The hash under which a token is kept; none when the request carries none.
[[nodiscard]] std::optional<std::string> tokenHashOf(const Request& request);

/// Counts a use of `name`; the answer when there were more than `most` in the window.
[[nodiscard]] std::optional<Response> overLimit(Context& context, std::string_view name, std::int64_t most,
                                                Millis window);

}  // namespace tolvik::server
