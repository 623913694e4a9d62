#include "bench/speech/spoken_set.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fmt/format.h>
#include <fstream>
#include <iterator>

namespace tolvik {
namespace {

[[noreturn]] void give(const std::string& message) {
    fmt::print(stderr, "{}\n", message);
    std::exit(2);
}

std::vector<std::string> cells(const std::string& line) {
    std::vector<std::string> out(1);
    for (const char each : line) {
        if (each == '\t') {
            out.emplace_back();
        } else {
            out.back() += each;
        }
    }
    return out;
}

}  // namespace

SpokenSet readSpokenSet(const std::filesystem::path& folder, const std::string& name) {
    SpokenSet set;
    std::ifstream rows(folder / (name + ".tsv"));
    if (!rows) {
        give("There is no " + (folder / (name + ".tsv")).string() + ": run make_clips.py first.");
    }
    for (std::string line; std::getline(rows, line);) {
        auto cell = cells(line);
        cell.resize(6);
        set.clips.push_back({cell[0], folder / cell[1], cell[2], cell[3], cell[4], cell[5]});
    }
    std::ifstream words(folder / (name + ".words"));
    for (std::string line; std::getline(words, line);) {
        auto cell = cells(line);
        cell.resize(2);
        auto& list = cell[0] == "task"      ? set.vocabulary.taskTitles
                     : cell[0] == "project" ? set.vocabulary.projectNames
                                            : set.vocabulary.terms;
        list.push_back(cell[1]);
    }
    return set;
}

std::vector<float> readClip(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    constexpr std::size_t header = 44;
    if (bytes.size() < header || std::memcmp(bytes.data() + 36, "data", 4) != 0) {
        give(file.string() + " is no clip of make_clips.py.");
    }
    std::vector<float> samples;
    for (std::size_t at = header; at + 1 < bytes.size(); at += 2) {
        std::int16_t sample = 0;
        std::memcpy(&sample, bytes.data() + at, sizeof sample);
        samples.push_back(static_cast<float>(sample) / 32768.0F);
    }
    return samples;
}

}  // namespace tolvik
