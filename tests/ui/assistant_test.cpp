#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include "tests/ui/window_fixture.h"

namespace tolvik {
namespace {

constexpr auto kCheckout = "Checkout: retry failed payments";

class AssistantTest : public testing::Test {
protected:
    AssistantTest() {
        QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedKingdom));
        new QAbstractItemModelTester(bar.citations(), QAbstractItemModelTester::FailureReportingMode::Fatal,
                                     bar.citations());
        sample.fillTwoWeeks();
    }
    [[nodiscard]] QString citation(int row, const char* role) const {
        const QAbstractItemModel& model = *bar.citations();
        return model.data(model.index(row, 0), model.roleNames().key(role)).toString();
    }
    [[nodiscard]] std::size_t asked(const std::string& path) const {
        return static_cast<std::size_t>(std::ranges::count_if(sample.http.exchanges, [&](const auto& exchange) {
            return exchange->request.url.find(path) != std::string::npos;
        }));
    }

    SampleWindow sample;
    AssistantModel& bar = *sample.window->assistant();
    SummaryModel& summary = *sample.window->summary();
    ReportsModel& reports = *sample.window->reports();
};

TEST_F(AssistantTest, SignedOutTheDeviceAnswersAndLeadsToTheTasksDay) {
    EXPECT_FALSE(bar.ask(QStringLiteral("   ")));
    EXPECT_TRUE(bar.ask(QStringLiteral("How much time on Map tiles spike last week?")));
    EXPECT_TRUE(bar.busy());
    EXPECT_FALSE(bar.ask(QStringLiteral("How much time today?"))) << "one at a time";
    sample.loop.runPosted();
    EXPECT_FALSE(bar.busy());
    EXPECT_FALSE(bar.failed()) << bar.answer().toStdString();
    ASSERT_EQ(bar.citations()->rowCount(), 1);
    EXPECT_EQ(citation(0, "title"), QStringLiteral("Map tiles spike"));
    EXPECT_TRUE(bar.answer().contains(QStringLiteral("12 h 40 min")))
        << bar.answer().toStdString() << " / " << citation(0, "lengthText").toStdString();

    QSignalSpy home(&bar, &AssistantModel::homeWanted);
    bar.showCitation(1);
    EXPECT_EQ(home.count(), 0);
    bar.showCitation(0);
    EXPECT_EQ(home.count(), 1);
    EXPECT_EQ(sample.store->currentDate().text(), "2026-11-17");

    EXPECT_TRUE(bar.ask(QStringLiteral("Should I take up gardening?")));
    sample.loop.runPosted();
    EXPECT_TRUE(bar.failed());
    EXPECT_EQ(bar.citations()->rowCount(), 0);
    bar.dismiss();
    EXPECT_EQ(bar.answer(), QString());
    EXPECT_TRUE(sample.http.exchanges.empty());
}

TEST_F(AssistantTest, SignedInTheServerAnswersOrTheBarSaysThatItDidNot) {
    sample.signIn();
    ASSERT_TRUE(bar.ask(QStringLiteral("what about it")));
    EXPECT_EQ(sample.http.last().url, "https://tolvik.example/ai/query");
    sample.http.reply(200, R"({"answer":"Two hours.","citations":[{"taskId":")" + sample.task(kCheckout).text() +
                               R"(","timeMs":7200000},{"taskId":"gone","timeMs":60000}]})");
    sample.loop.runPosted();
    EXPECT_EQ(bar.answer(), QStringLiteral("Two hours."));
    EXPECT_EQ(citation(0, "spoken"), QStringLiteral("Checkout: retry failed payments, 2 hours"));
    EXPECT_EQ(citation(1, "title"), QStringLiteral("Unknown"));

    ASSERT_TRUE(bar.ask(QStringLiteral("and now")));
    EXPECT_EQ(bar.answer(), QStringLiteral("Two hours.")) << "it stays until there is another";
    sample.http.reply(500, R"({"error":"no"})");
    sample.loop.runPosted();
    EXPECT_EQ(bar.answer(), QStringLiteral("Couldn't reach the assistant. Try again."));
    EXPECT_TRUE(bar.failed());
    EXPECT_EQ(bar.citations()->rowCount(), 0);
}

