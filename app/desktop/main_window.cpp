#include "app/desktop/main_window.h"

#include <QCloseEvent>
#include <QEvent>
#include <QGuiApplication>
#include <QScreen>
#include <utility>

namespace tolvik {

MainWindow::MainWindow(std::unique_ptr<QQuickWindow> window, Hooks hooks)
    : window_(std::move(window)), hooks_(std::move(hooks)) {
    window_->installEventFilter(this);
    connect(window_.get(), &QQuickWindow::frameSwapped, this, [this] {
        if (!std::exchange(hadFrame_, true)) {
            hooks_.firstFrame();
        }
    });
    connect(window_.get(), &QWindow::activeChanged, this, [this] {
        if (window_->isActive()) {
            hooks_.activated();
        }
    });
}

MainWindow::~MainWindow() {
    window_->removeEventFilter(this);
}

void MainWindow::show() {
    fitIntoScreen();
    window_->show();
}

void MainWindow::fitIntoScreen() {
    if (std::exchange(fitted_, true)) {
        return;
    }
    // The window's frame is unknown before it is shown; borders and a title bar rarely take more.
    constexpr QSize frame(8, 40);
    if (const QScreen* screen = window_->screen()) {
        const QSize room = screen->availableSize() - frame;
        window_->resize(window_->size().boundedTo(room).expandedTo(window_->minimumSize()));
    }
}

void MainWindow::raise() {
    if (window_->windowStates().testFlag(Qt::WindowMinimized)) {
        window_->setWindowStates(window_->windowStates() & ~Qt::WindowMinimized);
    }
    fitIntoScreen();
    window_->show();
    hooks_.bringToFront(*window_);
}

bool MainWindow::eventFilter(QObject* watched, QEvent* event) {
    if (watched == window_.get() && event->type() == QEvent::Close) {
        if (hooks_.hidesOnClose()) {
            window_->hide();
            event->ignore();
        } else {
            QGuiApplication::quit();
        }
        return true;
    }
    return QObject::eventFilter(watched, event);
}

}  // namespace tolvik
