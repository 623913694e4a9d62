#include <QAbstractItemModelTester>
#include <QClipboard>
#include <QFile>
#include <QGuiApplication>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <utility>

#include "app/models/system_settings.h"
#include "tests/ui/sample_window.h"

namespace tolvik {
namespace {

using ::testing::ElementsAre;

QVariant cell(const QAbstractItemModel& model, int row, const char* role) {
    return model.data(model.index(row, 0), model.roleNames().key(role));
}

class PagesTest : public testing::Test {
protected:
    PagesTest() {
        QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedKingdom));
        const std::vector<QAbstractItemModel*> lists{dictionary.targets(), dictionary.terms(), projects.rows(),
                                                     projects.tasks(),     reports.bars(),     reports.projects(),
                                                     reports.tasks()};
        for (QAbstractItemModel* model : lists) {
            new QAbstractItemModelTester(model, QAbstractItemModelTester::FailureReportingMode::Fatal, model);
        }
        sample.fillTwoWeeks();
        sample.fillDictionary();
    }
    [[nodiscard]] QString projectId(const std::string& name) const {
        return QString::fromStdString(sample.project(name).text());
    }
    static QStringList column(const QAbstractItemModel& model, const char* role) {
        QStringList list;
        for (int row = 0; row < model.rowCount(); ++row) {
            list << cell(model, row, role).toString();
        }
        return list;
    }

    SampleWindow sample;
    DictionaryModel& dictionary = *sample.window->dictionary();
    ProjectsModel& projects = *sample.window->projects();
    ReportsModel& reports = *sample.window->reports();
    AccountModel& account = *sample.window->account();
    ToastModel& toast = *sample.window->toast();
};

TEST_F(PagesTest, TermsAreAddedOnceChangedAndGivenBack) {
    EXPECT_EQ(dictionary.countText(), QStringLiteral("9 terms"));
    EXPECT_EQ(dictionary.collision(QStringLiteral(" TURKU ")), QStringLiteral("Turku (city) is already here."));
    EXPECT_FALSE(dictionary.add(QStringLiteral("turku"), {}));
    EXPECT_FALSE(dictionary.add(QStringLiteral("  "), QStringLiteral("x")));
    dictionary.setSearch(QStringLiteral("service"));
    EXPECT_EQ(dictionary.countText(), QStringLiteral("1 of 9 terms"));
    EXPECT_TRUE(dictionary.add(QStringLiteral("Lumo"), QStringLiteral("client")));
    EXPECT_EQ(toast.text(), QStringLiteral("Added Lumo (client)"));
    toast.undo();
    EXPECT_EQ(sample.dictionary->find("Lumo", std::nullopt), nullptr);
    EXPECT_TRUE(dictionary.add(QStringLiteral("Lumo"), QStringLiteral("client")));
    dictionary.setSearch({});
    EXPECT_EQ(cell(*dictionary.terms(), 0, "term"), QStringLiteral("Lumo")) << "the latest first";

    const QString lumo = cell(*dictionary.terms(), 0, "termId").toString();
    EXPECT_FALSE(dictionary.edit(lumo, QStringLiteral("Turku"), {}));
    EXPECT_TRUE(dictionary.edit(lumo, QStringLiteral("Lumo Oy"), QStringLiteral("client")));
    toast.undo();
    EXPECT_EQ(cell(*dictionary.terms(), 0, "term"), QStringLiteral("Lumo"));

    const auto before = sample.dictionary->entries();
    dictionary.remove(QString::fromStdString(before[3].id.text()));
    EXPECT_EQ(toast.text(), QStringLiteral("Deleted webhook"));
    EXPECT_TRUE(toast.offersUndo());
    toast.undo();
    EXPECT_EQ(sample.dictionary->entries(), before);
}

