#pragma once

#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/zone.h"
#include "core/app_store.h"
#include "core/record_json.h"
#include "tests/fakes/fake_clock.h"
#include "tests/fakes/fake_sinks.h"
#include "tests/fakes/memory_value_store.h"
#include "tests/fakes/virtual_main_loop.h"

namespace tolvik {

/// A zone that a test may change under the store.
class FakeTimeZone final : public TimeZone {
public:
    explicit FakeTimeZone(std::string_view name = "UTC") : zone_(name) {}
    void set(std::string_view name) { zone_ = NamedTimeZone(name); }

    [[nodiscard]] DayKey dayOf(Instant instant) const override { return zone_.dayOf(instant); }
    [[nodiscard]] LocalTime timeOf(Instant instant) const override { return zone_.timeOf(instant); }
    [[nodiscard]] Instant startOf(DayKey day) const override { return zone_.startOf(day); }
    [[nodiscard]] std::optional<Instant> at(DayKey day, LocalTime time) const override { return zone_.at(day, time); }
    [[nodiscard]] int offsetMinutes(Instant instant) const override { return zone_.offsetMinutes(instant); }
    [[nodiscard]] std::string name() const override { return zone_.name(); }

private:
    NamedTimeZone zone_;
};

inline Instant utc(std::string_view text) {
    return parseInstant(text).value();
}
inline DayKey day(std::string_view text) {
    return DayKey::parse(text).value();
}

/// A store over values in memory in virtual time. `restart()` is what a new process sees.
class StoreTest : public ::testing::Test {
protected:
    StoreTest() { restart(); }

    void restart() {
        store.reset();
        store = std::make_unique<AppStore>(AppStorePorts{values, clock, zone, random, loop, sink, holdOff,
                                                         [this] { return activeProject; }, [this] { return signedIn; },
                                                         [this](DayKey d) { requestedDays.push_back(d); }});
    }
    void setTime(std::string_view text) { clock.set(utc(text)); }
    Identifier start(std::string_view title) { return store->startTask(title).value(); }
    const TaskModel& task(const Identifier& id) { return *store->taskById(id); }
    WholeLog log() { return {store->tasks(), store->timeEntries(), store->switchLogs(), store->tags()}; }

    /// Fails unless the four records fit together.
    void expectInvariants() {
        std::vector<Identifier> active;
        for (const TaskModel& t : store->tasks()) {
            if (t.isActive) {
                active.push_back(t.id);
            }
            EXPECT_EQ(t.status == "done", t.completedAt.has_value()) << t.title;
            EXPECT_FALSE(t.isActive && t.status == "done") << t.title;
            EXPECT_TRUE(!t.tagId || store->tagById(*t.tagId)) << t.title;
        }
        std::vector<Identifier> running;
        for (const TimeEntry& e : store->timeEntries()) {
            EXPECT_TRUE(store->taskById(e.taskId));
            if (e.isRunning()) {
                running.push_back(e.taskId);
                EXPECT_FALSE(e.durationMs);
            } else if (e.startedAt.instant() && e.endedAt->instant()) {
                EXPECT_EQ(e.durationMs, (*e.endedAt->instant() - *e.startedAt.instant()).count());
            }
        }
        EXPECT_LE(active.size(), 1U);
        EXPECT_EQ(active, running);
        for (const SwitchLog& l : store->switchLogs()) {
            EXPECT_TRUE(store->taskById(l.toTaskId));
            EXPECT_TRUE(!l.fromTaskId || store->taskById(*l.fromTaskId));
        }
    }

    FakeClock clock;  // 2026-11-10T10:00:00Z
    FakeTimeZone zone;
    FakeRandom random;
    VirtualMainLoop loop{clock};
    MemoryValueStore values;
    FakeMutationSink sink;
    FakeHoldOff holdOff;
    std::optional<Identifier> activeProject;
    bool signedIn = false;
    std::vector<DayKey> requestedDays;
    std::unique_ptr<AppStore> store;
};

}  // namespace tolvik
