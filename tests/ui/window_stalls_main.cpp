// How long the window stands still while ten thousand terms are pasted, imported and taken back: the real page over a
// real log file, queue, worker threads and main loop. `window_stalls [TERMS] [TERMS BEFORE]`, with
// QT_QPA_PLATFORM=offscreen QT_QUICK_BACKEND=software. A figure is the longest time between two beats of a timer of one
// millisecond, drawing included.

#include <QClipboard>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <algorithm>
#include <fmt/format.h>

#include "adapters/qt/qt_main_loop.h"
#include "adapters/sqlite/sqlite_value_store.h"
#include "adapters/system/system_clock.h"
#include "adapters/system/system_random.h"
#include "adapters/system/thread_workers.h"
#include "app/models/window_model.h"
#include "base/zone.h"
#include "sync/sync_outbox.h"
#include "tests/fakes/fake_sinks.h"
#include "ui/ui_module.h"

namespace tolvik {
namespace {

struct Parts {
    explicit Parts(const std::string& folder)
        : values(folder + "/tolvik.sqlite"),
          outbox({values, clock, random, loop, workers, folder}),
          dictionary({values, clock, random, loop, outbox, holdOff, &outbox}),
          store({values,
                 clock,
                 zone,
                 random,
                 loop,
                 outbox,
                 holdOff,
                 [this] { return dictionary.activeTagId(); },
                 [] { return false; },
                 {}}),
          window({.store = store,
                  .clock = clock,
                  .zone = zone,
                  .execute = [](const std::string&, const auto&) {},
                  .activeProject = [this] { return dictionary.activeTagId(); },
                  .setActiveProject = [](const auto&) {}},
                 {.values = values, .menuBarChanged = {}, .modelFolderChanged = {}, .dataFolder = {}, .version = {}},
                 {.dictionary = &dictionary, .workers = &workers, .loop = &loop}, nullptr) {}

    SystemClock clock;
    SystemRandom random;
    NamedTimeZone zone{"Europe/Helsinki"};
    QtMainLoop loop;
    ThreadWorkers workers;
    SqliteValueStore values;
    FakeHoldOff holdOff;
    SyncOutbox outbox;
    DictionaryManager dictionary;
    AppStore store;
    WindowModel window;
};

QString linesOf(int from, int count) {
    QString lines;
    for (int i = from; i < from + count; ++i) {
        lines += QStringLiteral("Term number %1 (hint of %1)\n").arg(i);
    }
    return lines;
}

/// Beats while something is done, and tells the longest pause.
class Heart {
public:
    Heart() {
        beat_.setTimerType(Qt::PreciseTimer);
        QObject::connect(&beat_, &QTimer::timeout,
                         [this] { longest_ = std::max(longest_, since_.nsecsElapsed()), since_.start(); });
    }
    template <class Act, class Done>
    bool measure(const char* name, Act&& act, Done&& done) {
        longest_ = 0;
        since_.start();
        beat_.start(1);
        // Within the loop, as a key or a click comes.
        QTimer::singleShot(0, act);
        QElapsedTimer whole;
        whole.start();
        const bool ended = QTest::qWaitFor(done, 30'000);
        const auto all = whole.elapsed();
        const auto until = longest_;
        QTest::qWait(2000);
        beat_.stop();
        fmt::print("{}: stood still for at most {:.1f} ms until done ({} ms), {:.1f} ms with the two seconds after\n",
                   name, static_cast<double>(until) / 1e6, all, static_cast<double>(longest_) / 1e6);
        return ended;
    }

private:
    QTimer beat_;
    QElapsedTimer since_;
    qint64 longest_ = 0;
};

int run(int count, int before) {
    const QTemporaryDir folder;
    Parts parts(folder.path().toStdString());
    (void)parts.dictionary.importEntries(linesOf(1'000'000, before).toStdString());
    // The queue is in memory, as on the desktop.
    (void)parts.outbox.pendingCount();
    QQmlApplicationEngine engine;
    setUpUi(engine, *parts.window.looks());
    engine.setInitialProperties(
        {{QStringLiteral("app"), QVariant::fromValue(&parts.window)}, {QStringLiteral("visible"), true}});
    engine.load(QUrl(QString::fromLatin1(mainWindowUrl)));
    auto* window = engine.rootObjects().isEmpty() ? nullptr : qobject_cast<QQuickWindow*>(engine.rootObjects().first());
    if (window == nullptr || !QTest::qWaitForWindowExposed(window)) {
        fmt::print(stderr, "The window does not show.\n");
        return 1;
    }
    window->requestActivate();
    window->setProperty("page", QStringLiteral("dictionary"));
    QTest::qWait(500);

    Heart heart;
    DictionaryModel& model = *parts.window.dictionary();
    const DictTermModel& terms = *model.terms();
    heart.measure("at rest", [] {}, [] { return true; });
    bool good = heart.measure(
        "one term added", [&] { model.add(QStringLiteral("Single"), {}); },
        [&] { return terms.rowCount() == before + 1; });
    good = heart.measure(
               "and taken back", [&] { parts.window.toast()->undo(); }, [&] { return terms.rowCount() == before; }) &&
           good;
    QMetaObject::invokeMethod(window->findChild<QQuickItem*>(QStringLiteral("dictionaryPage")), "openImport");
    QTest::qWait(500);
    QGuiApplication::clipboard()->setText(linesOf(0, count));
    good = heart.measure(
               "paste", [&] { QTest::keyClick(window, Qt::Key_V, Qt::ControlModifier); },
               [&] { return model.importCount() == count; }) &&
           good;
    good = heart.measure(
               "import", [&] { QTest::keyClick(window, Qt::Key_Return, Qt::ControlModifier); },
               [&] { return terms.rowCount() == before + count; }) &&
           good;
    good = heart.measure(
               "undo", [&] { parts.window.toast()->undo(); }, [&] { return terms.rowCount() == before; }) &&
           good;
    return good ? 0 : 1;
}

}  // namespace
}  // namespace tolvik

int main(int argc, char** argv) {
    const QGuiApplication app(argc, argv);
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedKingdom));
    return tolvik::run(argc > 1 ? std::atoi(argv[1]) : 10'000, argc > 2 ? std::atoi(argv[2]) : 0);
}
