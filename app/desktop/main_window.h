#pragma once

#include <QObject>
#include <QQuickWindow>
#include <functional>
#include <memory>

namespace tolvik {

/// The application's window: shown, raised and hidden, and asked before it closes. Main loop only.
class MainWindow final : public QObject {
    Q_OBJECT
public:
    struct Hooks {
        /// The first frame is on the screen; called once.
        std::function<void()> firstFrame;
        /// The user closes the window: true hides it and lets the application live on, false ends the application.
        std::function<bool()> hidesOnClose;
        /// The window got the focus of the desktop.
        std::function<void()> activated;
        /// Puts the window before all others, with the focus.
        std::function<void(QWindow&)> bringToFront;
    };
    /// `window` was made hidden.
    MainWindow(std::unique_ptr<QQuickWindow> window, Hooks hooks);
    ~MainWindow() override;

    void show();
    /// Shows the window before all others.
    void raise();
    [[nodiscard]] QQuickWindow& window() { return *window_; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    /// Once, before the window is first shown: no larger than the screen's work area.
    void fitIntoScreen();

    std::unique_ptr<QQuickWindow> window_;
    Hooks hooks_;
    bool hadFrame_ = false;
    bool fitted_ = false;
};

}  // namespace tolvik
