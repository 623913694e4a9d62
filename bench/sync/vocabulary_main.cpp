// How long the main loop is held by an import of many terms and by its undo, on a real disk with the real queue:
// `vocabulary_figures [TERMS] [TERMS BEFORE]`. A call of the loop is measured from its beginning to its end.

#include <cstdlib>
#include <fmt/format.h>

#include "bench/log/bench_log.h"
#include "bench/sync/bench_device.h"
#include "tests/fakes/fake_http_client.h"

namespace tolvik::bench {
namespace {

std::string linesOf(int from, int count) {
    std::string lines;
    for (int i = from; i < from + count; ++i) {
        lines += fmt::format("Term number {} (hint of {})\n", i, i);
    }
    return lines;
}

int run(int count, int before) {
    const ScratchFolder folder;
    Device device(folder.path, "https://localhost:1", "token",
                  [](MainLoop& loop) { return std::make_unique<FakeHttpClient>(loop); });
    const auto settle = [&] { device.asio.runUntil([] { return false; }, Millis{1500}); };
    (void)device.dictionary.importEntries(linesOf(1'000'000, before));
    // Loads the queue, as the desktop does.
    fmt::print("{} operations wait, {} terms are there\n", device.outbox.pendingCount(),
               device.dictionary.entries().size());
    settle();

    const auto measure = [&](const char* what, const auto& act) {
        device.loop.forget();
        std::optional<Steady::time_point> ended;
        const auto start = Steady::now();
        act([&] { ended = Steady::now(); });
        const double begun = millisecondsSince(start);
        device.asio.runUntil([&] { return ended.has_value(); }, Millis{60'000});
        const double whole = std::chrono::duration<double, std::milli>(*ended - start).count();
        const double held = device.loop.longest();
        device.loop.forget();
        settle();
        fmt::print(
            "{}: call {:.1f} ms, loop held at most {:.1f} ms, all in {:.0f} ms; afterwards held at most {:.1f} ms\n",
            what, begun, held, whole, device.loop.longest());
    };
    std::vector<Identifier> ids;
    measure("import", [&](const auto& ended) {
        device.dictionary.importLater(device.workers, linesOf(0, count), std::nullopt, [&ids, ended](auto added) {
            ids = std::move(added);
            ended();
        });
    });
    measure("undo", [&](const auto& ended) { device.dictionary.deleteLater(device.workers, ids, ended); });

    double longest = 0;
    double sum = 0;
    constexpr int kSingle = 100;
    for (int i = 0; i < kSingle; ++i) {
        const auto start = Steady::now();
        (void)device.dictionary.addTerm(fmt::format("single {}", i), "");
        longest = std::max(longest, millisecondsSince(start));
        sum += millisecondsSince(start);
    }
    fmt::print("one more term: {:.2f} ms on average, {:.2f} ms at most\n", sum / kSingle, longest);
    return device.dictionary.entries().size() == static_cast<std::size_t>(before + kSingle) ? 0 : 1;
}

}  // namespace
}  // namespace tolvik::bench

int main(int argc, char** argv) {
    return tolvik::bench::run(argc > 1 ? std::atoi(argv[1]) : 10'000, argc > 2 ? std::atoi(argv[2]) : 0);
}