TEST_F(PagesTest, AProjectsTermsRestUntilItIsCurrent) {
    EXPECT_EQ(column(*dictionary.targets(), "name"), (QStringList{"Personal", "Brightwater", "Harbour", "Studio"}));
    dictionary.setTargetId(projectId("Studio"));
    dictionary.setCurrent(true);
    EXPECT_EQ(sample.dictionary->activeTagId(), sample.project("Studio"));
    EXPECT_EQ(sample.window->home()->inputProject(), QStringLiteral("Studio"));
    (void)sample.store->deleteProject(sample.project("Studio"));
    EXPECT_EQ(dictionary.targetId(), QString()) << "a deleted project is shown no longer";
}

TEST_F(PagesTest, TheImportSheetTellsBeforeItAdds) {
    dictionary.setTargetId(projectId("Harbour"));
    dictionary.beginImport();
    dictionary.setImportText(QStringLiteral("checkout\nLumo (client)\nTampere"));
    EXPECT_EQ(dictionary.importCountText(), QStringLiteral("3 entries found, 1 already there: checkout"));
    EXPECT_EQ(dictionary.importCount(), 2);
    dictionary.setImportTargetId({});
    EXPECT_EQ(dictionary.importCount(), 3) << "another dictionary";
    dictionary.setImportText(QStringLiteral("[\"a\""));
    EXPECT_TRUE(dictionary.importProblem().contains(QStringLiteral("line 1")));
    dictionary.setImportText(QStringLiteral("Lumo\nTampere"));
    EXPECT_EQ(dictionary.importProblem(), QString());
    dictionary.import();
    EXPECT_EQ(toast.text(), QStringLiteral("Imported 2 entries"));
    EXPECT_EQ(toast.lifeMs(), 4000);
    EXPECT_EQ(dictionary.countText(), QStringLiteral("11 terms"));
    toast.undo();
    EXPECT_EQ(dictionary.countText(), QStringLiteral("9 terms"));
}

