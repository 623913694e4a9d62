#pragma once

// A device's side of sync on real storage, threads and main loop, for programs that measure it.

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "adapters/asio/asio_main_loop.h"
#include "adapters/sqlite/sqlite_value_store.h"
#include "adapters/system/system_clock.h"
#include "adapters/system/system_random.h"
#include "adapters/system/thread_workers.h"
#include "base/zone.h"
#include "sync/sync_service.h"
#include "tests/fakes/fake_secret_store.h"

namespace tolvik::bench {

using Steady = std::chrono::steady_clock;

inline double millisecondsSince(Steady::time_point start) {
    return std::chrono::duration<double, std::milli>(Steady::now() - start).count();
}

/// Times every call on the loop.
class TimedLoop final : public MainLoop {
public:
    explicit TimedLoop(MainLoop& loop) : loop_(loop) {}
    void post(std::function<void()> call) override { loop_.post(timed(longestPosted, std::move(call))); }
    [[nodiscard]] Timer after(Millis delay, std::function<void()> call) override {
        return loop_.after(delay, timed(longestDelayed, std::move(call)));
    }
    [[nodiscard]] double longest() const { return std::max(longestPosted, longestDelayed); }
    void forget() { longestPosted = longestDelayed = 0; }
    /// In milliseconds: of what came from a worker or the network, and of what was put off.
    double longestPosted = 0;
    double longestDelayed = 0;

private:
    std::function<void()> timed(double& longest, std::function<void()> call) {
        return [&longest, call = std::move(call)] {
            const auto start = Steady::now();
            call();
            longest = std::max(longest, millisecondsSince(start));
        };
    }
    MainLoop& loop_;
};

struct Device {
    /// Signed in with this token to the server at this address. The client is made of the loop.
    template <class MakeClient>
    Device(const std::filesystem::path& folder, const std::string& address, const std::string& token,
           MakeClient&& makeClient)
        : endpoint([address] { return std::optional(address); }),
          http(makeClient(loop)),
          values((folder / "tolvik.sqlite").string(), {.fileSystem = std::nullopt, .checkpointOnClose = true}),
          outbox({values, clock, random, loop, workers, folder.string()}),
          dictionary({values, clock, random, loop, outbox, stream, &outbox}),
          store({values,
                 clock,
                 zone,
                 random,
                 loop,
                 outbox,
                 stream,
                 [] { return std::optional<Identifier>(); },
                 [] { return true; },
                 {}}),
          service({*http, endpoint, session, clock, zone, loop, workers, outbox, store, dictionary, stream}) {
        if (!session.establish(token, "u", "a@example.org", "")) {
            std::abort();
        }
    }

    SystemClock clock;
    NamedTimeZone zone{"Europe/Helsinki"};
    SystemRandom random;
    AsioMainLoop asio;
    TimedLoop loop{asio};
    ThreadWorkers workers;
    BackendEndpoint endpoint;
    std::unique_ptr<tolvik::HttpClient> http;
    SqliteValueStore values;
    FakeSecretStore secrets;
    Session session{values, secrets};
    SseStream stream{{*http, endpoint, session, clock, random, loop}};
    SyncOutbox outbox;
    DictionaryManager dictionary;
    AppStore store;
    SyncService service;
};

}  // namespace tolvik::bench
