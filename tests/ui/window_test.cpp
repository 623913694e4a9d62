#include "tests/ui/window_fixture.h"

namespace tolvik {
namespace {

TEST_F(WindowTest, ControlKAndALineStartATask) {
    press(Qt::Key_K, Qt::ControlModifier);
    type(QStringLiteral("Write the minutes"));
    press(Qt::Key_Return);
    EXPECT_EQ(home.runningTitle(), QStringLiteral("Write the minutes"));
    ASSERT_NE(named(QStringLiteral("What are you working on?")), nullptr);
    EXPECT_EQ(named(QStringLiteral("What are you working on?"))->text(QAccessible::Value), QString());
}

TEST_F(WindowTest, TheListIsOneStopWhoseKeysActOnTheRow) {
    focusTasks();
    press(Qt::Key_Down);
    press(Qt::Key_Return);
    EXPECT_EQ(home.runningTitle(), QStringLiteral("Inbox and planning"));

    press(Qt::Key_Up);
    press(Qt::Key_F2);
    type(QStringLiteral("Inbox zero"));
    press(Qt::Key_Return);
    ASSERT_EQ(home.runningTitle(), QStringLiteral("Inbox zero"));

    press(Qt::Key_D);
    EXPECT_FALSE(home.running());
    EXPECT_FALSE(sample.store->taskById(sample.task("Inbox zero"))->isOpen());
}

TEST_F(WindowTest, RenamingBacksOutWithEscape) {
    focusTasks();
    press(Qt::Key_F2);
    type(QStringLiteral("Something else"));
    press(Qt::Key_Escape);
    EXPECT_EQ(home.runningTitle(), QStringLiteral("Checkout: retry failed payments"));
}

TEST_F(WindowTest, ADeletionAsksWithTheFocusOnTheSafeButton) {
    focusTasks();
    press(Qt::Key_Delete);
    EXPECT_NE(named(QStringLiteral("Delete “Checkout: retry failed payments”? This cannot be undone.")), nullptr);
    press(Qt::Key_Return);
    EXPECT_TRUE(exists("Checkout: retry failed payments")) << "Enter presses the safe button";

    QTest::qWait(300);
    press(Qt::Key_Delete);
    EXPECT_TRUE(pressNamed(QStringLiteral("Delete")));
    EXPECT_FALSE(exists("Checkout: retry failed payments"));
    QTest::qWait(300);
    EXPECT_TRUE(pressNamed(QStringLiteral("Undo")));
    EXPECT_TRUE(exists("Checkout: retry failed payments"));
}

TEST_F(WindowTest, AReasonIsEditedInItsPlace) {
    focusTasks();
    press(Qt::Key_R);
    type(QStringLiteral("Payments team is waiting"));
    press(Qt::Key_Return);
    const SwitchLogModel& switches = *home.switches();
    EXPECT_EQ(switches.data(switches.index(0), switches.roleNames().key("reason")),
              QStringLiteral("Payments team is waiting"));
}

TEST_F(WindowTest, KeysMoveThroughTheDays) {
    press(Qt::Key_Left, Qt::AltModifier);
    EXPECT_EQ(home.dayTitle(), QStringLiteral("Yesterday"));
    press(Qt::Key_Home, Qt::AltModifier);
    EXPECT_EQ(home.dayTitle(), QStringLiteral("Today"));
    press(Qt::Key_G, Qt::ControlModifier);
    EXPECT_NE(named(QStringLiteral("Month before")), nullptr);
    QTest::qWait(200);
    press(Qt::Key_Left);
    press(Qt::Key_Return);
    EXPECT_EQ(home.dayTitle(), QStringLiteral("Yesterday"));
    QTest::qWait(200);
    EXPECT_EQ(named(QStringLiteral("Month before")), nullptr) << "Enter closes the calendar";
}

TEST_F(WindowTest, TheRunningTaskIsStoppedByKeysAndTheStopTakenBack) {
    press(Qt::Key_S, Qt::ControlModifier | Qt::ShiftModifier);
    EXPECT_FALSE(home.running());
    press(Qt::Key_Z, Qt::ControlModifier);
    EXPECT_TRUE(home.running());
    press(Qt::Key_D, Qt::ControlModifier | Qt::ShiftModifier);
    EXPECT_FALSE(home.running());
}

TEST_F(WindowTest, TheFilterIsChosenByKeys) {
    press(Qt::Key_F, Qt::ControlModifier);
    QTest::qWait(200);
    press(Qt::Key_Down);
    press(Qt::Key_Return);
    EXPECT_EQ(home.filterText(), QStringLiteral("Brightwater"));
}

TEST_F(WindowTest, SettingsArePressedByName) {
    press(Qt::Key_Comma, Qt::ControlModifier);
    EXPECT_TRUE(pressNamed(QStringLiteral("Pause Spotify or Music while recording")));
    EXPECT_TRUE(sample.window->settings()->pauseMedia());
    EXPECT_TRUE(pressNamed(QStringLiteral("Change the push-to-talk chord")));
    EXPECT_TRUE(sample.window->settings()->chord()->recording());
    EXPECT_NE(named(QStringLiteral("Waiting for keys…")), nullptr);
    press(Qt::Key_Escape);
    EXPECT_FALSE(sample.window->settings()->chord()->recording());
    EXPECT_TRUE(pressNamed(QStringLiteral("Appearance")));
    EXPECT_TRUE(pressNamed(QStringLiteral("High contrast")));
    EXPECT_TRUE(sample.window->looks()->highContrast());
    press(Qt::Key_Escape);
    EXPECT_EQ(window->property("page"), QStringLiteral("home"));
}

TEST_F(WindowTest, LeavingTheSettingsClosesTheMicrophone) {
    press(Qt::Key_Comma, Qt::ControlModifier);
    EXPECT_TRUE(sample.microphone.isRecording());
    press(Qt::Key_1, Qt::ControlModifier);
    EXPECT_FALSE(sample.microphone.isRecording());
}

TEST_F(WindowTest, EveryControlHasANameAndATarget) {
    int controls = 0;
    const auto check = [&](QAccessibleInterface& element) {
        switch (element.role()) {
            case QAccessible::Button:
            case QAccessible::CheckBox:
            case QAccessible::ButtonMenu:
            case QAccessible::PageTab:
            case QAccessible::EditableText:
            case QAccessible::ListItem:
                break;
            default:
                return;
        }
        ++controls;
        const std::string name = element.text(QAccessible::Name).toStdString();
        EXPECT_FALSE(name.empty()) << "a control without a name in "
                                   << window->property("page").toString().toStdString();
        if (element.role() == QAccessible::Button || element.role() == QAccessible::CheckBox) {
            EXPECT_GE(element.rect().height(), 32) << name;
            EXPECT_GE(element.rect().width(), 32) << name;
        }
    };
    visitAll(check);
    press(Qt::Key_Comma, Qt::ControlModifier);
    visitAll(check);
    EXPECT_GT(controls, 50);
    EXPECT_NE(named(QStringLiteral("Home")), nullptr);
}

TEST_F(WindowTest, AHiddenWindowCountsNothing) {
    EXPECT_TRUE(home.live());
    window->hide();
    settle();
    EXPECT_FALSE(home.live());
    EXPECT_EQ(sample.window->settings()->metering(), false);
    window->show();
    settle();
    EXPECT_TRUE(home.live());
}

TEST_F(WindowTest, ANarrowWindowKeepsEverythingInside) {
    window->resize(720, 520);
    settle();
    EXPECT_EQ(home.strip()->length(), 7);
    visitAll([&](QAccessibleInterface& element) {
        if (element.role() == QAccessible::Button) {
            EXPECT_LE(element.rect().right(), window->x() + window->width())
                << element.text(QAccessible::Name).toStdString();
        }
    });
}

}  // namespace
}  // namespace tolvik

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("QT_QUICK_BACKEND", "software");
    const QGuiApplication app(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
