#include <QFile>
#include <QTemporaryDir>
#include <functional>
#include <gmock/gmock.h>

#include "tests/ui/window_fixture.h"
#include "voice/capture/push_to_talk_hotkey.h"

namespace tolvik {
namespace {

using testing::Contains;
using testing::HasSubstr;

/// The first-run steps on a fresh machine, walked by keys and by the names that assistive technology sees.
class OnboardingTest : public WindowTest {
protected:
    OnboardingTest() : WindowTest(true) {}

    OnboardingModel& steps() { return *sample.window->onboarding(); }
    [[nodiscard]] std::string step() { return steps().step().toStdString(); }
    void goTo(const char* name) {
        for (int i = 0; i < OnboardingModel::kSteps && step() != name; ++i) {
            steps().next();
        }
        settle();
        ASSERT_EQ(step(), name);
    }
    void speak(const std::string& sentence) {
        sample.chord.hold(PushToTalkHotkey::defaultModifiers);
        sample.loop.runFor(Millis{500});
        sample.chord.hold(0);
        sample.recognizer.hearAll(sentence);
        sample.loop.runPosted();
        settle();
    }
    /// Whether an element is there whose name has these words in it.
    [[nodiscard]] bool says(const QString& words) {
        bool found = false;
        visitAll(
            [&](QAccessibleInterface& element) { found = found || element.text(QAccessible::Name).contains(words); });
        return found;
    }
};

TEST_F(OnboardingTest, ARunByKeysAloneEndsAtHomeWithACommandSpoken) {
    EXPECT_EQ(named(QStringLiteral("Side bar")), nullptr);
    EXPECT_NE(named(QStringLiteral("Step 1 of 7")), nullptr);
    press(Qt::Key_2, Qt::ControlModifier);
    EXPECT_NE(named(QStringLiteral("Welcome to Tolvik")), nullptr) << "the pages' keys rest";
    press(Qt::Key_Return);
    EXPECT_EQ(step(), "howItWorks");
    press(Qt::Key_Escape);
    EXPECT_EQ(step(), "welcome");
    press(Qt::Key_Return);
    press(Qt::Key_Return);
    EXPECT_EQ(step(), "permissions");
    speak("reading my mail");
    EXPECT_TRUE(says(QStringLiteral("It works. That was a command: reading my mail")));
    EXPECT_FALSE(sample.task("reading my mail").isEmpty());
    press(Qt::Key_Return);
    EXPECT_EQ(step(), "role");
    press(Qt::Key_Right);
    press(Qt::Key_Space);
    EXPECT_EQ(steps().answer(), QStringLiteral("designer"));
    press(Qt::Key_Return);
    EXPECT_EQ(step(), "useCase");
    press(Qt::Key_Return);
    press(Qt::Key_Return);
    EXPECT_EQ(step(), "signIn");
    EXPECT_TRUE(pressNamed(QStringLiteral("Not now")));
    EXPECT_FALSE(steps().active());
    EXPECT_NE(named(QStringLiteral("Side bar")), nullptr);
    EXPECT_THAT(sample.noted, Contains("finished and spoke"));
    EXPECT_TRUE(sample.values.flag("tolvik.onboarding.completed", false));
    EXPECT_TRUE(sample.values.flag("tolvik.profile.pendingSync", false));
    EXPECT_EQ(sample.values.text("tolvik.profile.role"), "designer");
    EXPECT_EQ(sample.values.text("tolvik.profile.useCase", "absent"), "");
}

TEST_F(OnboardingTest, RowsTurnToGrantedInPlaceAndTheChordLightsUp) {
    sample.recognizer.missing = "No speech model was found.";
    sample.microphone.problem = MicrophoneError{MicrophoneError::Kind::noDevice, {}};
    goTo("permissions");
    EXPECT_TRUE(says(QStringLiteral("No speech model was found.")));
    EXPECT_TRUE(says(QStringLiteral("Microphone. No microphone available.")));
    EXPECT_TRUE(says(QStringLiteral("Needs the microphone.")));
    sample.recognizer.missing.clear();
    sample.microphone.problem.reset();
    EXPECT_TRUE(pressNamed(QStringLiteral("Check again: Speech recognition")));
    EXPECT_TRUE(says(QStringLiteral("Speech recognition. Granted.")));
    EXPECT_TRUE(says(QStringLiteral("Microphone. Granted.")));
    sample.chord.hold(modifier::control | modifier::shift);
    EXPECT_EQ(steps().heldKeys(), (QStringList{QStringLiteral("Ctrl"), QStringLiteral("Shift")}));
    sample.chord.hold(0);
    EXPECT_TRUE(steps().heldKeys().isEmpty());

    EXPECT_FALSE(sample.window->settings()->metering()) << "nothing is listened to unasked";
    EXPECT_TRUE(pressNamed(QStringLiteral("Test the microphone")));
    EXPECT_TRUE(sample.window->settings()->metering());
    EXPECT_NE(named(QStringLiteral("Input level")), nullptr);
    steps().next();
    settle();
    EXPECT_FALSE(sample.window->settings()->metering());
}

TEST_F(OnboardingTest, TellsOfAMissAndOfAnError) {
    goTo("permissions");
    sample.chord.hold(PushToTalkHotkey::defaultModifiers);
    sample.loop.runFor(Millis{500});
    EXPECT_EQ(steps().trial(), QStringLiteral("listening"));
    sample.chord.hold(0);
    sample.recognizer.fail(SpeechError::engineStopped);
    sample.loop.runFor(Millis{6000});
    EXPECT_EQ(steps().trial(), QStringLiteral("missed"));
    EXPECT_FALSE(steps().outcome().isEmpty());
    EXPECT_FALSE(steps().hasSpoken());
    speak("reading my mail");
    EXPECT_EQ(steps().trial(), QStringLiteral("done"));
}

TEST_F(OnboardingTest, GoesOnWhereItWasAndStartsOverOnRequest) {
    goTo("role");
    steps().setAnswer(QStringLiteral("manager"));
    OnboardingModel next({.values = sample.values}, *sample.window->settings());
    EXPECT_TRUE(next.active());
    EXPECT_EQ(next.step(), QStringLiteral("role"));
    EXPECT_EQ(next.answer(), QStringLiteral("manager"));
    steps().setAnswer(QStringLiteral("manager"));
    EXPECT_EQ(steps().answer(), QString()) << "chosen again, the choice is taken back";
    steps().skipAll();
    EXPECT_FALSE(OnboardingModel({.values = sample.values}, *sample.window->settings()).active());
    EXPECT_FALSE(sample.values.flag("tolvik.profile.pendingSync", true)) << "nothing was answered";

    window->setProperty("page", QStringLiteral("settings"));
    settle();
    EXPECT_TRUE(pressNamed(QStringLiteral("General")));
    EXPECT_TRUE(pressNamed(QStringLiteral("Show the first steps again")));
    EXPECT_EQ(step(), "welcome");
    EXPECT_TRUE(steps().active());
    EXPECT_FALSE(sample.values.flag("tolvik.onboarding.completed", true));
}

TEST_F(OnboardingTest, AnsweringOnlyTheLastQuestionOwesTheServer) {
    goTo("source");
    EXPECT_TRUE(pressNamed(QStringLiteral("Friend or colleague")));
    goTo("signIn");
    steps().next();
    EXPECT_TRUE(sample.values.flag("tolvik.profile.pendingSync", false));
}

TEST_F(OnboardingTest, SigningInIsPartOfIt) {
    sample.secretsProblem = "No secret service was found.";
    goTo("signIn");
    EXPECT_TRUE(says(QStringLiteral("No secret service was found.")));
    type(QStringLiteral("maren@holt.example"));
    press(Qt::Key_Return);
    ASSERT_THAT(sample.account.asked, Contains("code maren@holt.example"));
    sample.account.answer();
    settle();
    type(QStringLiteral("407251"));
    ASSERT_THAT(sample.account.asked, Contains("verify maren@holt.example 407251"));
    sample.account.answer();
    sample.account.changed.emit();
    settle();
    EXPECT_TRUE(says(QStringLiteral("Signed in as Maren Holt")));
    EXPECT_TRUE(pressNamed(QStringLiteral("Start tracking")));
    EXPECT_FALSE(steps().active());
}

TEST_F(OnboardingTest, UsageIsAskedOnceAndNothingIsKeptBefore) {
    goTo("permissions");
    PrivacyModel& privacy = *sample.window->privacy();
    EXPECT_FALSE(privacy.asked());
    sample.telemetry->track("before");
    sample.loop.runPosted();
    EXPECT_FALSE(std::filesystem::exists(sample.telemetryFolder));
    EXPECT_TRUE(pressNamed(QStringLiteral("Yes, send how it is used")));
    EXPECT_TRUE(privacy.shares());
    sample.telemetry->track("after");
    sample.loop.runPosted();

    steps().skipAll();
    window->setProperty("page", QStringLiteral("settings"));
    settle();
    EXPECT_TRUE(pressNamed(QStringLiteral("Data")));
    EXPECT_TRUE(pressNamed(QStringLiteral("Show the bytes that are sent next")));
    QTest::qWait(250);
    EXPECT_THAT(privacy.bytes().toStdString(), HasSubstr(sample.telemetry->previewBytes().product));
    EXPECT_THAT(privacy.bytes().toStdString(), HasSubstr("\"event\":\"after\""));
    EXPECT_THAT(privacy.bytes().toStdString(), Not(HasSubstr("before")));
    EXPECT_TRUE(pressNamed(QStringLiteral("Close")));
    EXPECT_TRUE(pressNamed(QStringLiteral("Share how Tolvik is used")));
    EXPECT_FALSE(privacy.shares());
    EXPECT_TRUE(std::filesystem::is_empty(sample.telemetryFolder));
    EXPECT_EQ(sample.values.text("tolvik.analytics.anonId"), "");
}

TEST_F(OnboardingTest, EveryControlHasANameATargetAndItsPlace) {
    for (const int width : {1200, 720}) {
        window->resize(width, width == 720 ? 520 : 800);
        steps().reset();
        for (int i = 0; i < OnboardingModel::kSteps; ++i) {
            settle();
            int controls = 0;
            visitAll([&](QAccessibleInterface& element) {
                const auto role = element.role();
                if (role != QAccessible::Button && role != QAccessible::RadioButton &&
                    role != QAccessible::EditableText) {
                    return;
                }
                ++controls;
                const std::string text = step() + ": " + element.text(QAccessible::Name).toStdString();
                EXPECT_FALSE(element.text(QAccessible::Name).isEmpty()) << text;
                EXPECT_GE(element.rect().height(), 32) << text;
                EXPECT_GE(element.rect().left(), window->x()) << text;
                EXPECT_LE(element.rect().right(), window->x() + window->width()) << text;
            });
            EXPECT_GE(controls, 2) << step();
            steps().next();
        }
    }
}

/// All data into one file and into a fresh machine.
TEST(DataModelTest, AllDataComesBackOnAFreshMachineWithoutLoss) {
    QTemporaryDir folder;
    SampleWindow before;
    before.fillTwoWeeks();
    before.fillDictionary();
    before.chosenFile = folder.filePath(QStringLiteral("all.json"));
    before.window->data()->exportAll();
    before.loop.runPosted();
    EXPECT_EQ(before.suggestedFile, QStringLiteral("tolvik-2026-11-19.json"));
    ASSERT_TRUE(QFile::exists(before.chosenFile));
    EXPECT_THAT(before.noted, Contains("data_export"));

    SampleWindow fresh;
    fresh.chosenFile = before.chosenFile;
    fresh.window->data()->chooseImport();
    fresh.loop.runPosted();
    EXPECT_EQ(fresh.window->data()->problem(), QString());
    EXPECT_EQ(fresh.store->exportAll(), before.store->exportAll());
    EXPECT_EQ(fresh.dictionary->entries(), before.dictionary->entries());
    EXPECT_EQ(fresh.dictionary->activeTagId(), before.dictionary->activeTagId());
    EXPECT_FALSE(fresh.store->tasks().empty());

    // Where something is, the person is asked first, and it is kept aside.
    SampleWindow other;
    other.dictionary->addTerm("Tampere", "city");
    other.chosenFile = before.chosenFile;
    QString path;
    QObject::connect(other.window->data(), &DataModel::confirmWanted, [&](const QString& file) { path = file; });
    other.window->data()->chooseImport();
    other.loop.runPosted();
    EXPECT_TRUE(other.store->tasks().empty());
    ASSERT_EQ(path, before.chosenFile);
    other.window->data()->importFrom(path);
    other.loop.runPosted();
    EXPECT_EQ(other.dictionary->entries(), before.dictionary->entries());
    const auto keys = other.values.keys().value();
    EXPECT_THAT(keys, Contains(testing::StartsWith("tolvik.dictionaries.before-import-")));
}

TEST(DataModelTest, SaysWhyAFileIsNotTakenAndChangesNothing) {
    QTemporaryDir folder;
    SampleWindow sample;
    sample.fillTwoWeeks();
    const auto before = sample.store->exportAll();
    for (const char* content : {"", "{}", "[1,2]", R"({"tolvik:tasks":[],"tolvik.dictionaries":{"entries":3}})"}) {
        const QString path = folder.filePath(QStringLiteral("bad.json"));
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(content);
        file.close();
        sample.window->data()->importFrom(path);
        sample.loop.runPosted();
        EXPECT_TRUE(sample.window->data()->problem().startsWith(QStringLiteral("Nothing was imported: "))) << content;
        EXPECT_EQ(sample.store->exportAll(), before) << content;
    }
    sample.window->data()->importFrom(folder.filePath(QStringLiteral("absent.json")));
    sample.loop.runPosted();
    EXPECT_TRUE(sample.window->data()->problem().contains(QStringLiteral("cannot be read")));
}

}  // namespace
}  // namespace tolvik
