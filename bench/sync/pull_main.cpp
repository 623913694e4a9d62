// Figures of the device's side of sync, on real storage, threads and main loop; the server's answers are made
// beforehand. `sync_figures [ENTRIES]`: a first pull of everything, the same again, and one change.

#include <cstdlib>
#include <fmt/format.h>

#include "bench/log/bench_log.h"
#include "bench/sync/bench_device.h"

namespace tolvik::bench {
namespace {

/// Answers each request on the loop, handing the body over uncopied as the real client does.
class ReadyClient final : public tolvik::HttpClient {
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

/// Milliseconds until the pull was merged, and what it did.
PullOutcome pull(Device& device, const std::string& answer, double& milliseconds) {
    dynamic_cast<ReadyClient&>(*device.http).body = answer;
    device.loop.forget();
    std::optional<PullOutcome> outcome;
    const auto start = Steady::now();
    device.service.pullAll([&](const auto& result) { outcome = result.value(); });
    device.asio.runUntil([&] { return outcome.has_value(); }, Millis{60'000});
    milliseconds = millisecondsSince(start);
    // What is written late.
    device.asio.runUntil([] { return false; }, Millis{3000});
    return outcome.value();
}

int run(std::size_t entries) {
    const ScratchFolder folder;
    LogSize size;
    size.entries = entries;
    Device device(folder.path, "https://bench", "t",
                  [](MainLoop& loop) { return std::make_unique<ReadyClient>(loop); });
    WholeLog log = makeLog(device.clock.now(), size);
    const std::string answer = answerOf(log);
    const auto report = [&](const char* what, const std::string& body) {
        double milliseconds = 0;
        const PullOutcome outcome = pull(device, body, milliseconds);
        fmt::print("{:<28} {:6.0f} ms, main thread at most {:5.1f} ms (put off {:5.1f} ms), {} records changed\n", what,
                   milliseconds, device.loop.longestPosted, device.loop.longestDelayed, outcome.changed);
    };
    fmt::print("{} entries, {} bytes\n", log.timeEntries.size(), answer.size());
    report("first pull", answer);
    report("the same again", answer);
    log.tasks.front().title = "renamed elsewhere";
    report("one change", answerOf(log));

    return 0;
}

}  // namespace
}  // namespace tolvik::bench

int main(int argc, char** argv) {
    return tolvik::bench::run(argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 100'000);
}
