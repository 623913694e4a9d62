#pragma once

#include <functional>

#include "base/subscription.h"

namespace tolvik {

/// What the desktop asks of every application's looks.
struct Appearance {
    bool dark = false;
    bool highContrast = false;
    bool reducedMotion = false;

    bool operator==(const Appearance&) const = default;
};

/// The desktop's present wishes, followed as they change. Main loop only.
class DesktopAppearance {
public:
    DesktopAppearance() = default;
    DesktopAppearance(const DesktopAppearance&) = delete;
    DesktopAppearance& operator=(const DesktopAppearance&) = delete;
    virtual ~DesktopAppearance() = default;

    [[nodiscard]] virtual Appearance current() const = 0;
    virtual Subscription onChanged(std::function<void()> callback) = 0;
};

}  // namespace tolvik
