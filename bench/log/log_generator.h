#pragma once

#include <algorithm>

#include "core/record_json.h"
#include "tests/fakes/fake_clock.h"

namespace tolvik {

/// How large a made-up log is.
struct LogSize {
    std::size_t entries = 100'000;
    std::size_t tasks = 5'000;
    int years = 10;
};

/// A plausible log that ends at `now` with nothing running: every entry follows the one before with a pause of a third
/// of its length on average, tasks come in order and are worked on for a while. The same for the same arguments.
inline WholeLog makeLog(Instant now, LogSize size = {}) {
    FakeRandom random(7);
    const auto below = [&](std::uint64_t n) { return static_cast<std::int64_t>(random.next() % n); };
    static constexpr const char* kVerbs[] = {"review", "draft", "fix", "plan", "test", "write", "answer", "prepare"};
    static constexpr const char* kThings[] = {"quarterly report", "auth flow",    "design notes",  "invoice batch",
                                              "onboarding page",  "release plan", "email backlog", "data import"};
    WholeLog log;
    for (int i = 0; i < 12; ++i) {
        TagModel tag;
        tag.id = random.identifier();
        tag.name = std::string("Project ") + std::to_string(i + 1);
        tag.colorIndex = i % 10;
        tag.createdAt = tag.updatedAt = Timestamp(now - std::chrono::days{365 * size.years});
        log.tags.push_back(tag);
    }
    const std::int64_t span = std::int64_t{size.years} * 365 * 86'400'000;
    const std::int64_t step = span / static_cast<std::int64_t>(size.entries);
    const std::size_t perTask = std::max<std::size_t>(1, size.entries / size.tasks);
    for (std::size_t i = 0; i < size.tasks; ++i) {
        TaskModel task;
        task.id = random.identifier();
        task.title = std::string(kVerbs[below(8)]) + " the " + kThings[below(8)] + " " + std::to_string(i);
        const bool open = i + 60 >= size.tasks;
        task.status = open ? "open" : "done";
        const Instant made{now.ms - span + static_cast<std::int64_t>(i * perTask) * step};
        task.createdAt = Timestamp(made);
        task.updatedAt = Timestamp(made + Millis{step * static_cast<std::int64_t>(perTask)});
        if (!open) {
            task.completedAt = task.updatedAt;
        }
        task.sortOrder = static_cast<std::int64_t>(i);
        task.colorIndex = static_cast<std::int64_t>(i % 12);
        if (below(3) != 0) {
            task.tagId = log.tags[static_cast<std::size_t>(below(log.tags.size()))].id;
        }
        log.tasks.push_back(std::move(task));
    }
    std::optional<Identifier> previous;
    for (std::size_t i = 0; i < size.entries; ++i) {
        const std::size_t newest = std::min(size.tasks - 1, i / perTask);
        const auto back = static_cast<std::size_t>(below(std::min<std::size_t>(newest + 1, 8)));
        TimeEntry entry;
        entry.id = random.identifier();
        entry.taskId = log.tasks[newest - back].id;
        const Instant start{now.ms - span + static_cast<std::int64_t>(i) * step};
        const std::int64_t length = step / 2 + below(static_cast<std::uint64_t>(step / 2));
        entry.startedAt = entry.createdAt = Timestamp(start);
        entry.endedAt = Timestamp(start + Millis{length});
        entry.durationMs = length;
        SwitchLog change;
        change.id = random.identifier();
        change.fromTaskId = previous;
        change.toTaskId = entry.taskId;
        change.switchedAt = entry.startedAt;
        change.source = below(2) == 0 ? "voice" : "manual";
        if (below(5) == 0) {
            change.reason = "somebody asked for it";
        }
        previous = entry.taskId;
        log.timeEntries.push_back(std::move(entry));
        log.switchLogs.push_back(std::move(change));
    }
    return log;
}

}  // namespace tolvik
