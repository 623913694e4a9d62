// Saves pictures of every page and of the pill, so that a person can look at them. Not shipped.

#include <QDir>
#include <QGuiApplication>
#include <QImage>
#include <QQmlApplicationEngine>
#include <QQmlComponent>
#include <QQuickItem>
#include <QQuickView>
#include <QQuickWindow>
#include <QTest>
#include <QTimer>
#include <QtQml>

#include "tests/ui/sample_window.h"
#include "ui/ui_module.h"

namespace {

using namespace tolvik;

struct Preview {
    QDir folder;
    QString suffix;

    void save(QQuickWindow& window, const QString& name) const {
        QTest::qWait(250);
        const QImage image = window.grabWindow();
        const QString path = folder.filePath(name + suffix + QStringLiteral(".png"));
        if (!image.save(path)) {
            qFatal("%s cannot be written", qPrintable(path));
        }
    }
};

/// Where the QML comes from: the program itself, or a module folder on the disk while its look is worked on.
QUrl address(const char* inProgram) {
    const QString folder = qEnvironmentVariable("TOLVIK_PREVIEW_QML");
    const QUrl url(QString::fromLatin1(inProgram));
    return folder.isEmpty() ? url : QUrl::fromLocalFile(QDir(folder).filePath("Tolvik/Ui/" + url.fileName()));
}

void setUp(QQmlEngine& engine, SampleWindow& sample) {
    if (const QString folder = qEnvironmentVariable("TOLVIK_PREVIEW_QML"); !folder.isEmpty()) {
        engine.addImportPath(folder);
    }
    setUpUi(engine, *sample.window->looks());
}

QQuickWindow* open(QQmlApplicationEngine& engine, SampleWindow& sample) {
    setUp(engine, sample);
    engine.setInitialProperties(
        {{QStringLiteral("app"), QVariant::fromValue(sample.window.get())}, {QStringLiteral("visible"), true}});
    engine.load(address(mainWindowUrl));
    if (engine.rootObjects().isEmpty()) {
        qFatal("The window could not be made");
    }
    auto* window = qobject_cast<QQuickWindow*>(engine.rootObjects().first());
    if (!QTest::qWaitForWindowExposed(window)) {
        qFatal("The window does not show");
    }
    auto* answers = new QTimer(window);
    QObject::connect(answers, &QTimer::timeout, [&sample] { sample.loop.runPosted(); });
    answers->start(20);
    window->requestActivate();
    return window;
}

void pages(const Preview& preview) {
    SampleWindow sample;
    sample.fillTwoWeeks();
    QQmlApplicationEngine engine;
    QQuickWindow* window = open(engine, sample);
    QTest::mouseMove(window, {500, 543});
    preview.save(*window, QStringLiteral("home-light"));
    if (auto* list = window->findChild<QQuickItem*>(QStringLiteral("switchList"))) {
        QMetaObject::invokeMethod(list, "edit", Q_ARG(int, 0));
        preview.save(*window, QStringLiteral("home-reason"));
    }
    QTest::keyClick(window, Qt::Key_G, Qt::ControlModifier);
    preview.save(*window, QStringLiteral("home-calendar"));
    QTest::keyClick(window, Qt::Key_Escape);
    QTest::qWait(150);
    QTest::keyClick(window, Qt::Key_F, Qt::ControlModifier);
    preview.save(*window, QStringLiteral("home-filter"));
    QTest::keyClick(window, Qt::Key_Escape);
    QTest::qWait(150);
    QTest::keyClick(window, Qt::Key_F1);
    preview.save(*window, QStringLiteral("keys"));
    QTest::keyClick(window, Qt::Key_Escape);
    QTest::qWait(150);
    if (auto* list = window->findChild<QQuickItem*>(QStringLiteral("taskList"))) {
        list->forceActiveFocus(Qt::TabFocusReason);
        QTest::keyClick(window, Qt::Key_Down);
        QTest::keyClick(window, Qt::Key_Down);
        preview.save(*window, QStringLiteral("home-keyboard"));
        QTest::keyClick(window, Qt::Key_Delete);
        preview.save(*window, QStringLiteral("home-delete"));
        QTest::keyClick(window, Qt::Key_Escape);
        QTest::qWait(150);
    }
    sample.window->home()->markDone(QString::fromStdString(sample.task("Stand-up").text()));
    sample.window->home()->ribbon()->setWholeDay(true);
    preview.save(*window, QStringLiteral("home-toast"));
    sample.window->home()->undo();
    sample.window->home()->dismissToast();
    sample.window->home()->ribbon()->setWholeDay(false);

    sample.appearance.set({.dark = true});
    preview.save(*window, QStringLiteral("home-dark"));
    window->resize(720, 520);
    QTest::mouseMove(window, {300, 490});
    preview.save(*window, QStringLiteral("home-narrow"));
    window->resize(1600, 1000);
    preview.save(*window, QStringLiteral("home-wide"));
    window->resize(1200, 800);
    sample.appearance.set({.dark = false, .highContrast = true});
    preview.save(*window, QStringLiteral("home-contrast"));
    sample.appearance.set({});

    QTest::keyClick(window, Qt::Key_Comma, Qt::ControlModifier);
    preview.save(*window, QStringLiteral("settings-voice"));
    sample.window->settings()->chord()->start();
    preview.save(*window, QStringLiteral("settings-waiting"));
    sample.chord.hold(modifier::option);
    preview.save(*window, QStringLiteral("settings-recording"));
    sample.chord.hold(0);
    sample.window->settings()->chord()->cancel();
    sample.appearance.set({.dark = true});
    preview.save(*window, QStringLiteral("settings-dark"));
    sample.appearance.set({});
    window->resize(720, 520);
    preview.save(*window, QStringLiteral("settings-narrow"));
}

void emptyDay(const Preview& preview) {
    SampleWindow sample;
    sample.fillUntilMorning();
    QQmlApplicationEngine engine;
    QQuickWindow* window = open(engine, sample);
    preview.save(*window, QStringLiteral("home-empty"));
    window->resize(720, 520);
    preview.save(*window, QStringLiteral("home-empty-narrow"));
}

/// One page in light, dark, narrow and with high contrast.
void everyLook(const Preview& preview, SampleWindow& sample, QQuickWindow& window, const QString& name) {
    preview.save(window, name + QStringLiteral("-light"));
    sample.appearance.set({.dark = true});
    preview.save(window, name + QStringLiteral("-dark"));
    window.resize(720, 520);
    preview.save(window, name + QStringLiteral("-narrow"));
    window.resize(1200, 800);
    sample.appearance.set({.dark = false, .highContrast = true});
    preview.save(window, name + QStringLiteral("-contrast"));
    sample.appearance.set({});
}

void management(const Preview& preview) {
    SampleWindow sample;
    sample.fillTwoWeeks();
    sample.fillDictionary();
    sample.account.signedIn = true;
    QQmlApplicationEngine engine;
    QQuickWindow* window = open(engine, sample);
    const auto go = [&](const char* page) { window->setProperty("page", QString::fromLatin1(page)); };
    go("reports");
    everyLook(preview, sample, *window, QStringLiteral("reports"));
    sample.window->assistant()->ask(QStringLiteral("How much time on Harbour last week?"));
    everyLook(preview, sample, *window, QStringLiteral("reports-answer"));
    sample.window->assistant()->ask(QStringLiteral("What is the weather like?"));
    preview.save(*window, QStringLiteral("reports-refused"));
    sample.window->assistant()->dismiss();
    sample.window->reports()->setDays(QStringLiteral("2026-11-09"), QStringLiteral("2026-11-18"));
    everyLook(preview, sample, *window, QStringLiteral("reports-custom"));
    sample.window->reports()->setRange(QStringLiteral("quarter"));
    if (auto* chart = window->findChild<QQuickItem*>(QStringLiteral("reportChart"))) {
        chart->forceActiveFocus(Qt::TabFocusReason);
        preview.save(*window, QStringLiteral("reports-quarter"));
    }
    sample.window->reports()->setDays(QStringLiteral("2020-01-01"), QStringLiteral("2021-06-01"));
    preview.save(*window, QStringLiteral("reports-empty"));
    go("projects");
    everyLook(preview, sample, *window, QStringLiteral("projects"));
    go("dictionary");
    everyLook(preview, sample, *window, QStringLiteral("dictionary"));
    sample.window->dictionary()->setTargetId(QString::fromStdString(sample.project("Harbour").text()));
    if (auto* list = window->findChild<QQuickItem*>(QStringLiteral("termList"))) {
        list->forceActiveFocus(Qt::TabFocusReason);
        QTest::keyClick(window, Qt::Key_Down);
        preview.save(*window, QStringLiteral("dictionary-project"));
        QTest::keyClick(window, Qt::Key_Return);
        preview.save(*window, QStringLiteral("dictionary-editing"));
        QTest::keyClick(window, Qt::Key_Escape);
        QTest::keyClick(window, Qt::Key_Delete);
        preview.save(*window, QStringLiteral("dictionary-deleted"));
    }
    sample.window->toast()->dismiss();
    sample.window->dictionary()->setTargetId({});
    if (auto* page = window->findChild<QQuickItem*>(QStringLiteral("dictionaryPage"))) {
        QMetaObject::invokeMethod(page, "openImport");
        sample.window->dictionary()->setImportText(QStringLiteral(
            "Lumo (client of Studio)\nStripeline (payment provider)\nTampere (city)\nturku\nwebhook sink"));
        QTest::qWait(250);
        everyLook(preview, sample, *window, QStringLiteral("dictionary-import"));
        sample.window->dictionary()->setImportText(QStringLiteral("[\"Lumo\",\n \"Tampere\""));
        preview.save(*window, QStringLiteral("dictionary-import-broken"));
        QTest::keyClick(window, Qt::Key_Escape);
        QTest::qWait(200);
    }
    go("account");
    everyLook(preview, sample, *window, QStringLiteral("account"));
    sample.account.set({.pending = 3,
                        .reason = "Offline, will retry",
                        .lastSynced = sample.clock.now() - Millis{23 * 60'000},
                        .offline = true});
    sample.account.rejected.emit("“Stand-up” was not renamed: the server refused it.");
    preview.save(*window, QStringLiteral("account-offline"));
    sample.account.signedIn = false;
    sample.account.set({});
    preview.save(*window, QStringLiteral("account-signed-out"));
    go("sign-in");
    everyLook(preview, sample, *window, QStringLiteral("sign-in"));
    sample.window->account()->setEnteredEmail(QStringLiteral("maren@holt.example"));
    sample.window->account()->sendCode();
    sample.account.answer();
    sample.window->account()->setCode(QStringLiteral("4072"));
    everyLook(preview, sample, *window, QStringLiteral("sign-in-code"));
    sample.window->account()->setCode(QStringLiteral("407251"));
    sample.account.answer("Invalid or expired code");
    preview.save(*window, QStringLiteral("sign-in-wrong"));
}

/// The first-run steps, with something typed, chosen and said where there is something to.
void firstRun(const Preview& preview) {
    SampleWindow sample{true};
    QQmlApplicationEngine engine;
    QQuickWindow* window = open(engine, sample);
    OnboardingModel& steps = *sample.window->onboarding();
    const auto shoot = [&] {
        everyLook(preview, sample, *window,
                  QStringLiteral("onboarding-%1-%2").arg(steps.stepIndex() + 1).arg(steps.step()));
    };
    for (; steps.step() != QStringLiteral("permissions"); steps.next()) {
        shoot();
    }
    sample.recognizer.missing = "No speech model was found. Run tolvik doctor to see where it is looked for.";
    steps.lookAgain();
    preview.save(*window, QStringLiteral("onboarding-3-missing"));
    sample.recognizer.missing.clear();
    steps.lookAgain();
    sample.chord.hold(modifier::control | modifier::option | modifier::shift);
    sample.loop.runFor(Millis{500});
    preview.save(*window, QStringLiteral("onboarding-3-listening"));
    sample.chord.hold(0);
    sample.recognizer.hearAll("reading my mail");
    sample.loop.runPosted();
    shoot();
    for (steps.next(); steps.step() != QStringLiteral("signIn"); steps.next()) {
        steps.setAnswer(steps.options().at(3).toMap().value(QStringLiteral("id")).toString());
        shoot();
    }
    shoot();
    sample.window->account()->setEnteredEmail(QStringLiteral("maren@holt.example"));
    sample.window->account()->sendCode();
    sample.account.answer();
    sample.window->account()->setCode(QStringLiteral("4072"));
    preview.save(*window, QStringLiteral("onboarding-7-code"));
    sample.window->account()->setCode(QStringLiteral("407251"));
    sample.account.answer();
    sample.account.changed.emit();
    preview.save(*window, QStringLiteral("onboarding-7-signed-in"));
    steps.next();
    preview.save(*window, QStringLiteral("onboarding-8-home"));
}

/// Every tab of the settings.
void settings(const Preview& preview) {
    SampleWindow sample{false, CrashReport{"0.1.0", {}, {}, "SIGSEGV", {"app_start", "page_open", "listening"}}};
    sample.fillTwoWeeks();
    QQmlApplicationEngine engine;
    QQuickWindow* window = open(engine, sample);
    preview.save(*window, QStringLiteral("crash-notice"));
    sample.appearance.set({.dark = true});
    preview.save(*window, QStringLiteral("crash-notice-dark"));
    sample.appearance.set({});
    sample.window->privacy()->answer(true);
    sample.window->privacy()->dismissCrash();
    sample.telemetry->track("app_start", {{"hidden", false}});
    sample.loop.runPosted();
    window->setProperty("page", QStringLiteral("settings"));
    QTest::qWait(100);
    auto* page = window->findChild<QQuickItem*>(QStringLiteral("settingsPage"));
    if (page == nullptr) {
        qFatal("There are no settings");
    }
    const QStringList tabs{"general", "voice", "tray", "appearance", "data"};
    for (int tab = 0; tab < tabs.size(); ++tab) {
        page->setProperty("tab", tab);
        everyLook(preview, sample, *window, QStringLiteral("settings-%1").arg(tabs[tab]));
    }
    QMetaObject::invokeMethod(page, "bytesWanted");
    everyLook(preview, sample, *window, QStringLiteral("settings-bytes"));
}

QList<std::pair<QString, PillState>> pillStates(const SampleWindow& sample) {
    const auto outcome = [&](const char* action, const char* title, std::optional<std::string> reason = {}) {
        CommandOutcome result;
        result.action = action;
        result.taskTitle = title;
        result.reason = std::move(reason);
        if (const Identifier id = sample.task(title); !id.isEmpty()) {
            result.taskId = id;
        }
        return result;
    };
    const QList<double> wave{0.15, 0.22, 0.5, 0.3, 0.65, 0.9, 0.55, 0.8, 0.45, 0.7};
    QList<std::pair<QString, PillState>> states;
    PillState state;
    state.phase = VoicePhase::listening;
    state.levels = QList<double>(10, 0.05);
    states.append({QStringLiteral("listening"), state});
    state.levels = wave;
    state.transcript = QStringLiteral("switch to the launch call");
    state.pending = outcome("switch", "Call with Ines about the launch");
    states.append({QStringLiteral("pending"), state});
    state.transcript = QStringLiteral("start writing up the notes on tide tables");
    state.pending = outcome("start", "writing up the notes on tide tables");
    state.secondsLeft = 8;
    states.append({QStringLiteral("cap"), state});
    state = {};
    state.phase = VoicePhase::transcribing;
    state.transcript = QStringLiteral("switch to the launch call");
    states.append({QStringLiteral("transcribing"), state});
    state = {};
    state.phase = VoicePhase::done;
    state.doneText = QStringLiteral("→ Call with Ines about the launch · Ines called");
    state.outcome = outcome("switch", "Call with Ines about the launch", "Ines called");
    states.append({QStringLiteral("switched"), state});
    state.doneText = QStringLiteral("Tide-table layout");
    state.outcome = outcome("start", "Tide-table layout");
    state.offersUndo = true;
    states.append({QStringLiteral("started"), state});
    state.doneText = QStringLiteral("✓ Brightwater invoice, October");
    state.outcome = outcome("done", "Brightwater invoice, October");
    states.append({QStringLiteral("done"), state});
    state.offersUndo = false;
    state.doneText = QStringLiteral("⏸ Inbox and planning");
    state.outcome = outcome("stop", "Inbox and planning");
    states.append({QStringLiteral("stopped"), state});
    state.doneText = QStringLiteral("Couldn't find that task");
    state.outcome = outcome("none", "");
    states.append({QStringLiteral("miss"), state});
    state = {};
    state.error = QStringLiteral("Microphone stopped. Try again.");
    states.append({QStringLiteral("error"), state});
    state.error = QStringLiteral("Microphone access denied. Enable it in System Settings > Privacy > Microphone.");
    states.append({QStringLiteral("error-long"), state});
    return states;
}

/// Every state of the pill below one another, over something like a wallpaper.
void pills(const Preview& preview) {
    SampleWindow sample;
    sample.fillTwoWeeks();
    for (const bool dark : {false, true}) {
        for (const bool composited : {true, false}) {
            sample.appearance.set({.dark = dark});
            QQmlEngine engine;
            setUp(engine, sample);
            QQuickWindow window;
            window.setColor(composited ? QColor(dark ? "#0B1226" : "#9DBFA9") : QColor(dark ? "#1F2228" : "#FAFAF7"));
            const auto states = pillStates(sample);
            window.resize(460, 90 * static_cast<int>(states.size()));
            std::vector<std::unique_ptr<PillModel>> models;
            QQmlComponent component(&engine, address(pillUrl));
            std::vector<std::unique_ptr<QObject>> items;
            int y = 10;
            for (const auto& [name, state] : states) {
                auto model = std::make_unique<PillModel>();
                model->setColorOf([&sample](const Identifier& id) {
                    const TaskModel* task = sample.store->taskById(id);
                    return task != nullptr ? static_cast<int>(task->colorIndex) : -1;
                });
                model->show(state);
                std::unique_ptr<QObject> object(
                    component.createWithInitialProperties({{QStringLiteral("pill"), QVariant::fromValue(model.get())},
                                                           {QStringLiteral("composited"), composited}}));
                auto* item = qobject_cast<QQuickItem*>(object.get());
                if (item == nullptr) {
                    qFatal("%s", qPrintable(component.errorString()));
                }
                const int margin = item->property("shadowMargin").toInt();
                item->setParentItem(window.contentItem());
                item->setPosition({20.0 - margin, static_cast<double>(y - margin)});
                item->setSize({item->implicitWidth(), item->implicitHeight()});
                y += static_cast<int>(item->implicitHeight()) - 2 * margin + 22;
                models.push_back(std::move(model));
                items.push_back(std::move(object));
            }
            window.resize(460, y);
            window.show();
            preview.save(window, QStringLiteral("pill-%1%2")
                                     .arg(dark ? QStringLiteral("dark") : QStringLiteral("light"),
                                          composited ? QString() : QStringLiteral("-plain")));
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    QGuiApplication app(argc, argv);
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedKingdom));
    const QStringList arguments = QGuiApplication::arguments();
    if (arguments.size() < 2) {
        qCritical("usage: ui_preview FOLDER [pages|empty|management|firstrun|settings|pill]");
        return 2;
    }
    const Preview preview{QDir(arguments[1]),
                          app.devicePixelRatio() > 1 ? QStringLiteral("@%1x").arg(app.devicePixelRatio()) : QString()};
    (void)preview.folder.mkpath(QStringLiteral("."));
    const QString what = arguments.value(2);
    if (what.isEmpty() || what == QLatin1String("pages")) {
        pages(preview);
    }
    if (what.isEmpty() || what == QLatin1String("empty")) {
        emptyDay(preview);
    }
    if (what.isEmpty() || what == QLatin1String("management")) {
        management(preview);
    }
    if (what.isEmpty() || what == QLatin1String("firstrun")) {
        firstRun(preview);
    }
    if (what.isEmpty() || what == QLatin1String("settings")) {
        settings(preview);
    }
    if (what.isEmpty() || what == QLatin1String("pill")) {
        pills(preview);
    }
    return 0;
}
