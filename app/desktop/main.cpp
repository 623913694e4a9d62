#include <QApplication>
#include <QIcon>
#include <QMessageBox>
#include <QQuickStyle>
#include <QQuickWindow>
#include <QSGRendererInterface>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fmt/format.h>
#include <optional>
#include <string>
#include <utility>

#include "adapters/system/system_clock.h"
#include "app/desktop/claim.h"
#include "app/desktop/desktop_app.h"
#include "app/desktop/options.h"
#include "app/desktop/start_trace.h"
#include "services/paths.h"

namespace {

// As the command line's: done, wrong use, something missing.
constexpr int exitUsage = 2;
constexpr int exitEnvironment = 3;

bool isSet(const char* name, const char* value) {
    const char* found = std::getenv(name);
    return found != nullptr && std::strcmp(found, value) == 0;
}

void chooseRenderer() {
    if (!isSet("TOLVIK_RENDERER", "opengl") && std::getenv("QT_QUICK_BACKEND") == nullptr) {
        QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    }
}

/// Qt ends the process without a word that helps when there is no display.
bool hasDisplay() {
    for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"}) {
        if (const char* value = std::getenv(name); value != nullptr && *value != '\0') {
            return true;
        }
    }
    return false;
}

int complain(const std::string& text) {
    std::fputs(("tolvik-desktop: " + text + "\n").c_str(), stderr);
    QMessageBox(QMessageBox::Critical, "Tolvik", QString::fromStdString(text)).exec();
    return exitEnvironment;
}

}  // namespace

int main(int argc, char** argv) {
    using namespace tolvik;
    auto options = readOptions({argv + 1, argv + argc});
    if (!options) {
        std::fputs((options.error() + "\n").c_str(), stderr);
        return exitUsage;
    }
    if (options->help) {
        std::fputs(helpText().c_str(), stdout);
        return 0;
    }
    if (options->version) {
        std::fputs("tolvik-desktop " TOLVIK_VERSION "\n", stdout);
        return 0;
    }
    options->timeStart = options->timeStart || isSet("TOLVIK_TRACE_START", "1");
    StartTrace trace(options->timeStart);
    trace.reached("main");

    if (!hasDisplay()) {
        std::fputs("tolvik-desktop: there is no display here. The command line works without one: tolvik --help\n",
                   stderr);
        return exitEnvironment;
    }

    const Paths paths = locatePaths();
    Claim claim = claimLog(paths, !options->hidden);
    if (claim.outcome == Claim::Outcome::another) {
        return 0;
    }
    trace.reached("lock");

    chooseRenderer();
    QQuickStyle::setStyle("Basic");
    QApplication application(argc, argv);
    QApplication::setApplicationName("Tolvik");
    QApplication::setApplicationVersion(TOLVIK_VERSION);
    QApplication::setDesktopFileName("tolvik");
    QApplication::setWindowIcon(QIcon::fromTheme("tolvik", QIcon(":/tolvik/tolvik.svg")));
    // The pill and the menu bar item are no reason to end when they close.
    QApplication::setQuitOnLastWindowClosed(false);
    trace.reached("application");

    if (claim.outcome == Claim::Outcome::failed) {
        return complain(claim.problem);
    }
    // Only whoever has the log leaves a trail; it ends when the application was taken apart.
    std::optional<CrashReport> before;
    const auto trail = CrashTrail::begin(paths.data / "crash-trail", TOLVIK_VERSION, SystemClock().now(), before);
    trail->watchSignals();
    auto app = DesktopApp::open(paths, *options, trace, {*trail, std::move(before)});
    if (!app) {
        return complain(fmt::format("The log in {} cannot be opened: {}", paths.data.string(), describe(app.error())));
    }
    return QApplication::exec();
}
