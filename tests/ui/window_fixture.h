#pragma once

#include <QAccessible>
#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTest>
#include <functional>
#include <gtest/gtest.h>

#include "tests/ui/sample_window.h"
#include "ui/ui_module.h"

namespace tolvik {

/// The main window over the sample log, used by keys and by the names that assistive technology sees.
class WindowTest : public testing::Test {
protected:
    /// With `firstRun` the log is empty and the first-run steps are shown.
    explicit WindowTest(bool firstRun = false) : sample(firstRun) {
        QAccessible::setActive(true);
        if (!firstRun) {
            sample.fillTwoWeeks();
        }
        setUpUi(engine, *sample.window->looks());
        engine.setInitialProperties(
            {{QStringLiteral("app"), QVariant::fromValue(sample.window.get())}, {QStringLiteral("visible"), true}});
        engine.load(QUrl(QString::fromLatin1(mainWindowUrl)));
        window = qobject_cast<QQuickWindow*>(engine.rootObjects().value(0));
        if (window != nullptr) {
            (void)QTest::qWaitForWindowExposed(window);
            window->requestActivate();
            (void)QTest::qWaitForWindowActive(window);
        }
    }
    void SetUp() override { ASSERT_NE(window, nullptr); }

    void press(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        QTest::keyClick(window, key, modifiers);
        settle();
    }
    void type(const QString& text) {
        for (const QChar letter : text) {
            QTest::keyClick(window, letter.toLatin1());
        }
        settle();
    }
    static void settle() { QTest::qWait(30); }

    using Visitor = std::function<void(QAccessibleInterface&)>;
    static void visit(QAccessibleInterface* element, const Visitor& visitor) {
        if (element == nullptr || element->state().invisible) {
            return;
        }
        visitor(*element);
        for (int i = 0; i < element->childCount(); ++i) {
            visit(element->child(i), visitor);
        }
    }
    void visitAll(const Visitor& visitor) { visit(QAccessible::queryAccessibleInterface(window), visitor); }
    /// The visible element of that name; null when there is none.
    QAccessibleInterface* named(const QString& name) {
        QAccessibleInterface* found = nullptr;
        visitAll([&](QAccessibleInterface& element) {
            if (found == nullptr && element.text(QAccessible::Name) == name) {
                found = &element;
            }
        });
        return found;
    }
    /// Presses it as assistive technology does.
    testing::AssertionResult pressNamed(const QString& name) {
        QAccessibleInterface* element = named(name);
        if (element == nullptr || element->actionInterface() == nullptr) {
            return testing::AssertionFailure() << "nothing to press is named " << name.toStdString();
        }
        element->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
        settle();
        return testing::AssertionSuccess();
    }
    /// Walks with Tab until the task list has the focus.
    void focusTasks() {
        auto* list = window->findChild<QQuickItem*>(QStringLiteral("taskList"));
        ASSERT_NE(list, nullptr);
        for (int i = 0; i < 40 && !list->hasActiveFocus(); ++i) {
            press(Qt::Key_Tab);
        }
        ASSERT_TRUE(list->hasActiveFocus()) << "Tab never reaches the tasks";
    }
    [[nodiscard]] bool exists(const std::string& title) const { return !sample.task(title).isEmpty(); }

    SampleWindow sample;
    QQmlApplicationEngine engine;
    QQuickWindow* window = nullptr;
    HomeModel& home = *sample.window->home();
};

}  // namespace tolvik
