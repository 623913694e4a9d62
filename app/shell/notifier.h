#pragma once

#include <string>

namespace tolvik {

/// Tells the user something outside of the window.
class Notifier {
public:
    Notifier() = default;
    Notifier(const Notifier&) = delete;
    Notifier& operator=(const Notifier&) = delete;
    virtual ~Notifier() = default;

    /// Shows a short message without taking the focus. Returns at once. Main loop only.
    virtual void tell(const std::string& title, const std::string& text) = 0;
};

}  // namespace tolvik
