#include <gtest/gtest.h>

#include "adapters/sqlite/sqlite_value_store.h"
#include "tests/crash/power_cut_vfs.h"
#include "tests/crash/scripted_log.h"

namespace tolvik {
namespace {

constexpr std::int64_t kOperations = 24;

SqliteValueStore::Options on(const PowerCutVfs& disk) {
    // Often written back, so that the power also goes during that.
    return {.fileSystem = disk.name(), .checkpointOnClose = true, .checkpointPages = 40};
}

/// Works on the log, with a restart now and then, until the power goes. What may be found afterwards: the log after the
/// last change that was acknowledged, or after the one that was under way.
std::vector<StoredLog> workUntilCut(PowerCutVfs& disk) {
    std::vector<StoredLog> possible{{}};
    std::size_t owedBefore = 0;
    std::int64_t n = 0;
    while (n < kOperations && !disk.isCut()) {
        SqliteValueStore values("tolvik.sqlite", on(disk));
        ScriptedLog log(values, n);
        if (disk.isCut()) {
            break;
        }
        const std::int64_t until = n + 7;
        for (; n < std::min(until, kOperations) && !disk.isCut(); ++n) {
            log.arrive(n);
            log.act(n);
            StoredLog present{log.log(), owedBefore + log.owed()};
            if (!log->saveProblem()) {
                possible.clear();
            }
            possible.push_back(std::move(present));
        }
        owedBefore += log.owed();
    }
    return possible;
}

TEST(PowerCut, WhateverWriteIsTheLastNothingAcknowledgedIsLost) {
    std::int64_t cut = 1;
    for (bool finished = false; !finished; ++cut) {
        for (std::uint64_t seed = 0; seed < 3; ++seed) {
            PowerCutVfs disk;
            disk.cutAt(cut);
            const auto possible = workUntilCut(disk);
            finished = !disk.isCut();
            disk.restore(static_cast<std::uint64_t>(cut) * 3 + seed);
            SqliteValueStore values("tolvik.sqlite", on(disk));
            ASSERT_EQ(values.openProblem(), std::nullopt) << "power cut at step " << cut;
            const auto found = readStored(values);
            ASSERT_TRUE(found) << "power cut at step " << cut;
            bool fits = false;
            for (const StoredLog& log : possible) {
                fits = fits || log == *found;
            }
            ASSERT_TRUE(fits) << "power cut at step " << cut << ", seed " << seed << ": " << found->log.tasks.size()
                              << " tasks, " << found->log.timeEntries.size() << " entries, " << found->owed
                              << " owed; acknowledged " << possible.front().log.tasks.size() << " tasks, "
                              << possible.front().log.timeEntries.size() << " entries, " << possible.front().owed
                              << " owed";
            // It goes on from there.
            ScriptedLog log(values, kOperations);
            log.act(1000);
            ASSERT_EQ(log->saveProblem(), std::nullopt);
        }
    }
    RecordProperty("steps", static_cast<int>(cut));
    EXPECT_GT(cut, 300);
}

}  // namespace
}  // namespace tolvik
