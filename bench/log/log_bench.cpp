#include <algorithm>
#include <benchmark/benchmark.h>
#include <chrono>
#include <vector>

#include "bench/log/bench_log.h"

namespace tolvik {
namespace {

/// 100,000 entries over ten years, 5,000 tasks.
const std::filesystem::path& bigLog() {
    static const ScratchFolder folder;
    static const bool made = [] {
        writeLog(folder.path, FakeClock().now());
        return true;
    }();
    (void)made;
    return folder.path;
}

std::vector<Identifier> openTasks(const AppStore& store) {
    std::vector<Identifier> out;
    for (const TaskModel& task : store.tasks()) {
        if (task.isOpen()) {
            out.push_back(task.id);
        }
    }
    return out;
}

double medianMs(std::vector<double> times) {
    std::ranges::sort(times);
    return times.empty() ? 0 : times[times.size() / 2];
}

/// A switch as the desktop makes it: the store is open, the call returns when it is durable.
void switchTask(benchmark::State& state) {
    OpenLog log(bigLog());
    const auto tasks = openTasks(log.store);
    std::size_t next = 0;
    std::vector<double> times;
    std::vector<double> bytes;
    for (auto _ : state) {
        log.clock.advance(Millis{61'000});
        const auto before = bytesWritten();
        const auto begin = std::chrono::steady_clock::now();
        log.store.switchToTask(tasks[next++ % tasks.size()], ChangeSource::voice);
        const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - begin;
        times.push_back(took.count());
        bytes.push_back(static_cast<double>(bytesWritten() - before));
        state.SetIterationTime(took.count() / 1000);
    }
    double sum = 0;
    for (const double b : bytes) {
        sum += b;
    }
    state.counters["median_ms"] = medianMs(times);
    state.counters["median_bytes"] = medianMs(bytes);
    state.counters["mean_bytes"] = sum / static_cast<double>(std::max<std::size_t>(1, bytes.size()));
}
BENCHMARK(switchTask)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(400);

/// What one syncing write costs on this disk, to read the figure above by.
void syncedWrite(benchmark::State& state) {
    const ScratchFolder folder;
    SqliteValueStore values((folder.path / "small.sqlite").string());
    std::int64_t n = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(values.setInteger("n", ++n));
    }
}
BENCHMARK(syncedWrite)->Unit(benchmark::kMillisecond)->UseRealTime();

void loadWholeLog(benchmark::State& state) {
    for (auto _ : state) {
        OpenLog log(bigLog());
        benchmark::DoNotOptimize(log.store.timeEntries().size() + log.store.switchLogs().size());
    }
}
BENCHMARK(loadWholeLog)->Unit(benchmark::kMillisecond)->UseRealTime();

/// What one command does in a process of its own: open, change, end.
void openAndSwitch(benchmark::State& state) {
    std::vector<Identifier> tasks;
    {
        const OpenLog log(bigLog());
        tasks = openTasks(log.store);
    }
    std::size_t next = 0;
    std::int64_t minutes = 10'000;
    for (auto _ : state) {
        OpenLog log(bigLog(), false);
        log.clock.advance(std::chrono::minutes{++minutes});
        log.store.switchToTask(tasks[next++ % tasks.size()]);
        log.outbox.settle();
    }
}
BENCHMARK(openAndSwitch)->Unit(benchmark::kMillisecond)->UseRealTime();

void rebuildDayView(benchmark::State& state) {
    OpenLog log(bigLog());
    (void)log.store.timeEntries();
    (void)log.store.switchLogs();
    for (auto _ : state) {
        log.store.refresh();
        benchmark::DoNotOptimize(log.store.dayRows());
    }
}
BENCHMARK(rebuildDayView)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace tolvik

BENCHMARK_MAIN();