TEST_F(AssistantTest, TheDevicesSummaryFollowsTheLogAndTheDay) {
    summary.setLive(true);
    EXPECT_EQ(summary.text(), QString());
    sample.loop.runPosted();
    EXPECT_TRUE(summary.text().startsWith(QStringLiteral("Today you tracked"))) << summary.text().toStdString();
    EXPECT_EQ(summary.detail(), QStringLiteral("5 tasks · 4 focus blocks · mostly Harbour"));
    (void)sample.store->startTask("One more thing");
    sample.goTo(13, 15, 30);
    // Changed again while the first change is being told: the latest counts.
    (void)sample.store->startTask("And another");
    sample.goTo(13, 15, 40);
    (void)sample.store->stopTask(sample.task("And another"));
    sample.loop.runPosted();
    EXPECT_TRUE(summary.detail().startsWith(QStringLiteral("7 tasks"))) << summary.detail().toStdString();

    sample.store->shiftDay(-1);
    EXPECT_EQ(summary.text(), QString()) << "never another day's words";
    sample.loop.runPosted();
    EXPECT_TRUE(summary.text().contains(QStringLiteral("18 November"))) << summary.text().toStdString();
}

TEST_F(AssistantTest, TheServersSummaryIsFetchedOncePerDayAndKeptOverAFailure) {
    sample.signIn();
    summary.setLive(true);
    EXPECT_EQ(asked("/ai/summary/daily?date=2026-11-19"), 1U);
    sample.http.reply(200,
                      R"({"narrative":"Busy.","stats":{"totalMs":5,"taskCount":1,"focusBlocks":1,"topProject":null}})");
    sample.loop.runPosted();
    EXPECT_EQ(summary.text() + summary.detail(), QStringLiteral("Busy.1 task · 1 focus block"));
    (void)sample.store->startTask("One more thing");
    summary.setLive(false);
    summary.setLive(true);
    EXPECT_EQ(asked("/ai/summary"), 1U);
    sample.store->shiftDay(-1);
    sample.http.fail();
    sample.loop.runPosted();
    EXPECT_EQ(summary.text(), QString()) << "failed: hidden";
    summary.setLive(false);
    summary.setLive(true);
    EXPECT_EQ(asked("/ai/summary/daily?date=2026-11-18"), 2U) << "tried again by who comes back";
}

TEST_F(AssistantTest, TheNarrativeIsAboutTheRangeThatIsShown) {
    reports.setLive(true);
    sample.loop.runPosted();
    EXPECT_TRUE(reports.narrativeText().contains(QStringLiteral("20 October")))
        << reports.narrativeText().toStdString();
    reports.pickFirst(sample.store->today().days);
    EXPECT_EQ(reports.narrativeText(), QString()) << "the words of the month are not the day's";
    sample.loop.runPosted();
    EXPECT_TRUE(reports.narrativeText().contains(QStringLiteral("5 h 10 min")))
        << reports.narrativeText().toStdString();

    sample.signIn();
    EXPECT_EQ(asked("/ai/reports/narrative?from=2026-11-19&to=2026-11-19"), 1U);
    sample.http.reply(200, R"({"narrative":"A long day."})");
    sample.loop.runPosted();
    EXPECT_EQ(reports.narrativeText(), QStringLiteral("A long day."));
    (void)sample.store->startTask("One more thing");
    EXPECT_EQ(asked("/ai/reports/narrative"), 1U) << "the log's changes do not ask the server again";
}

/// Draws for ever, until it is told to stop.
class EndlessPdfWriter final : public PdfWriter {
public:
    Result<void, ExportError> write(const PdfReport& /*report*/, const ExportOutput& output) override {
        for (std::size_t row = 0; row < 1'000'000; ++row) {
            (void)output.write("x");
            if (!output.progress(row, 1'000'000)) {
                stoppedAt = row;
                return failure(ExportError::cancelled);
            }
            if (row == 20'000) {
                halfway();
            }
        }
        return {};
    }
    std::function<void()> halfway;
    std::size_t stoppedAt = 0;
};

