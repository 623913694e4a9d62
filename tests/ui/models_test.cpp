#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <gtest/gtest.h>

#include "tests/ui/sample_window.h"

namespace tolvik {
namespace {

constexpr const char* kCheckout = "Checkout: retry failed payments";

QVariant cell(const QAbstractItemModel& model, int row, const char* role) {
    return model.data(model.index(row, 0), model.roleNames().key(role));
}

class ModelsTest : public testing::Test {
protected:
    ModelsTest() {
        QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedKingdom));
        for (QAbstractItemModel* model :
             {static_cast<QAbstractItemModel*>(home.rows()), static_cast<QAbstractItemModel*>(home.ribbon()),
              static_cast<QAbstractItemModel*>(home.strip()), static_cast<QAbstractItemModel*>(home.calendar()->days()),
              static_cast<QAbstractItemModel*>(home.switches()), static_cast<QAbstractItemModel*>(home.projects())}) {
            new QAbstractItemModelTester(model, QAbstractItemModelTester::FailureReportingMode::Fatal, model);
        }
    }
    [[nodiscard]] QString id(const std::string& title) const {
        return QString::fromStdString(sample.task(title).text());
    }
    [[nodiscard]] QStringList titles() const {
        QStringList list;
        for (int row = 0; row < home.rows()->rowCount(); ++row) {
            list << cell(*home.rows(), row, "title").toString();
        }
        return list;
    }

    SampleWindow sample;
    HomeModel& home = *sample.window->home();
};

TEST_F(ModelsTest, HomeTellsWhatRunsAndHowTheDayWent) {
    sample.fillTwoWeeks();
    EXPECT_EQ(home.runningTitle(), QString::fromLatin1(kCheckout));
    EXPECT_EQ(home.runningProject(), QStringLiteral("Harbour"));
    EXPECT_EQ(home.sinceText(), QStringLiteral("since 14:06"));
    EXPECT_EQ(home.clockText(), QStringLiteral("48:08"));
    EXPECT_EQ(home.todayText(), QStringLiteral("3h 11m today"));
    EXPECT_EQ(home.trackedText(), QStringLiteral("5h 10m"));
    EXPECT_EQ(home.startedText(), QStringLiteral("Day started 08:52"));
    EXPECT_EQ(home.dateText(), QStringLiteral("Thursday 19 November"));
    EXPECT_EQ(titles().first(), QString::fromLatin1(kCheckout));
    EXPECT_EQ(titles().last(), QStringLiteral("Book the train to Turku"));
    EXPECT_EQ(cell(*home.rows(), 0, "spoken").toString(),
              QStringLiteral("Checkout: retry failed payments, Harbour, 3 hours 11 minutes, running"));
    EXPECT_EQ(cell(*home.rows(), 0, "share").toDouble(), 1.0);
}

