// How long one sentence takes to understand, with 50 candidates: without the embedding (target 0.5 ms), and with it,
// titles and anchors warm (target 10 ms). Every sentence is new to the embedding, as a spoken one usually is.

#include <benchmark/benchmark.h>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "adapters/embedding/minilm_sentence_embedder.h"
#include "voice/parse/local_voice_parser.h"

namespace tolvik {
namespace {

std::vector<std::string> titles() {
    const std::vector<std::string> what{"quarterly report", "client invoice", "design review",   "landing page",
                                        "payroll",          "release notes",  "user interviews", "budget plan",
                                        "test suite",       "hiring"};
    const std::vector<std::string> where{"for the museum", "with the board", "of the new app", "in Berlin",
                                         "round two"};
    std::vector<std::string> out;
    for (const std::string& a : what) {
        for (const std::string& b : where) {
            out.push_back(a + " " + b);
        }
    }
    return out;
}

std::vector<TaskInfo> candidates() {
    std::vector<TaskInfo> out;
    for (const std::string& title : titles()) {
        const int position = static_cast<int>(out.size()) + 1;
        out.push_back({Identifier("task " + std::to_string(position)), title, position, position == 1});
    }
    return out;
}

/// From the cheapest way through the tables to the dearest.
constexpr const char* sentences[] = {
    "stop",
    "switch to client invoice with the board",
    "start preparing the slides for the spring conference",
    "switch to the moon landing rehearsal",
    "i would rather look into the broken printer downstairs",
};

void parsing(benchmark::State& state) {
    const LocalVoiceParser parser;
    const auto tasks = candidates();
    const std::string sentence = sentences[state.range(0)];
    for (auto _ : state) {
        benchmark::DoNotOptimize(parser.parse(sentence, tasks));
    }
    state.SetLabel(sentence);
}
BENCHMARK(parsing)->DenseRange(0, 4)->Unit(benchmark::kMicrosecond);

MiniLmSentenceEmbedder& embedder() {
    const char* models = std::getenv("TOLVIK_MODELS");
    static MiniLmSentenceEmbedder it(std::filesystem::path(models != nullptr ? models : MODELS_FOLDER) / "embedding");
    return it;
}

void parsingWithMeaning(benchmark::State& state) {
    if (!embedder().embed("word")) {
        state.SkipWithError("no model");
        return;
    }
    const LocalVoiceParser parser(&embedder());
    const auto tasks = candidates();
    parser.warm(titles());
    const std::string sentence = sentences[state.range(0)];
    int number = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(parser.parse(sentence + " " + std::to_string(++number), tasks));
    }
    state.SetLabel(sentence);
}
BENCHMARK(parsingWithMeaning)->DenseRange(0, 4)->Unit(benchmark::kMillisecond);

void embedding(benchmark::State& state) {
    const std::string sentence = "switch to the moon landing rehearsal";
    for (auto _ : state) {
        benchmark::DoNotOptimize(embedder().embed(sentence));
    }
}
BENCHMARK(embedding)->Unit(benchmark::kMillisecond);

void loading(benchmark::State& state) {
    const char* models = std::getenv("TOLVIK_MODELS");
    for (auto _ : state) {
        MiniLmSentenceEmbedder fresh(std::filesystem::path(models != nullptr ? models : MODELS_FOLDER) / "embedding");
        benchmark::DoNotOptimize(fresh.embed("word"));
    }
}
BENCHMARK(loading)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace tolvik

BENCHMARK_MAIN();
