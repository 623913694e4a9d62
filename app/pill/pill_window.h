#pragma once

#include <QObject>
#include <QPoint>
#include <QTimer>
#include <QUrl>
#include <memory>

#include "app/pill/pill_desktop.h"
#include "voice/capture/voice_manager.h"

class QQmlEngine;
class QQuickItem;
class QQuickWindow;

namespace tolvik {

/// The floating window that shows what the voice controller is doing: on the pointer's screen, on top, never focused,
/// and passing clicks through except on its Undo. Made when first needed or by `prepare`. Main loop only.
class PillWindow final : public QObject {
    Q_OBJECT
public:
    /// `content` is an Item whose size is the window's. It takes the properties `pill` (the object it shows),
    /// `composited`, `reducedMotion` and `shown`, has `margin` (room around the pill) and `undoArea` (where a click
    /// counts), and reports `gone()` when it is out of sight. Everything given outlives the window.
    PillWindow(QQmlEngine& engine, QUrl content, VoiceManager& voice, PillDesktop& desktop, QObject* pill);
    ~PillWindow() override;

    /// Makes the window, unshown, so that the first press of the chord does not wait for it.
    void prepare();
    void setReducedMotion(bool reduced);
    /// Null until it is made.
    [[nodiscard]] QQuickWindow* window() const { return window_.get(); }

private Q_SLOTS:
    void place();
    void hideWindow();

private:
    void update();
    void show();
    void updateClickable();
    void followPointer();

    QQmlEngine& engine_;
    QUrl url_;
    VoiceManager& voice_;
    PillDesktop& desktop_;
    QObject* pill_;
    std::unique_ptr<QQuickWindow> window_;
    std::unique_ptr<QQuickItem> content_;
    bool shown_ = false;
    bool failed_ = false;
    bool reducedMotion_ = false;
    QTimer pointer_;
    Subscription voiceChanged_;
    Subscription compositorChanged_;
};

}  // namespace tolvik