TEST_F(ModelsTest, TheClockRunsOnlyWhileSomebodyLooks) {
    sample.fillTwoWeeks();
    QSignalSpy ticks(&home, &HomeModel::ticked);
    sample.loop.runFor(Millis{5'000});
    EXPECT_EQ(ticks.count(), 0);

    home.setLive(true);
    ticks.clear();
    const QString before = home.clockText();
    sample.loop.runFor(Millis{3'000});
    EXPECT_GE(ticks.count(), 3);
    EXPECT_NE(home.clockText(), before);

    home.setLive(false);
    ticks.clear();
    sample.loop.runFor(Millis{5'000});
    EXPECT_EQ(ticks.count(), 0);
}

TEST_F(ModelsTest, NothingRunningNamesWhatCanBeResumed) {
    sample.fillUntilMorning();
    EXPECT_FALSE(home.running());
    EXPECT_TRUE(home.empty());
    EXPECT_EQ(home.lastText(), QStringLiteral("Last: Stand-up, yesterday until 16:36"));
    EXPECT_EQ(home.startedText(), QString());
    home.resume();
    EXPECT_EQ(home.runningTitle(), QStringLiteral("Stand-up"));
    EXPECT_EQ(home.endedText(), QString()) << "the day's only entry still runs";
    EXPECT_EQ(home.startedText(), QStringLiteral("Day started 08:50"));
}

TEST_F(ModelsTest, ATypedLineStartsATaskAndASlashIsCarriedOut) {
    sample.fillTwoWeeks();
    EXPECT_FALSE(home.submit(QStringLiteral("  \n ")));
    EXPECT_TRUE(home.submit(QStringLiteral("  Write the minutes ")));
    EXPECT_EQ(home.runningTitle(), QStringLiteral("Write the minutes"));

    EXPECT_TRUE(home.submit(QStringLiteral("/ switch to nowhere")));
    EXPECT_EQ(sample.sentences, std::vector<std::string>{"switch to nowhere"});
    EXPECT_EQ(home.toastText(), QStringLiteral("Couldn't find that task"));
    EXPECT_FALSE(home.toastOffersUndo());
    EXPECT_FALSE(home.submit(QStringLiteral("/")));
    EXPECT_EQ(home.runningTitle(), QStringLiteral("Write the minutes"));
}

TEST_F(ModelsTest, ADeletionOffersUndoAndUndoBringsItBack) {
    sample.fillTwoWeeks();
    home.remove(id("Stand-up"));
    EXPECT_FALSE(titles().contains(QStringLiteral("Stand-up")));
    EXPECT_TRUE(home.toastOffersUndo());
    home.undo();
    EXPECT_TRUE(titles().contains(QStringLiteral("Stand-up")));
    EXPECT_TRUE(home.deleteQuestion(QStringLiteral("X")).endsWith(QStringLiteral("? This cannot be undone.")));
}

TEST_F(ModelsTest, TheFilterHidesEvenTheRunningTask) {
    sample.fillTwoWeeks();
    home.chooseFilter(QStringLiteral("unassigned"));
    EXPECT_EQ(titles(), QStringList{QStringLiteral("Book the train to Turku")});
    EXPECT_EQ(home.filterText(), QStringLiteral("No project"));
    EXPECT_FALSE(home.empty());
    const QString studio = [&] {
        for (int row = 0; row < home.projects()->rowCount(); ++row) {
            if (cell(*home.projects(), row, "name") == QStringLiteral("Studio")) {
                return cell(*home.projects(), row, "projectId").toString();
            }
        }
        return QString();
    }();
    home.chooseFilter(studio);
    EXPECT_EQ(titles(), QStringList{QStringLiteral("Inbox and planning")});
    home.chooseFilter(QStringLiteral("all"));
    EXPECT_EQ(titles().size(), 6);
}

TEST_F(ModelsTest, ProjectsAreGivenMadeAndTakenAway) {
    sample.fillTwoWeeks();
    const QString train = id("Book the train to Turku");
    home.setNewProject(train, QStringLiteral("Travel"));
    const int row = static_cast<int>(titles().indexOf(QStringLiteral("Book the train to Turku")));
    EXPECT_EQ(cell(*home.rows(), row, "project"), QStringLiteral("Travel"));
    home.setProject(train, {});
    EXPECT_EQ(cell(*home.rows(), row, "project"), QString());
    EXPECT_FALSE(sample.store->taskById(sample.task("Book the train to Turku"))->tagId);
}

TEST_F(ModelsTest, TheRibbonSpansTenHoursFromTheFirstEntry) {
    sample.fillTwoWeeks();
    DayRibbonModel& ribbon = *home.ribbon();
    ribbon.setWidth(936);
    EXPECT_EQ(ribbon.rowCount(), 8);
    EXPECT_EQ(ribbon.hours().first().toMap()["text"], QStringLiteral("08:00"));
    EXPECT_EQ(ribbon.hours().last().toMap()["text"], QStringLiteral("18:00"));
    EXPECT_EQ(ribbon.hours().size(), 11);
    EXPECT_NEAR(ribbon.now(), 6.9 / 10, 0.001);
    EXPECT_EQ(ribbon.nowText(), QStringLiteral("14:54"));
    EXPECT_NEAR(cell(ribbon, 0, "from").toDouble(), 52.0 / 600, 0.001);
    EXPECT_EQ(cell(ribbon, 0, "spoken").toString(),
              QStringLiteral("Inbox and planning, from 08:52 to 09:31, 39 minutes"));

    ribbon.setWholeDay(true);
    EXPECT_EQ(ribbon.hours().first().toMap()["text"], QStringLiteral("00:00"));
    EXPECT_NEAR(ribbon.now(), 14.9 / 24, 0.001);

    home.shiftDay(-1);
    EXPECT_LT(ribbon.now(), 0);
    EXPECT_EQ(home.dayTitle(), QStringLiteral("Yesterday"));
}

TEST_F(ModelsTest, ADayOfTwentyFiveHoursIsShownAsLongAsItIs) {
    SampleWindow autumn;
    autumn.goTo(-12, 1, 0);  // 25 October 2026, when the clocks go back in Helsinki
    autumn.store->selectDate(autumn.store->today());
    (void)autumn.store->startTask("Night shift");
    autumn.goTo(-12, 6, 0);
    autumn.window->home()->ribbon()->setWholeDay(true);
    // Six hours on the clock are seven in truth, of which one was not worked.
    EXPECT_EQ(autumn.window->home()->clockText(), QStringLiteral("6:00:00"));
    EXPECT_NEAR(cell(*autumn.window->home()->ribbon(), 0, "to").toDouble(), 7.0 / 25, 0.001);
}

TEST_F(ModelsTest, TheStripEndsTodayAndTheMonthKnowsTheFuture) {
    sample.fillTwoWeeks();
    DayStripModel& strip = *home.strip();
    EXPECT_EQ(strip.rowCount(), 14);
    EXPECT_TRUE(cell(strip, 13, "chosen").toBool());
    EXPECT_EQ(cell(strip, 13, "number"), QStringLiteral("19"));
    EXPECT_EQ(cell(strip, 6, "fraction").toDouble(), 1.0);
    EXPECT_EQ(cell(strip, 13, "spoken"), QStringLiteral("Thursday 19 November, 5 hours 10 minutes"));
    strip.setLength(7);
    EXPECT_EQ(strip.rowCount(), 7);

    CalendarModel& calendar = *home.calendar();
    calendar.show(home.shownDay());
    EXPECT_EQ(calendar.days()->rowCount(), 42);
    EXPECT_EQ(calendar.title(), QStringLiteral("November 2026"));
    EXPECT_EQ(calendar.weekLetters().first(), QStringLiteral("M"));
    EXPECT_TRUE(cell(*calendar.days(), 41, "future").toBool());
    calendar.shift(1);
    EXPECT_EQ(calendar.title(), QStringLiteral("November 2026")) << "never into the future";
    calendar.shift(-1);
    EXPECT_EQ(calendar.title(), QStringLiteral("October 2026"));
}

TEST_F(ModelsTest, SwitchesAreNewestFirstAndTakeAReason) {
    sample.fillTwoWeeks();
    SwitchLogModel& switches = *home.switches();
    EXPECT_EQ(cell(switches, 0, "title"), QString::fromLatin1(kCheckout));
    const int call = switches.latestInto(id("Call with Ines about the launch"));
    EXPECT_EQ(cell(switches, call, "reason"), QStringLiteral("Ines moved the call up"));
    home.setReason(cell(switches, 0, "logId").toString(), QStringLiteral("  Payments wait "));
    EXPECT_EQ(cell(switches, 0, "reason"), QStringLiteral("Payments wait"));
    EXPECT_EQ(switches.latestInto(QStringLiteral("nobody")), -1);
}

TEST_F(ModelsTest, AFullDiskIsToldAndGoesAway) {
    sample.fillTwoWeeks();
    sample.values.failure = StoreError::full;
    home.markDone(id("Stand-up"));
    EXPECT_TRUE(home.problemText().contains(QStringLiteral("disk is full")));
    sample.values.failure.reset();
    sample.loop.runFor(Millis{600'000});
    EXPECT_EQ(home.problemText(), QString());
}

TEST_F(ModelsTest, TheRecorderFollowsTheHeldKeysAndSavesAValidRelease) {
    ChordRecorderModel& chord = *sample.window->settings()->chord();
    EXPECT_EQ(chord.chordText(), QStringLiteral("Control + Option + Shift"));
    EXPECT_EQ(chord.chordKeys(), (QStringList{"Ctrl", "Alt", "Shift"}));
    chord.start();
    EXPECT_TRUE(sample.voice->hotkeySuspended());
    EXPECT_EQ(chord.message(), QStringLiteral("Waiting for keys…"));
    sample.chord.hold(modifier::option);
    EXPECT_EQ(chord.message(), QStringLiteral("Add one more key"));
    sample.chord.hold(0);
    EXPECT_TRUE(chord.recording()) << "one key is not saved";
    sample.chord.hold(modifier::control | modifier::command);
    EXPECT_EQ(chord.message(), QStringLiteral("Command conflicts with app shortcuts"));
    sample.chord.hold(0);
    EXPECT_TRUE(chord.recording());
    sample.chord.hold(modifier::control);
    sample.chord.hold(modifier::control | modifier::shift);
    sample.chord.hold(0);
    EXPECT_FALSE(chord.recording());
    EXPECT_FALSE(sample.voice->hotkeySuspended());
    EXPECT_EQ(sample.values.integer("tolvik.hotkey.modifiers"), 0x60000);
    EXPECT_EQ(chord.chordKeys(), (QStringList{"Ctrl", "Shift"}));
}

TEST_F(ModelsTest, ACancelledRecordingKeepsTheChord) {
    ChordRecorderModel& chord = *sample.window->settings()->chord();
    chord.start();
    sample.chord.hold(modifier::control | modifier::shift);
    chord.cancel();
    sample.chord.hold(0);
    EXPECT_FALSE(sample.voice->hotkeySuspended());
    EXPECT_EQ(chord.chordText(), QStringLiteral("Control + Option + Shift"));
}

TEST_F(ModelsTest, TheMicrophoneIsOpenOnlyWhileItsLevelIsLookedAt) {
    SettingsModel& settings = *sample.window->settings();
    EXPECT_EQ(settings.microphoneName(), QStringLiteral("Desk microphone"));
    EXPECT_FALSE(sample.microphone.isRecording());
    settings.setMetering(true);
    EXPECT_TRUE(sample.microphone.isRecording());
    settings.setMicrophoneId(QStringLiteral("cam"));
    EXPECT_EQ(sample.microphone.startedDevices.back(), "cam");
    EXPECT_EQ(settings.microphoneName(), QStringLiteral("Camera"));
    settings.setMetering(false);
    EXPECT_FALSE(sample.microphone.isRecording());
    sample.microphone.problem = MicrophoneError{MicrophoneError::Kind::noDevice, {}};
    EXPECT_EQ(settings.microphoneProblem(), QStringLiteral("No microphone available."));
}

TEST_F(ModelsTest, SettingsSayWhatIsMissingAndAreKept) {
    SettingsModel& settings = *sample.window->settings();
    EXPECT_TRUE(settings.engineReady());
    sample.recognizer.missing = "No speech model. Run ./setup.";
    EXPECT_FALSE(settings.engineReady());
    EXPECT_EQ(settings.engineProblem(), QStringLiteral("No speech model. Run ./setup."));
    settings.setPauseMedia(true);
    EXPECT_TRUE(sample.values.flag("tolvik.voice.pauseMedia", false));
    settings.setMenuBarEnabled(false);
    EXPECT_FALSE(sample.values.flag("tolvik.menuBar.enabled", true));
    settings.setVoiceEnabled(false);
    EXPECT_FALSE(sample.voice->enabled());
    sample.values.failure = StoreError::readOnly;
    settings.setPauseMedia(false);
    EXPECT_FALSE(settings.problem().isEmpty());
}

TEST_F(ModelsTest, LooksFollowTheDesktopUnlessToldOtherwise) {
    LooksModel& looks = *sample.window->looks();
    QSignalSpy changed(&looks, &LooksModel::changed);
    EXPECT_FALSE(looks.dark());
    sample.appearance.set({.dark = true});
    EXPECT_TRUE(looks.dark());
    looks.setTheme(QStringLiteral("light"));
    EXPECT_FALSE(looks.dark());
    EXPECT_EQ(changed.count(), 2);
    const LooksModel again(sample.values, &sample.appearance);
    EXPECT_FALSE(again.dark()) << "the choice is kept";
}

TEST_F(ModelsTest, ThePillFollowsASessionFromTheChordToTheOutcome) {
    sample.fillTwoWeeks();
    PillModel& pill = *sample.window->pill();
    QStringList spoken;
    QObject::connect(&pill, &PillModel::announcementChanged, [&] { spoken << pill.announcement(); });
    EXPECT_FALSE(pill.shown());
    sample.chord.hold(modifier::control | modifier::option | modifier::shift);
    sample.loop.runFor(Millis{500});
    EXPECT_EQ(pill.phase(), QStringLiteral("listening"));
    sample.recognizer.hearSoFar("tide table layout");
    sample.loop.runFor(Millis{500});
    EXPECT_EQ(pill.transcript(), QStringLiteral("tide table layout"));
    EXPECT_EQ(pill.pendingIcon(), QStringLiteral("play-fill"));
    EXPECT_EQ(pill.pendingTitle(), QStringLiteral("tide table layout"));
    sample.chord.hold(0);
    sample.loop.runPosted();
    EXPECT_EQ(pill.phase(), QStringLiteral("transcribing"));
    sample.recognizer.hearAll("tide table layout");
    sample.loop.runPosted();
    EXPECT_EQ(pill.phase(), QStringLiteral("done"));
    EXPECT_EQ(pill.outcomeTitle(), QStringLiteral("tide table layout"));
    EXPECT_TRUE(pill.offersUndo());
    pill.undo();
    EXPECT_NE(home.runningTitle(), QStringLiteral("tide table layout"));
    EXPECT_EQ(spoken.mid(0, 3), (QStringList{"Listening", "Transcribing", "tide table layout"}));
}

TEST(PillModel, DrawsTheFirstSignOfTheLineAsItsIcon) {
    PillModel pill;
    PillState state;
    state.phase = VoicePhase::done;
    state.doneText = QStringLiteral("→ Call with Ines · Ines called");
    state.outcome = CommandOutcome();
    state.outcome->action = "switch";
    state.outcome->reason = "Ines called";
    pill.show(state);
    EXPECT_EQ(pill.outcomeIcon(), QStringLiteral("arrow-right"));
    EXPECT_EQ(pill.outcomeTitle(), QStringLiteral("Call with Ines"));
    EXPECT_EQ(pill.outcomeReason(), QStringLiteral("Ines called"));
    EXPECT_TRUE(pill.outcomeIsForward());

    state.outcome.reset();
    state.doneText = QStringLiteral("Couldn't find that task");
    pill.show(state);
    EXPECT_EQ(pill.outcomeIcon(), QStringLiteral("question-lg"));
    EXPECT_FALSE(pill.outcomeIsForward());

    state = {};
    state.error = QStringLiteral("Microphone stopped. Try again.");
    pill.show(state);
    EXPECT_EQ(pill.phase(), QStringLiteral("error"));
    EXPECT_EQ(pill.announcement(), state.error);
}

}  // namespace
}  // namespace tolvik
