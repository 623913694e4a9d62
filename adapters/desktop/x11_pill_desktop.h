#pragma once

#include <QAbstractNativeEventFilter>
#include <xcb/xcb.h>

#include "app/pill/pill_desktop.h"

namespace tolvik {

/// The pill's window on X11: typed as a notification, with an input shape, and told of compositors as they come and
/// go. On other platforms it counts the desktop as composed and leaves the window as it is.
class X11PillDesktop final : public PillDesktop, public QAbstractNativeEventFilter {
public:
    /// Needs the QGuiApplication, which outlives it.
    X11PillDesktop();
    ~X11PillDesktop() override;

    [[nodiscard]] bool hasCompositor() const override { return composited_; }
    Subscription onCompositorChanged(std::function<void()> callback) override;
    void prepare(QWindow& window) override;
    void setClickable(QWindow& window, const QRect& area) override;
    void raise(QWindow& window) override;

    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr* result) override;

private:
    void watchCompositor();

    xcb_connection_t* connection_ = nullptr;
    bool composited_ = true;
    int selectionEvent_ = -1;
    xcb_atom_t compositorSelection_ = XCB_ATOM_NONE;
    Signal<> changed_;
};

}  // namespace tolvik
