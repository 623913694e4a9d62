#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include "bench/log/bench_log.h"
#include "reports/export_text.h"
#include "reports/pdf_report.h"
#include "reports/report_book.h"
#include "services/lazy_pdf_writer.h"
#include "services/paths.h"

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

ReportQuery yearOf(const AppStore& store) {
    return {ReportRange::year, daysOf(ReportRange::year, store.today(), 1), {}, 1};
}

/// The log is open, its entries of the year were never read.
void yearFirst(benchmark::State& state) {
    for (auto _ : state) {
        OpenLog log(bigLog());
        ReportBook book(log.store, log.clock, log.zone);
        const auto begin = std::chrono::steady_clock::now();
        const auto report = book.report(yearOf(log.store));
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
        state.SetIterationTime(took.count());
        state.counters["entries"] = static_cast<double>(report->entries.size());
    }
}
BENCHMARK(yearFirst)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(40);

/// The same after something changed: the entries are in memory.
void yearAfterChange(benchmark::State& state) {
    OpenLog log(bigLog());
    ReportBook book(log.store, log.clock, log.zone);
    const auto query = yearOf(log.store);
    (void)book.report(query);
    for (auto _ : state) {
        state.PauseTiming();
        log.clock.advance(Millis{1000});
        log.store.createProject("project");
        state.ResumeTiming();
        benchmark::DoNotOptimize(book.report(query));
    }
}
BENCHMARK(yearAfterChange)->Unit(benchmark::kMillisecond)->Iterations(40);

void yearRepeated(benchmark::State& state) {
    OpenLog log(bigLog());
    ReportBook book(log.store, log.clock, log.zone);
    const auto query = yearOf(log.store);
    (void)book.report(query);
    for (auto _ : state) {
        benchmark::DoNotOptimize(book.report(query));
    }
}
BENCHMARK(yearRepeated)->Unit(benchmark::kMillisecond);

/// The peak of this process's memory in MiB.
double peakMemory() {
    rusage usage{};
    (void)::getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss) / 1024;
}

template <class Write>
void exportRows(benchmark::State& state, std::size_t rows, const Write& write) {
    const WholeLog log = makeLog(FakeClock().now(), {.entries = rows, .tasks = 5000, .years = 1});
    std::unordered_map<Identifier, const TaskModel*> tasks;
    for (const TaskModel& task : log.tasks) {
        tasks.emplace(task.id, &task);
    }
    const RecordLookup records{[&](const Identifier& id) { return tasks.at(id); },
                               [&](const Identifier& id) { return &*std::ranges::find(log.tags, id, &TagModel::id); }};
    const NamedTimeZone zone("Europe/Helsinki");
    const DayKey today = zone.dayOf(FakeClock().now());
    const ExportInput input{log.timeEntries, records, {today.plus(-365), today}, FakeClock().now(), zone};
    const double before = peakMemory();
    std::size_t bytes = 0;
    const ExportOutput output{[&](std::string_view part) {
                                  bytes += part.size();
                                  return true;
                              },
                              {}};
    for (auto _ : state) {
        bytes = 0;
        if (!write(input, output)) {
            state.SkipWithError("not written");
        }
    }
    state.counters["MB"] = static_cast<double>(bytes) / 1e6;
    state.counters["more_peak_MiB"] = peakMemory() - before;
}

void csv(benchmark::State& state) {
    exportRows(state, 100'000, writeCsv);
}
BENCHMARK(csv)->Unit(benchmark::kMillisecond)->Iterations(10);

void json(benchmark::State& state) {
    exportRows(state, 100'000, writeJson);
}
BENCHMARK(json)->Unit(benchmark::kMillisecond)->Iterations(10);

void pdf(benchmark::State& state) {
    LazyPdfWriter writer(locatePaths().pdfModule());
    if (!writer.isPresent()) {
        state.SkipWithError("built without Cairo and Pango");
        return;
    }
    exportRows(state, 10'000, [&](const ExportInput& input, const ExportOutput& output) {
        return writer.write(makePdfReport(input), output);
    });
}
BENCHMARK(pdf)->Unit(benchmark::kMillisecond)->Iterations(3);

}  // namespace
}  // namespace tolvik

BENCHMARK_MAIN();
