#include <chrono>
#include <cstdio>
#include <cstdlib>

#include "bench/log/bench_log.h"

/// make_log FOLDER [ENTRIES [TASKS]]: a log that ends now.
int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "make_log FOLDER [ENTRIES [TASKS]]\n");
        return 2;
    }
    tolvik::LogSize size;
    if (argc > 2) {
        size.entries = std::strtoull(argv[2], nullptr, 10);
    }
    if (argc > 3) {
        size.tasks = std::strtoull(argv[3], nullptr, 10);
    }
    const auto now = std::chrono::duration_cast<tolvik::Millis>(std::chrono::system_clock::now().time_since_epoch());
    tolvik::writeLog(argv[1], tolvik::Instant{now.count()}, size);
    return 0;
}