TEST_F(AssistantTest, AnExportIsCancelledHalfwayAndLeavesNothing) {
    EndlessPdfWriter pdf;
    ReportExporter exporter({.store = *sample.store,
                             .clock = sample.clock,
                             .zone = sample.zone,
                             .workers = sample.workers,
                             .loop = sample.loop,
                             .pdf = &pdf},
                            nullptr);
    pdf.halfway = [&] { exporter.cancel(); };
    QSignalSpy finished(&exporter, &ReportExporter::finished);
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("out.pdf"));
    const DayKey today = sample.store->today();
    exporter.start(ReportExporter::Format::pdf, path, std::make_shared<ReportData>(), {today, today});
    EXPECT_TRUE(exporter.isBusy());
    sample.loop.runPosted();
    EXPECT_EQ(pdf.stoppedAt, 20'001U);
    EXPECT_EQ(exporter.percent(), 2);
    EXPECT_FALSE(exporter.isBusy());
    ASSERT_EQ(finished.count(), 1);
    EXPECT_TRUE(finished.first().at(2).toBool());
    EXPECT_TRUE(QDir(folder.path()).isEmpty()) << "not even a part of it";
}

using AssistantWindowTest = WindowTest;

TEST_F(AssistantWindowTest, AQuestionIsTypedAnsweredAndFollowedByKeys) {
    sample.loop.runPosted();
    settle();
    EXPECT_NE(named(QStringLiteral("Summary")), nullptr);
    press(Qt::Key_2, Qt::ControlModifier);
    sample.loop.runPosted();
    auto* field = window->findChild<QQuickItem*>(QStringLiteral("questionField"));
    ASSERT_NE(field, nullptr);
    for (int i = 0; i < 40 && !field->hasActiveFocus(); ++i) {
        press(Qt::Key_Tab);
    }
    ASSERT_TRUE(field->hasActiveFocus()) << "Tab never reaches the question";
    type(QStringLiteral("how much time on Launch films, edit last week"));
    press(Qt::Key_Return);
    EXPECT_NE(named(QStringLiteral("Looking it up…")), nullptr);
    sample.loop.runPosted();
    settle();
    EXPECT_EQ(named(QStringLiteral("Looking it up…")), nullptr);
    const auto* citations = window->findChild<QQuickItem*>(QStringLiteral("citations"));
    ASSERT_NE(citations, nullptr);
    for (int i = 0; i < 5 && !citations->hasActiveFocus(); ++i) {
        press(Qt::Key_Tab);
    }
    ASSERT_TRUE(citations->hasActiveFocus());
    press(Qt::Key_Return);
    EXPECT_EQ(window->property("page").toString(), QStringLiteral("home"));
    EXPECT_LT(sample.store->currentDate(), sample.store->today());
}

TEST_F(AssistantWindowTest, DaysOfARangeAreChosenFromACalendar) {
    press(Qt::Key_2, Qt::ControlModifier);
    ReportsModel& reports = *sample.window->reports();
    ASSERT_TRUE(reports.setDays(QStringLiteral("2026-11-10"), QStringLiteral("2026-11-12")));
    settle();
    ASSERT_TRUE(pressNamed(QStringLiteral("Choose the first day")));
    QTest::qWait(200);
    press(Qt::Key_Down);
    press(Qt::Key_Right);
    EXPECT_EQ(reports.firstDay(), QStringLiteral("2026-11-10")) << "only Enter chooses";
    press(Qt::Key_Return);
    EXPECT_EQ(reports.firstDay() + reports.lastDay(), QStringLiteral("2026-11-182026-11-18")) << "the last gives way";
    EXPECT_NE(named(QStringLiteral("First day")), nullptr);
}

}  // namespace
}  // namespace tolvik
