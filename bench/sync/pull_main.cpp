// Figures of the device's side of sync, on real storage, threads and main loop; the server's answers are made
// beforehand. `sync_figures [ENTRIES]`: a first pull of everything, the same again, one change, and 1,000 operations.

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <fmt/format.h>

#include "adapters/asio/asio_main_loop.h"
#include "adapters/sqlite/sqlite_value_store.h"
#include "adapters/system/system_clock.h"
#include "adapters/system/system_random.h"
#include "adapters/system/thread_workers.h"
#include "base/zone.h"
#include "bench/log/bench_log.h"
#include "sync/sync_service.h"
#include "tests/fakes/fake_secret_store.h"

namespace tolvik {
namespace {

using Steady = std::chrono::steady_clock;

double millisecondsSince(Steady::time_point start) {
    return std::chrono::duration<double, std::milli>(Steady::now() - start).count();
}

/// Times every call on the loop.
class TimedLoop final : public MainLoop {
public:
    explicit TimedLoop(MainLoop& loop) : loop_(loop) {}
    void post(std::function<void()> call) override { loop_.post(timed(std::move(call))); }
    [[nodiscard]] Timer after(Millis delay, std::function<void()> call) override {
        return loop_.after(delay, timed(std::move(call)));
    }
    double longest = 0;

private:
    std::function<void()> timed(std::function<void()> call) {
        return [this, call = std::move(call)] {
            const auto start = Steady::now();
            call();
            longest = std::max(longest, millisecondsSince(start));
        };
    }
    MainLoop& loop_;
};

/// Answers each request on the loop, handing the body over uncopied as the real client does.
class ReadyClient final : public HttpClient {
public:
    explicit ReadyClient(MainLoop& loop) : loop_(loop) {}
    [[nodiscard]] std::unique_ptr<HttpExchange> send(HttpRequest, Done done) override {
        auto exchange = std::make_unique<Handle>();
        auto answer = std::make_shared<HttpResponse>(HttpResponse{200, {}, body});
        loop_.post([answer, done = std::move(done), weak = std::weak_ptr(exchange->alive)] {
            if (weak.lock()) {
                done(std::move(*answer));
            }
        });
        return exchange;
    }
    [[nodiscard]] std::unique_ptr<HttpExchange> stream(HttpRequest, StreamHandlers) override {
        return std::make_unique<Handle>();
    }
    std::string body;

private:
    struct Handle final : HttpExchange {
        std::shared_ptr<int> alive = std::make_shared<int>(0);
    };
    MainLoop& loop_;
};

std::string answerOf(const WholeLog& log) {
    std::string out = R"({"tasks":)";
    appendRecords(out, log.tasks);
    out += R"(,"timeEntries":)";
    appendRecords(out, log.timeEntries);
    out += R"(,"switchLogs":)";
    appendRecords(out, log.switchLogs);
    out += R"(,"tags":)";
    appendRecords(out, log.tags);
    return out + R"(,"dictionaries":[],"deleted":[]})";
}

struct Device {
    explicit Device(const std::filesystem::path& folder)
        : values((folder / "tolvik.sqlite").string(), {.fileSystem = std::nullopt, .checkpointOnClose = true}),
          outbox({values, clock, random, loop, workers, folder.string()}),
          dictionary({values, clock, random, loop, outbox, stream}),
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
          service({http, endpoint, session, clock, zone, loop, workers, outbox, store, dictionary, stream}) {
        if (!session.establish("t", "u", "a@example.org", "")) {
            std::abort();
        }
    }

    /// Milliseconds until the pull was merged, and what it did.
    PullOutcome pull(const std::string& answer, double& milliseconds) {
        http.body = answer;
        loop.longest = 0;
        std::optional<PullOutcome> outcome;
        const auto start = Steady::now();
        service.pullAll([&](const auto& result) { outcome = result.value(); });
        asio.runUntil([&] { return outcome.has_value(); }, Millis{60'000});
        milliseconds = millisecondsSince(start);
        // What is written late.
        asio.runUntil([] { return false; }, Millis{3000});
        return outcome.value();
    }

    SystemClock clock;
    NamedTimeZone zone{"Europe/Helsinki"};
    SystemRandom random;
    AsioMainLoop asio;
    TimedLoop loop{asio};
    ThreadWorkers workers;
    SqliteValueStore values;
    FakeSecretStore secrets;
    Session session{values, secrets};
    BackendEndpoint endpoint{[] { return std::optional<std::string>("https://bench"); }};
    ReadyClient http{loop};
    SseStream stream{{http, endpoint, session, clock, random, loop}};
    SyncOutbox outbox;
    DictionaryManager dictionary;
    AppStore store;
    SyncService service;
};

int run(std::size_t entries) {
    const ScratchFolder folder;
    LogSize size;
    size.entries = entries;
    Device device(folder.path);
    WholeLog log = makeLog(device.clock.now(), size);
    const std::string answer = answerOf(log);
    const auto report = [&](const char* what, const std::string& body) {
        double milliseconds = 0;
        const PullOutcome outcome = device.pull(body, milliseconds);
        fmt::print("{:<28} {:6.0f} ms, main thread at most {:5.1f} ms, {} records changed\n", what, milliseconds,
                   device.loop.longest, outcome.changed);
    };
    fmt::print("{} entries, {} bytes\n", log.timeEntries.size(), answer.size());
    report("first pull", answer);
    report("the same again", answer);
    log.tasks.front().title = "renamed elsewhere";
    report("one change", answerOf(log));

    device.http.body = "{}";
    constexpr int operations = 1000;
    const auto start = Steady::now();
    for (int i = 0; i < operations / 4; ++i) {
        device.dictionary.addTerm(fmt::format("term {}", i), "");
        device.dictionary.addTerm(fmt::format("other {}", i), "");
        device.store.createProject(fmt::format("project {}", i));
        device.store.renameProject(device.store.tags().back().id, fmt::format("renamed {}", i));
    }
    const double made = millisecondsSince(start);
    device.asio.runUntil([&] { return device.outbox.pendingCount() == 0; }, Millis{60'000});
    fmt::print("{} operations: made in {:.0f} ms, sent after {:.0f} ms more, {} left\n", operations, made,
               millisecondsSince(start) - made, device.outbox.pendingCount());
    return 0;
}

}  // namespace
}  // namespace tolvik

int main(int argc, char** argv) {
    return tolvik::run(argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 100'000);
}
