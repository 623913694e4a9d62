#include <filesystem>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include "adapters/sqlite/sqlite_value_store.h"
#include "dictionary/dictionary_manager.h"
#include "sync/sync_outbox.h"
#include "tests/crash/power_cut_vfs.h"
#include "tests/fakes/fake_clock.h"
#include "tests/fakes/fake_sinks.h"
#include "tests/fakes/virtual_main_loop.h"

namespace tolvik {
namespace {

constexpr std::size_t kTerms = 200;

/// A vocabulary with the queue of what it owes, over a disk whose power may go.
struct Vocabulary {
    Vocabulary(const PowerCutVfs& disk, const std::string& folder)
        : values("tolvik.sqlite", {.fileSystem = disk.name(), .checkpointOnClose = true, .checkpointPages = 40}),
          outbox({values, clock, random, loop, workers, folder}),
          dictionary({values, clock, random, loop, outbox, holdOff, &outbox}) {}

    FakeClock clock;
    FakeRandom random;
    VirtualMainLoop loop{clock};
    ImmediateWorkers workers;
    FakeHoldOff holdOff;
    SqliteValueStore values;
    SyncOutbox outbox;
    DictionaryManager dictionary;
};

TEST(PowerCut, AnImportOfManyTermsIsThereWithAllThatItOwesOrNotAtAll) {
    std::string lines;
    for (std::size_t i = 0; i < kTerms; ++i) {
        lines += fmt::format("Term number {} (hint of {})\n", i, i);
    }
    std::int64_t cut = 1;
    for (bool finished = false; !finished; ++cut) {
        SCOPED_TRACE(cut);
        std::string name = (std::filesystem::temp_directory_path() / "tolvik-XXXXXX").string();
        const std::filesystem::path folder = ::mkdtemp(name.data());
        PowerCutVfs disk;
        disk.cutAt(cut);
        std::size_t least = 0;
        {
            Vocabulary before(disk, folder.string());
            auto ids = before.dictionary.importEntries(lines);
            ASSERT_EQ(ids.size(), kTerms);
            least = before.dictionary.saveProblem() ? 0 : kTerms;
            if (least > 0) {
                ids.resize(kTerms / 2);
                before.dictionary.deleteTerms(ids);
                least = before.dictionary.saveProblem() ? kTerms : kTerms + ids.size();
            }
        }
        finished = !disk.isCut();
        disk.restore(static_cast<std::uint64_t>(cut));
        {
            Vocabulary after(disk, folder.string());
            ASSERT_EQ(after.values.openProblem(), std::nullopt);
            const std::size_t owed = after.outbox.pendingCount();
            const std::size_t terms = after.dictionary.entries().size();
            EXPECT_GE(owed, least) << "what was acknowledged stays";
            EXPECT_TRUE((owed == 0 && terms == 0) || (owed == kTerms && terms == kTerms) ||
                        (owed == kTerms * 3 / 2 && terms == kTerms / 2))
                << owed << " operations and " << terms << " terms";
            EXPECT_TRUE(after.dictionary.addTerm("and it goes on", ""));
            EXPECT_EQ(after.dictionary.saveProblem(), std::nullopt);
        }
        std::filesystem::remove_all(folder);
    }
    EXPECT_GT(cut, 50);
}

}  // namespace
}  // namespace tolvik