TEST_F(PagesTest, TenThousandTermsComeInOneStretch) {
    QString text;
    for (int i = 0; i < 10'000; ++i) {
        text += QStringLiteral("Term %1 (number)\n").arg(i);
    }
    QSignalSpy inserted(dictionary.terms(), &QAbstractItemModel::rowsInserted);
    dictionary.beginImport();
    QGuiApplication::clipboard()->setText(text);
    EXPECT_TRUE(dictionary.pasteLong(QStringLiteral("Turku\n"), QStringLiteral("Last")));
    EXPECT_TRUE(dictionary.importIsLong());
    EXPECT_LT(dictionary.importShown().size(), 10'000);
    EXPECT_TRUE(dictionary.importShown().startsWith(QStringLiteral("Turku\nTerm 0 (number)")));
    EXPECT_TRUE(dictionary.importShown().contains(QStringLiteral(" more lines")));
    EXPECT_EQ(dictionary.importCount(), 0) << "the worker's answer comes in a later turn";
    sample.loop.runPosted();
    EXPECT_EQ(dictionary.importCountText(), QStringLiteral("10002 entries found, 1 already there: Turku"));
    QGuiApplication::clipboard()->setText(QStringLiteral("One more"));
    EXPECT_TRUE(dictionary.pasteLong({}, {})) << "behind what is there";
    sample.loop.runPosted();
    EXPECT_EQ(dictionary.importCount(), 10'002);

    const auto before = sample.dictionary->entries();
    dictionary.import();
    sample.loop.runFor(Millis{1});
    EXPECT_EQ(dictionary.terms()->rowCount(), 10'009 + 2);
    EXPECT_EQ(inserted.count(), 1);
    EXPECT_EQ(cell(*dictionary.terms(), 0, "term"), QStringLiteral("One more"));
    EXPECT_EQ(toast.text(), QStringLiteral("Imported 10002 entries"));
    toast.undo();
    sample.loop.runFor(Millis{1});
    EXPECT_EQ(sample.dictionary->entries(), before);
    EXPECT_EQ(dictionary.terms()->rowCount(), 9);
    QGuiApplication::clipboard()->setText(QStringLiteral("short"));
    EXPECT_FALSE(dictionary.pasteLong({}, {})) << "for the field to take";
}

TEST_F(PagesTest, TheListFollowsAnySequenceOfChanges) {
    const auto shown = [&] { return column(*dictionary.terms(), "termId"); };
    const auto wanted = [&] {
        QStringList ids;
        for (const DictEntry& entry : sample.dictionary->entries()) {
            if (!entry.tagId) {
                ids.prepend(QString::fromStdString(entry.id.text()));
            }
        }
        return ids;
    };
    FakeRandom chance{7};
    std::vector<DictionaryManager::Placed> gone;
    for (int i = 0; i < 200; ++i) {
        std::vector<Identifier> some;
        for (const DictEntry& entry : sample.dictionary->entries()) {
            if (chance.next() % 4 == 0) {
                some.push_back(entry.id);
            }
        }
        switch (chance.next() % 4) {
            case 0:
                gone = sample.dictionary->deleteTerms(some);
                break;
            case 1:
                sample.dictionary->restore(std::exchange(gone, {}));
                break;
            case 2:
                sample.dictionary->addTerm("term " + std::to_string(i), "");
                break;
            default:
                // A pull: some change, some go, some come, at once.
                (void)sample.dictionary->mergePulled({{chance.identifier(), "theirs", "", {}}},
                                                     {some.begin(), some.end()}, {}, false);
        }
        ASSERT_EQ(shown(), wanted()) << i;
    }
    dictionary.setSearch(QStringLiteral("their"));
    for (const QString& term : column(*dictionary.terms(), "term")) {
        EXPECT_EQ(term, QStringLiteral("theirs"));
    }
}

TEST_F(PagesTest, ProjectsTellTheirWeeksAndTheirEnd) {
    EXPECT_EQ(projects.rows()->rowCount(), 0) << "nobody looks";
    projects.setLive(true);
    const ProjectPageModel& rows = *projects.rows();
    EXPECT_EQ(column(rows, "name"), (QStringList{"Harbour", "Studio", "Brightwater"}));
    EXPECT_EQ(cell(rows, 0, "weeks").toList().size(), 12);
    EXPECT_EQ(cell(rows, 0, "weeks").toList().first().toDouble(), 0.0);
    EXPECT_EQ(projects.chosenName(), QStringLiteral("Harbour"));
    EXPECT_EQ(projects.termsText(), QStringLiteral("3 terms"));

    // The lengths in the list are the sums of the log's days.
    std::int64_t all = 0;
    for (const TimeEntry& entry : sample.store->timeEntries()) {
        all += entry.durationMs.value_or(0);
    }
    const auto running = sample.clock.now() - *sample.store->runningEntry()->startedAt.instant();
    ProjectTimes times;
    times.update(*sample.store, sample.zone, sample.clock.now(), 1);
    std::int64_t told = times.of(std::nullopt).totalMs;
    for (const TagModel& tag : sample.store->tags()) {
        told += times.of(tag.id).totalMs;
    }
    EXPECT_EQ(told, all + running.count());

    projects.setCurrent(true);
    EXPECT_TRUE(cell(rows, 0, "current").toBool());
    EXPECT_FALSE(projects.rename(QStringLiteral("  ")));
    EXPECT_TRUE(projects.rename(QStringLiteral(" Harbour works ")));
    EXPECT_EQ(projects.chosenName(), QStringLiteral("Harbour works"));
    projects.remove();
    EXPECT_EQ(sample.dictionary->activeTagId(), std::nullopt);
    EXPECT_NE(projects.chosenName(), QStringLiteral("Harbour works"));
    EXPECT_FALSE(projects.untaggedText().isEmpty());
    toast.undo();
    EXPECT_EQ(projects.chosenName(), QStringLiteral("Harbour works"));
    EXPECT_TRUE(projects.chosenIsCurrent()) << "current again";
    EXPECT_TRUE(projects.create(QStringLiteral("Hiring")));
    EXPECT_EQ(projects.chosenName(), QStringLiteral("Hiring"));
    EXPECT_FALSE(projects.create(QStringLiteral(" ")));
}

TEST_F(PagesTest, AReportIsComputedOnceAndLeadsToItsDays) {
    reports.setLive(true);
    const auto computed = reports.computed();
    reports.setLive(false);
    reports.setLive(true);
    EXPECT_EQ(reports.computed(), computed);
    EXPECT_EQ(reports.chartTitle(), QStringLiteral("Daily breakdown"));
    EXPECT_FALSE(reports.empty());
    double shares = 0;
    for (const QVariant& part : cell(*reports.bars(), reports.bars()->rowCount() - 1, "segments").toList()) {
        shares += part.toMap()[QStringLiteral("share")].toDouble();
    }
    EXPECT_NEAR(shares, 1.0, 1e-9);

    QSignalSpy home(&reports, &ReportsModel::homeWanted);
    reports.showTask(QString::fromStdString(sample.task("Map tiles spike").text()));
    EXPECT_EQ(home.count(), 1);
    EXPECT_TRUE(sample.store->currentDate() < sample.store->today());

    reports.setFilterId(projectId("Studio"));
    for (int row = 0; row < reports.tasks()->rowCount(); ++row) {
        EXPECT_EQ(cell(*reports.tasks(), row, "project"), QStringLiteral("Studio"));
    }
    reports.setFilterId(QStringLiteral("all"));
    EXPECT_FALSE(reports.setDays(QStringLiteral("2026-11-19"), QStringLiteral("2026-11-18")));
    EXPECT_FALSE(reports.setDays(QStringLiteral("yesterday"), QStringLiteral("2026-11-18")));
    EXPECT_TRUE(reports.setDays(QStringLiteral("2025-11-18"), QStringLiteral("2026-11-18")));
    EXPECT_EQ(reports.capMessage(), QString());
    EXPECT_TRUE(reports.setDays(QStringLiteral("2025-11-17"), QStringLiteral("2026-11-18")));
    EXPECT_EQ(reports.capMessage(), QStringLiteral("Export capped at 1 year"));
    EXPECT_TRUE(reports.setDays(QStringLiteral("2020-01-01"), QStringLiteral("2020-01-02")));
    EXPECT_TRUE(reports.empty());
}

TEST_F(PagesTest, AnExportIsAWholeFileOrNone) {
    const QTemporaryDir folder;
    reports.setLive(true);
    reports.exportAs(QStringLiteral("csv"));
    EXPECT_FALSE(reports.exporting()) << "nobody chose a file";
    EXPECT_TRUE(sample.suggestedFile.endsWith(QStringLiteral("-to-2026-11-19.csv")));
    sample.chosenFile = folder.filePath(QStringLiteral("out.csv"));
    reports.exportAs(QStringLiteral("csv"));
    sample.loop.runPosted();
    EXPECT_FALSE(reports.exporting());
    EXPECT_EQ(toast.text(), QStringLiteral("Exported to out.csv"));
    QFile file(sample.chosenFile);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QList<QByteArray> lines = file.readAll().split('\n');
    EXPECT_EQ(lines.first(), QByteArray("date,project,task_title,task_status,start_time,end_time,duration_minutes"));
    EXPECT_EQ(lines.size() - 1, static_cast<qsizetype>(sample.store->timeEntries().size()));

    sample.chosenFile = folder.filePath(QStringLiteral("no/such/folder.json"));
    reports.exportAs(QStringLiteral("json"));
    sample.loop.runPosted();
    EXPECT_TRUE(toast.text().startsWith(QStringLiteral("folder.json was not written"))) << toast.text().toStdString();
    EXPECT_FALSE(QFile::exists(sample.chosenFile));
}

TEST_F(PagesTest, ACodeIsAskedForOnceAndSubmitsItself) {
    EXPECT_EQ(account.stateText(), QStringLiteral("On this device only"));
    account.setEnteredEmail(QStringLiteral("maren@holt"));
    account.sendCode();
    EXPECT_EQ(account.error(), QStringLiteral("Enter a valid email address."));
    EXPECT_TRUE(sample.account.asked.empty());
    account.setEnteredEmail(QStringLiteral(" maren@holt.example\t"));
    EXPECT_EQ(account.error(), QString()) << "until the next edit";
    account.sendCode();
    account.sendCode();
    EXPECT_THAT(sample.account.asked, ElementsAre("code maren@holt.example"));
    sample.account.answer();
    EXPECT_EQ(account.step(), QStringLiteral("code"));

    account.setCode(QStringLiteral("12 34"));
    EXPECT_EQ(account.code(), QStringLiteral("1234"));
    account.setCode(QStringLiteral("12345678"));
    EXPECT_EQ(sample.account.asked.back(), "verify maren@holt.example 123456");
    sample.account.answer("Invalid or expired code");
    EXPECT_EQ(account.error(), QStringLiteral("Invalid or expired code"));
    EXPECT_EQ(account.step(), QStringLiteral("code"));
    account.setCode(QStringLiteral("12345"));
    EXPECT_EQ(account.error(), QString());
    QSignalSpy done(&account, &AccountModel::signInDone);
    account.setCode(QStringLiteral("123457"));
    sample.account.answer();
    EXPECT_EQ(done.count(), 1);
    EXPECT_EQ(account.stateText(), QStringLiteral("Up to date"));
    EXPECT_EQ(account.initial(), QStringLiteral("M"));
}

TEST_F(PagesTest, AnAnswerToALeftStepChangesNothing) {
    account.setEnteredEmail(QStringLiteral("maren@holt.example"));
    account.sendCode();
    account.back();
    sample.account.answer();
    EXPECT_EQ(account.step(), QStringLiteral("email"));
    EXPECT_FALSE(account.busy());
}

TEST_F(PagesTest, TheAccountSaysWhatWaitsAndWhy) {
    sample.account.signedIn = true;
    sample.account.set({.pending = 1});
    EXPECT_EQ(account.stateText(), QStringLiteral("1 waiting to sync"));
    EXPECT_TRUE(account.signOutText().contains(QStringLiteral("1 unsynced change first")));
    sample.account.set({.pending = 3, .reason = "Offline, will retry", .offline = true});
    EXPECT_TRUE(account.signOutText().contains(QStringLiteral("3 unsynced changes first")));
    EXPECT_EQ(account.reasonText(), QStringLiteral("Offline, will retry"));
    EXPECT_FALSE(account.networkProblem().isEmpty());
    sample.account.set({});
    EXPECT_EQ(account.signOutText(), QStringLiteral("You'll need to sign in again to sync."));
    account.saveName(QStringLiteral("  Maren  "));
    EXPECT_EQ(sample.account.asked.back(), "name Maren");
    sample.account.answer("Couldn't save your name (HTTP 403). Please try again.");
    EXPECT_EQ(account.name(), QStringLiteral("Maren Holt")) << "the old one";
    EXPECT_TRUE(account.nameProblem().contains(QStringLiteral("403")));
    account.deleteAccount();
    sample.account.answer("Could not delete the account (HTTP 500).");
    EXPECT_TRUE(account.signedIn());
    EXPECT_TRUE(account.accountProblem().contains(QStringLiteral("500")));
    sample.account.rejected.emit("“Stand-up” was not renamed.");
    EXPECT_FALSE(account.rejection().isEmpty());
    account.dismissRejection();
    EXPECT_TRUE(account.rejection().isEmpty());
}

TEST(SystemSettings, AreThoseOfTheRunningDesktopElseAnyThatIsThere) {
    const auto there = [](const QStringList& programs) {
        return [programs](const QString& program) { return programs.contains(program); };
    };
    const QStringList both{"gnome-control-center", "systemsettings"};
    EXPECT_EQ(systemSettingsCommand(QStringLiteral("KDE"), there(both)).first(), QStringLiteral("systemsettings"));
    EXPECT_EQ(systemSettingsCommand(QStringLiteral("ubuntu:GNOME"), there(both)).first(),
              QStringLiteral("gnome-control-center"));
    EXPECT_EQ(systemSettingsCommand({}, there({"lxqt-config"})), QStringList{"lxqt-config"});
    EXPECT_TRUE(systemSettingsCommand(QStringLiteral("KDE"), there({})).isEmpty());
}

}  // namespace
}  // namespace tolvik
