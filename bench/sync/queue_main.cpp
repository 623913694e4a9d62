// How long a device needs for what it owes a real server: `queue_figures SERVER [OPERATIONS]` starts that program with
// --dev over TLS, queues the operations while the line is down, and measures from the moment when it is up until the
// queue is empty and the server has everything.

#include <cstdlib>
#include <fmt/format.h>

#include "adapters/http/curl_http_client.h"
#include "bench/log/bench_log.h"
#include "bench/server/server_process.h"
#include "bench/sync/bench_device.h"

namespace tolvik::bench {
namespace {

std::string tokenOf(const std::string& fields) {
    constexpr std::string_view name = "Bearer ";
    const auto begin = fields.find(name) + name.size();
    return fields.substr(begin, fields.find('\r', begin) - begin);
}

int run(const std::string& program, int operations) {
    const ScratchFolder server;
    const ScratchFolder folder;
    ServerProcess process(program, server.path.string(), {}, true);
    const auto client = process.connect();
    const std::string token = tokenOf(process.signIn(*client, "bench@example.org", 1));
    ::setenv("SSL_CERT_FILE", process.authority().c_str(), 1);
    Device device(folder.path, fmt::format("https://localhost:{}", process.port()), token,
                  [](MainLoop& loop) { return std::make_unique<CurlHttpClient>(loop); });
    const auto start = Steady::now();
    for (int i = 0; i < operations / 4; ++i) {
        device.dictionary.addTerm(fmt::format("term {}", i), "");
        device.dictionary.addTerm(fmt::format("other {}", i), "");
        device.store.createProject(fmt::format("project {}", i));
        device.store.renameProject(device.store.tags().back().id, fmt::format("renamed {}", i));
    }
    // Requests are begun on the loop, which has not run: nothing was sent yet.
    fmt::print("{} operations made in {:.0f} ms\n", device.outbox.pendingCount(), millisecondsSince(start));
    device.loop.forget();
    const auto begin = Steady::now();
    const bool empty = device.asio.runUntil([&] { return device.outbox.pendingCount() == 0; }, Millis{120'000});
    const double sent = millisecondsSince(begin);
    std::optional<bool> pulled;
    device.service.pullAll([&](const auto& result) { pulled = result.has_value(); });
    device.asio.runUntil([&] { return pulled.has_value(); }, Millis{60'000});
    fmt::print("sent in {:.0f} ms, {} left, main thread at most {:.1f} ms; {} terms and {} projects on both\n", sent,
               device.outbox.pendingCount(), device.loop.longest(), device.dictionary.entries().size(),
               device.store.tags().size());
    return empty && pulled == true ? 0 : 1;
}

}  // namespace
}  // namespace tolvik::bench

int main(int argc, char** argv) {
    if (argc < 2) {
        fmt::print(stderr, "queue_figures SERVER [OPERATIONS]\n");
        return 2;
    }
    return tolvik::bench::run(argv[1], argc > 2 ? std::atoi(argv[2]) : 1000);
}
