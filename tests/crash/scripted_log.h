#pragma once

#include <memory>

#include "base/zone.h"
#include "core/app_store.h"
#include "core/record_json.h"
#include "tests/fakes/fake_clock.h"
#include "tests/fakes/fake_sinks.h"
#include "tests/fakes/virtual_main_loop.h"

namespace tolvik {

/// A store on which the n-th operation is the same in every process: its moment, its chance and its choice follow from
/// n and the log alone.
class ScriptedLog {
public:
    ScriptedLog(ValueStore& values, std::int64_t n) {
        setMoment(n);
        store = std::make_unique<AppStore>(AppStorePorts{values,
                                                         clock,
                                                         zone,
                                                         random,
                                                         loop,
                                                         sink,
                                                         holdOff,
                                                         [] { return std::optional<Identifier>(); },
                                                         [] { return false; },
                                                         {}});
    }

    /// The clock of operation n; a task that was forgotten overnight is closed.
    void arrive(std::int64_t n) {
        setMoment(n);
        store->refresh();
    }

    void act(std::int64_t n) {
        random.seed(static_cast<std::uint64_t>(n) * 2 + 1);
        FakeRandom chance(static_cast<std::uint64_t>(n) * 2);
        const auto below = [&](std::size_t count) { return static_cast<std::size_t>(chance.next() % count); };
        const auto& tasks = store->tasks();
        const Identifier task = tasks.empty() ? Identifier() : tasks[below(tasks.size())].id;
        const Identifier tag = store->tags().empty() ? Identifier() : store->tags()[below(store->tags().size())].id;
        switch (below(12)) {
            case 0:
            case 1:
            case 2:
                store->startTask("task " + std::to_string(n));
                break;
            case 3:
                store->stopTask(store->activeTask() == nullptr ? task : store->activeTask()->id);
                break;
            case 4:
                store->markDone(task);
                break;
            case 5:
                store->deleteTask(task);
                break;
            case 6:
            case 7:
                store->undo();
                break;
            case 8:
                store->createProject("project " + std::to_string(n));
                break;
            case 9:
                store->updateTask(task, {.title = "renamed " + std::to_string(n), .tagId = tag});
                break;
            case 10:
                store->deleteProject(tag);
                break;
            default:
                store->switchToTask(task, ChangeSource::voice, "because");
                break;
        }
    }

    [[nodiscard]] WholeLog log() const {
        return {store->tasks(), store->timeEntries(), store->switchLogs(), store->tags()};
    }
    /// What the server has been owed since this object was made.
    [[nodiscard]] std::size_t owed() const { return sink.all.size(); }

    AppStore* operator->() const { return store.get(); }

private:
    void setMoment(std::int64_t n) { clock.set(Instant{1'794'304'800'000 + n * 7 * 60'000}); }

    FakeClock clock;
    NamedTimeZone zone{"Europe/Helsinki"};
    FakeRandom random;
    VirtualMainLoop loop{clock};
    FakeMutationSink sink;
    FakeHoldOff holdOff;
    std::unique_ptr<AppStore> store;
};

/// The stored log and the length of its journal, read without a store that might change them.
struct StoredLog {
    WholeLog log;
    std::size_t owed = 0;

    bool operator==(const StoredLog&) const = default;
};
inline std::optional<StoredLog> readStored(const ValueStore& values) {
    StoredLog out;
    RecordDecoder decoder;
    const auto read = [&]<class Record>(std::string_view key, std::vector<Record>& records) {
        const auto bytes = values.get(key);
        if (!bytes) {
            return false;
        }
        if (*bytes) {
            auto decoded = decoder.array<Record>(**bytes);
            if (!decoded) {
                return false;
            }
            records = std::move(*decoded);
        }
        return true;
    };
    const auto journal = values.journal("fake");
    if (!read("tolvik:tasks", out.log.tasks) || !read("tolvik:timeEntries", out.log.timeEntries) ||
        !read("tolvik:switchLogs", out.log.switchLogs) || !read("tolvik:tags", out.log.tags) || !journal) {
        return std::nullopt;
    }
    out.owed = journal->size();
    return out;
}

}  // namespace tolvik
