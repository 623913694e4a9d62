#include "app/desktop/start_trace.h"

#include <cstdio>
#include <ctime>
#include <fmt/format.h>
#include <fstream>
#include <sstream>
#include <unistd.h>

namespace tolvik {

namespace {

/// Field 22 of /proc/self/stat: ticks between the boot of the machine and the start of the process.
long long startTicks() {
    std::ifstream file("/proc/self/stat");
    std::string line;
    std::getline(file, line);
    // The second field is the program's name in brackets, which may hold blanks.
    std::istringstream rest(line.substr(line.rfind(')') + 1));
    std::string skipped;
    for (int field = 3; field < 22; ++field) {
        rest >> skipped;
    }
    long long ticks = 0;
    rest >> ticks;
    return ticks;
}

/// The second number of /proc/self/statm, in megabytes.
long residentMegabytes() {
    std::ifstream file("/proc/self/statm");
    long total = 0;
    long resident = 0;
    file >> total >> resident;
    return resident * sysconf(_SC_PAGESIZE) / (1024L * 1024L);
}

}  // namespace

Millis sinceProcessStart() {
    timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now);
    const long long nowMs = now.tv_sec * 1000LL + now.tv_nsec / 1'000'000;
    return Millis{nowMs - startTicks() * 1000 / sysconf(_SC_CLK_TCK)};
}

void StartTrace::reached(std::string step) {
    if (wanted_) {
        steps_.emplace_back(std::move(step), sinceProcessStart());
    }
}

void StartTrace::print() const {
    if (!wanted_) {
        return;
    }
    std::string line = "start:";
    for (const auto& [step, after] : steps_) {
        line += fmt::format(" {} {} ms,", step, after.count());
    }
    std::fputs(fmt::format("{} resident {} MB\n", line, residentMegabytes()).c_str(), stderr);
}

}  // namespace tolvik
