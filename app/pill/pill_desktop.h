#pragma once

#include <QRect>
#include <functional>

#include "base/subscription.h"

class QWindow;

namespace tolvik {

/// What the pill's window needs of the desktop beyond an ordinary window. Main loop only.
class PillDesktop {
public:
    PillDesktop() = default;
    PillDesktop(const PillDesktop&) = delete;
    PillDesktop& operator=(const PillDesktop&) = delete;
    virtual ~PillDesktop() = default;

    /// Whether windows are composed, so that one may be translucent.
    [[nodiscard]] virtual bool hasCompositor() const = 0;
    virtual Subscription onCompositorChanged(std::function<void()> callback) = 0;

    /// Called once, when the native window exists and was not shown yet.
    virtual void prepare(QWindow& window) = 0;
    /// Clicks inside `area` (window coordinates) reach the window, all others what lies below it.
    virtual void setClickable(QWindow& window, const QRect& area) = 0;
    /// Puts the window above all others, without the focus.
    virtual void raise(QWindow& window) = 0;
};

}  // namespace tolvik
