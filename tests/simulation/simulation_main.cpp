// Runs seeds of the simulation: `simulation --seeds A..B [--jobs N] [--until-found]`. Prints each seed that fails and
// what was wrong; a seed runs the same way each time. With --until-found, for builds with a planted fault, it ends well
// with the first seed that fails and badly when none does.

#include <charconv>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <spdlog/spdlog.h>
#include <string>
#include <string_view>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "tests/simulation/sim_world.h"

namespace {

struct Options {
    std::uint64_t first = 1;
    std::uint64_t last = 100;
    std::uint64_t jobs = 1;
    bool untilFound = false;
};

bool number(std::string_view text, std::uint64_t& out) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), out);
    return error == std::errc() && end == text.data() + text.size();
}

bool parse(int argc, char** argv, Options& options) {
    for (int i = 1; i < argc; ++i) {
        const std::string_view argument = argv[i];
        const std::string_view value = i + 1 < argc ? argv[i + 1] : "";
        if (argument == "--until-found") {
            options.untilFound = true;
        } else if (argument == "--seeds") {
            const auto dots = value.find("..");
            if (dots == std::string_view::npos || !number(value.substr(0, dots), options.first) ||
                !number(value.substr(dots + 2), options.last)) {
                return false;
            }
            ++i;
        } else if (argument == "--jobs" && number(value, options.jobs) && options.jobs > 0) {
            ++i;
        } else {
            return false;
        }
    }
    return options.first <= options.last;
}

/// How many seeds failed.
int runEvery(const Options& options, std::uint64_t offset) {
    tolvik::sim::RunStatistics statistics;
    int failed = 0;
    for (std::uint64_t seed = options.first + offset; seed <= options.last; seed += options.jobs) {
        if (const auto problem = tolvik::sim::runSeed(seed, statistics)) {
            std::printf("seed %llu: %s\n", static_cast<unsigned long long>(seed), problem->c_str());
            ++failed;
            if (options.untilFound) {
                break;
            }
        }
    }
    std::printf("%llu actions, %llu restarts, %llu drained queues, %d failed\n",
                static_cast<unsigned long long>(statistics.actions),
                static_cast<unsigned long long>(statistics.crashes), static_cast<unsigned long long>(statistics.drains),
                failed);
    std::fflush(stdout);
    return failed;
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    if (!parse(argc, argv, options)) {
        std::fputs("simulation --seeds A..B [--jobs N] [--until-found]\n", stderr);
        return 2;
    }
    spdlog::set_level(spdlog::level::off);
    std::vector<pid_t> children;
    for (std::uint64_t job = 0; job < options.jobs; ++job) {
        const pid_t child = ::fork();
        if (child == 0) {
            int failed = 1;
            try {
                failed = runEvery(options, job);
            } catch (const std::exception& error) {
                std::printf("the simulation itself failed: %s\n", error.what());
                std::fflush(stdout);
                ::_exit(3);
            }
            ::_exit(failed > 0 ? 1 : 0);
        }
        children.push_back(child);
    }
    bool found = false;
    bool broken = false;
    for (const pid_t child : children) {
        int status = 0;
        ::waitpid(child, &status, 0);
        broken = broken || !WIFEXITED(status) || WEXITSTATUS(status) > 1;
        found = found || !WIFEXITED(status) || WEXITSTATUS(status) == 1;
    }
    if (broken) {
        return 3;
    }
    return found == options.untilFound ? 0 : 1;
}
