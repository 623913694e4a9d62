#include "tests/ui/window_fixture.h"

namespace tolvik {
namespace {

class PagesWindowTest : public WindowTest {
protected:
    PagesWindowTest() { sample.fillDictionary(); }
    void go(const char* page) {
        window->setProperty("page", QString::fromLatin1(page));
        settle();
    }
    [[nodiscard]] QString page() const { return window->property("page").toString(); }
};

TEST_F(PagesWindowTest, PagesOpenByKeysAndByName) {
    press(Qt::Key_2, Qt::ControlModifier);
    EXPECT_EQ(page(), QStringLiteral("reports"));
    press(Qt::Key_3, Qt::ControlModifier);
    EXPECT_EQ(page(), QStringLiteral("projects"));
    press(Qt::Key_4, Qt::ControlModifier);
    EXPECT_EQ(page(), QStringLiteral("dictionary"));
    EXPECT_TRUE(pressNamed(QStringLiteral("Reports")));
    EXPECT_EQ(page(), QStringLiteral("reports"));
    press(Qt::Key_Escape);
    EXPECT_EQ(page(), QStringLiteral("home"));
}

TEST_F(PagesWindowTest, ATermIsTypedEditedAndDeletedByKeys) {
    go("dictionary");
    type(QStringLiteral("Lumo"));
    press(Qt::Key_Return);
    ASSERT_NE(sample.dictionary->find("Lumo", std::nullopt), nullptr);

    auto* list = window->findChild<QQuickItem*>(QStringLiteral("termList"));
    ASSERT_NE(list, nullptr);
    list->forceActiveFocus(Qt::TabFocusReason);
    press(Qt::Key_F2);
    type(QStringLiteral("Lumo Oy"));
    press(Qt::Key_Return);
    EXPECT_NE(sample.dictionary->find("Lumo Oy", std::nullopt), nullptr);
    press(Qt::Key_F2);
    type(QStringLiteral("nonsense"));
    press(Qt::Key_Escape);
    EXPECT_EQ(page(), QStringLiteral("dictionary")) << "Esc leaves the field, not the page";
    EXPECT_EQ(sample.dictionary->find("nonsense", std::nullopt), nullptr);
    press(Qt::Key_Delete);
    EXPECT_EQ(sample.dictionary->find("Lumo Oy", std::nullopt), nullptr);
    press(Qt::Key_Z, Qt::ControlModifier);
    EXPECT_NE(sample.dictionary->find("Lumo Oy", std::nullopt), nullptr);
}

TEST_F(PagesWindowTest, ControlEnterImportsWhatWasPasted) {
    go("dictionary");
    EXPECT_TRUE(pressNamed(QStringLiteral("Import terms")));
    QTest::qWait(250);
    type(QStringLiteral("Tampere (city)"));
    press(Qt::Key_Return);
    type(QStringLiteral("turku"));
    EXPECT_NE(named(QStringLiteral("2 entries found, 1 already there: turku")), nullptr);
    press(Qt::Key_Return, Qt::ControlModifier);
    ASSERT_NE(sample.dictionary->find("Tampere", std::nullopt), nullptr);
    EXPECT_EQ(sample.dictionary->find("Tampere", std::nullopt)->hint, "city");
    QTest::qWait(250);
    EXPECT_NE(named(QStringLiteral("Imported 1 entry")), nullptr);
}

TEST_F(PagesWindowTest, AProjectIsMadeUsedAndDeletedWithAQuestion) {
    go("projects");
    EXPECT_TRUE(pressNamed(QStringLiteral("New project")));
    type(QStringLiteral("Hiring"));
    press(Qt::Key_Return);
    ASSERT_FALSE(sample.project("Hiring").isEmpty());
    EXPECT_TRUE(pressNamed(QStringLiteral("Current project")));
    EXPECT_EQ(sample.dictionary->activeTagId(), sample.project("Hiring"));
    EXPECT_TRUE(pressNamed(QStringLiteral("Delete the project Hiring")));
    QTest::qWait(250);
    press(Qt::Key_Return);
    EXPECT_FALSE(sample.project("Hiring").isEmpty()) << "Enter presses the safe button";
    QTest::qWait(250);
    EXPECT_TRUE(pressNamed(QStringLiteral("Delete the project Hiring")));
    QTest::qWait(250);
    EXPECT_TRUE(pressNamed(QStringLiteral("Delete")));
    EXPECT_TRUE(sample.project("Hiring").isEmpty());
}

TEST_F(PagesWindowTest, BarsAreWalkedByKeysAndLeadToTheirDay) {
    go("reports");
    auto* chart = window->findChild<QQuickItem*>(QStringLiteral("reportChart"));
    ASSERT_NE(chart, nullptr);
    chart->forceActiveFocus(Qt::TabFocusReason);
    press(Qt::Key_Left);
    press(Qt::Key_Return);
    EXPECT_EQ(page(), QStringLiteral("home"));
    EXPECT_EQ(home.dayTitle(), QStringLiteral("Yesterday"));
    go("reports");
    auto* tasks = window->findChild<QQuickItem*>(QStringLiteral("reportTasks"));
    ASSERT_NE(tasks, nullptr);
    tasks->forceActiveFocus(Qt::TabFocusReason);
    press(Qt::Key_Return);
    EXPECT_EQ(page(), QStringLiteral("home"));
    go("reports");
    auto* projects = window->findChild<QQuickItem*>(QStringLiteral("reportProjects"));
    ASSERT_NE(projects, nullptr);
    projects->forceActiveFocus(Qt::TabFocusReason);
    press(Qt::Key_Return);
    EXPECT_NE(sample.window->reports()->filterId(), QStringLiteral("all"));
    press(Qt::Key_E, Qt::ControlModifier);
    QTest::qWait(250);
    EXPECT_NE(named(QStringLiteral("CSV, For spreadsheets")), nullptr);
}

TEST_F(PagesWindowTest, SigningInTakesAnAddressAndSixDigits) {
    go("account");
    EXPECT_TRUE(pressNamed(QStringLiteral("Sign in")));
    EXPECT_EQ(page(), QStringLiteral("sign-in"));
    type(QStringLiteral("maren@holt.example"));
    press(Qt::Key_Return);
    ASSERT_EQ(sample.account.asked.back(), "code maren@holt.example");
    sample.account.answer();
    settle();
    type(QStringLiteral("40a7 251"));
    EXPECT_EQ(sample.account.asked.back(), "verify maren@holt.example 407251");
    sample.account.answer();
    settle();
    EXPECT_EQ(page(), QStringLiteral("account"));
    EXPECT_NE(named(QStringLiteral("Account: Maren Holt, Up to date")), nullptr);

    EXPECT_TRUE(pressNamed(QStringLiteral("Sign out")));
    QTest::qWait(250);
    EXPECT_NE(named(QStringLiteral("You'll need to sign in again to sync.")), nullptr);
    press(Qt::Key_Return);
    EXPECT_TRUE(sample.account.signedIn) << "Enter presses the safe button";
}

TEST_F(PagesWindowTest, EveryControlHasANameATargetAndItsPlace) {
    sample.account.signedIn = true;
    sample.account.changed.emit();
    for (const int width : {1200, 720}) {
        window->resize(width, width == 720 ? 520 : 800);
        for (const char* name : {"reports", "projects", "dictionary", "account", "sign-in"}) {
            go(name);
            int controls = 0;
            visitAll([&](QAccessibleInterface& element) {
                const auto role = element.role();
                if (role != QAccessible::Button && role != QAccessible::CheckBox && role != QAccessible::ButtonMenu &&
                    role != QAccessible::EditableText) {
                    return;
                }
                ++controls;
                const std::string text = name + std::string(": ") + element.text(QAccessible::Name).toStdString();
                EXPECT_FALSE(element.text(QAccessible::Name).isEmpty()) << text;
                EXPECT_GE(element.rect().height(), 32) << text;
                EXPECT_GE(element.rect().left(), window->x()) << text;
                EXPECT_LE(element.rect().right(), window->x() + window->width()) << text;
            });
            EXPECT_GE(controls, 2) << name;
        }
    }
}

}  // namespace
}  // namespace tolvik
