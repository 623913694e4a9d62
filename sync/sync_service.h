#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "backend/endpoint.h"
#include "backend/http_client.h"
#include "backend/session.h"
#include "base/clock.h"
#include "base/main_loop.h"
#include "base/subscription.h"
#include "core/app_store.h"
#include "dictionary/dictionary_manager.h"
#include "sync/sse_stream.h"
#include "sync/sync_outbox.h"

namespace tolvik {

/// Why a pull brought nothing.
struct SyncError {
    enum class Kind : std::uint8_t {
        notAuthenticated,  ///< there is no token
        invalidUrl,        ///< the address cannot be used, or may not carry the token
        httpError,         ///< another answer than 200, or one that does not decode
    };
    Kind kind = Kind::httpError;
    /// The answer's status; 0 when there was none.
    int status = 0;

    bool operator==(const SyncError&) const = default;
};

/// Brings the server's records here: everything at start, sign-in and reconnection, the last two days when the stream
/// announces a change and when the queue has become empty, any range when asked. One pull at a time; decoding and
/// comparing run on a worker. After each pull the queue is flushed. Main loop only.
class SyncService {
public:
    /// Everything outlives the service.
    struct Ports {
        HttpClient& http;
        const BackendEndpoint& endpoint;
        Session& session;
        const Clock& clock;
        const TimeZone& timeZone;
        MainLoop& loop;
        Workers& workers;
        SyncOutbox& outbox;
        AppStore& store;
        DictionaryManager& dictionary;
        SseStream& stream;
    };

    /// Connects outbox, store and stream with one another; nothing is sent before `start`.
    explicit SyncService(Ports ports);
    SyncService(const SyncService&) = delete;
    SyncService& operator=(const SyncService&) = delete;
    ~SyncService();

    /// With a session: sends, pulls and listens. For processes that live on; `withStream` false for others.
    void start(bool withStream = true);
    /// A session was established just now: makes log, vocabulary and queue those of its user, then as `start`. On
    /// failure nothing was changed and nothing is sent.
    [[nodiscard]] Result<void, StoreError> userSignedIn(bool withStream = true);
    /// The session is over: nothing more is asked or sent. The log stays.
    void userSignedOut();
    /// The application became active or the machine woke.
    void becameActive();

    using Done = std::function<void(Result<PullOutcome, SyncError>)>;
    void pullAll(Done done = {});
    /// Days inclusive.
    void pullRange(DayKey from, DayKey to, Done done = {});
    /// Yesterday and today.
    void pullRecent(Done done = {});

    /// True while a pull runs or waits.
    [[nodiscard]] bool isPulling() const;
    /// After each pull that was merged.
    Subscription onPulled(std::function<void()> callback);

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace tolvik
