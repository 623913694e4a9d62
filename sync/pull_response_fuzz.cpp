#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "sync/pull_response.h"

/// An answer to a pull: any bytes are read or refused, and whatever was read merges into a log that fits together.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    auto response = tolvik::decodePullResponse({reinterpret_cast<const char*>(data), size});
    if (!response) {
        return 0;
    }
    const tolvik::WholeLog log = tolvik::mergeLog({}, std::move(response->log), {});
    std::size_t running = 0;
    for (const tolvik::TimeEntry& entry : log.timeEntries) {
        running += entry.isRunning() ? 1 : 0;
    }
    std::size_t active = 0;
    for (const tolvik::TaskModel& task : log.tasks) {
        active += task.isActive ? 1 : 0;
    }
    if (running > 1 || active != running) {
        std::abort();
    }
    return 0;
}
