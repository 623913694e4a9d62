// Runs a fuzz target over the seeds of the folders given, and over changes of them that are the same at each run:
// bytes flipped, cut out, doubled, joined with another seed. A target shows a fault by ending the process.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

#include "tests/fakes/fake_clock.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

namespace fs = std::filesystem;

std::vector<std::string> readSeeds(int argc, char** argv) {
    std::vector<fs::path> files;
    for (int i = 1; i < argc; ++i) {
        for (const auto& entry : fs::directory_iterator(argv[i])) {
            files.push_back(entry.path());
        }
    }
    std::sort(files.begin(), files.end());
    std::vector<std::string> seeds;
    for (const auto& file : files) {
        std::ifstream stream(file, std::ios::binary);
        seeds.emplace_back(std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>());
    }
    return seeds;
}

std::string changed(std::string bytes, const std::vector<std::string>& seeds, tolvik::FakeRandom& random) {
    const auto below = [&](std::size_t limit) {
        return limit == 0 ? 0 : static_cast<std::size_t>(random.next() % limit);
    };
    for (std::size_t rounds = 1 + below(4); rounds > 0; --rounds) {
        const std::size_t at = below(bytes.size() + 1);
        switch (below(6)) {
            case 0:
                if (at < bytes.size()) {
                    bytes[at] = static_cast<char>(random.next() & 0xFFU);
                }
                break;
            case 1:
                bytes.resize(at);
                break;
            case 2:
                bytes.erase(at, below(9));
                break;
            case 3:
                bytes.insert(at, bytes.substr(below(bytes.size() + 1), below(64)));
                break;
            case 4:
                bytes = bytes.substr(0, at) + seeds[below(seeds.size())];
                break;
            default:
                bytes.insert(at, 1 + below(3), static_cast<char>(random.next() & 0xFFU));
                break;
        }
    }
    return bytes;
}

void run(const std::string& bytes) {
    // A copy of its own on the heap, so that a sanitizer sees a read past the end.
    const std::vector<std::uint8_t> copy(bytes.begin(), bytes.end());
    LLVMFuzzerTestOneInput(copy.data(), copy.size());
}

}  // namespace

int main(int argc, char** argv) {
    constexpr std::size_t changesOfEach = 400;
    const auto seeds = readSeeds(argc, argv);
    if (seeds.empty()) {
        std::cerr << "no seeds: nothing would be tried\n";
        return 1;
    }
    tolvik::FakeRandom random(20261121);
    for (const auto& seed : seeds) {
        run(seed);
        for (std::size_t i = 0; i < changesOfEach; ++i) {
            run(changed(seed, seeds, random));
        }
    }
    std::cout << seeds.size() << " seeds, " << seeds.size() * changesOfEach << " changes of them\n";
    return 0;
}
