#include "reports/report_book.h"

#include "tests/fakes/store_fixture.h"

namespace tolvik {
namespace {

class ReportBookTest : public StoreTest {
protected:
    std::shared_ptr<const ReportData> month(ProjectFilter filter = {}) {
        return book.report({ReportRange::month, daysOf(ReportRange::month, store->today(), 1), filter, 1});
    }

    ReportBook book{*store, clock, zone};
};

TEST_F(ReportBookTest, ComputesAnewOnlyWhenSomethingDiffers) {
    const Identifier task = start("report");
    clock.advance(Millis{600'000});
    store->stopTask(task);
    const auto first = month();
    EXPECT_EQ(first->totalMs, 600'000);
    store->shiftDay(-1);
    store->refresh();
    EXPECT_EQ(month(), first);
    EXPECT_EQ(book.computed(), 1U);

    // A title, a project, an undone change, a deletion: each is seen.
    store->updateTask(task, {.title = "the report", .tagId = std::nullopt});
    EXPECT_EQ(month()->byTask.front().title, "the report");
    const Identifier project = store->createProject("Harbour").value();
    store->updateTask(task, {.title = std::nullopt, .tagId = std::optional(project)});
    EXPECT_EQ(month()->byTag.front().tagName, "Harbour");
    store->renameProject(project, "Quay");
    EXPECT_EQ(month()->byTag.front().tagName, "Quay");
    store->undo();
    EXPECT_EQ(month()->byTag.front().tagName, "Harbour");
    EXPECT_TRUE(month({ProjectFilter::Unassigned{}})->entries.empty());
    store->deleteTask(task);
    EXPECT_EQ(month()->totalMs, 0);
}

TEST_F(ReportBookTest, LetsARunningEntryGrowByTheMinute) {
    start("report");
    clock.advance(Millis{60'000});
    EXPECT_EQ(month()->totalMs, 60'000);
    clock.advance(Millis{1000});
    EXPECT_EQ(month()->totalMs, 60'000);
    clock.advance(Millis{60'000});
    EXPECT_EQ(month()->totalMs, 121'000);
    EXPECT_EQ(book.computed(), 2U);
}

TEST_F(ReportBookTest, FollowsTheZone) {
    setTime("2026-11-10T23:30:00.000Z");
    const Identifier task = start("night shift");
    clock.advance(Millis{600'000});
    store->stopTask(task);
    const DaySpan tenth{day("2026-11-10"), day("2026-11-10")};
    EXPECT_EQ(book.report({ReportRange::custom, tenth, {}, 1})->totalMs, 600'000);
    zone.set("Europe/Helsinki");
    EXPECT_EQ(book.report({ReportRange::custom, tenth, {}, 1})->totalMs, 0);
}

TEST_F(ReportBookTest, ReadsNoPiecesOutsideTheRange) {
    for (int i = 0; i < 400; ++i) {
        const Identifier task = start("task");
        clock.advance(Millis{3'600'000});
        store->stopTask(task);
        clock.advance(std::chrono::hours{23});
    }
    // What lies in a piece of long ago cannot be read; a month's report does not look.
    const auto pieces = values.pieces("tolvik:timeEntries");
    ASSERT_TRUE(pieces && pieces->size() > 10);
    WriteBatch damage;
    damage.writes.emplace_back(WriteBatch::PutPiece{"tolvik:timeEntries", pieces->front(), "damaged"});
    ASSERT_TRUE(values.commit(damage));
    restart();
    std::vector<std::string> notices;
    const auto told = store->onNotice([&](const StoreNotice& notice) { notices.push_back(notice.text); });
    ReportBook fresh{*store, clock, zone};
    const auto report = fresh.report({ReportRange::month, daysOf(ReportRange::month, store->today(), 1), {}, 1});
    EXPECT_GE(report->entries.size(), 28U);
    EXPECT_TRUE(notices.empty());
    (void)fresh.report({ReportRange::custom, {store->today().plus(-420), store->today()}, {}, 1});
    EXPECT_EQ(notices.size(), 1U);
}

}  // namespace
}  // namespace tolvik
