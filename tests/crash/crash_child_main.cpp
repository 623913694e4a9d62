#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>

#include "adapters/sqlite/sqlite_value_store.h"
#include "tests/crash/scripted_log.h"

/// crash_child FILE N: carries out operation N, N+1, … on the log until it is killed, and writes a line with the number
/// after each that is durable.
int main(int argc, char** argv) {
    if (argc != 3) {
        return 2;
    }
    std::int64_t n = std::atoll(argv[2]);
    // Written back often, so that kills also meet that.
    tolvik::SqliteValueStore values(argv[1],
                                    {.fileSystem = std::nullopt, .checkpointOnClose = true, .checkpointPages = 60});
    if (values.openProblem()) {
        return 3;
    }
    tolvik::ScriptedLog log(values, n);
    for (;; ++n) {
        log.arrive(n);
        log.act(n);
        if (log->saveProblem()) {
            return 4;
        }
        const std::string line = std::to_string(n) + "\n";
        if (::write(STDOUT_FILENO, line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
            return 5;
        }
    }
}
