#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "base/subscription.h"

namespace tolvik {

/// The broadcasts inside the application.
enum class Notification : std::uint8_t {
    navigateTo,           ///< show a page; the payload is a `page` name
    focusInput,           ///< put the keyboard focus into the input bar of the home page
    profileChanged,       ///< the user's profile answers changed
    authStateChanged,     ///< signed in or out
    onboardingReset,      ///< the first-run steps start over
    onboardingCompleted,  ///< the first-run steps are finished
    sessionExpired,       ///< the server rejected the session
};

/// Page names that `Notification::navigateTo` carries.
namespace page {
inline constexpr std::string_view home = "home";
inline constexpr std::string_view settings = "settings";
}  // namespace page

/// The name under which a broadcast is known in logs and to QML.
[[nodiscard]] constexpr std::string_view name(Notification notification) {
    constexpr std::array<std::string_view, 7> names{
        "tolvikNavigateTo",      "tolvikFocusInput",          "tolvikProfileChanged", "tolvikAuthStateChanged",
        "tolvikOnboardingReset", "tolvikOnboardingCompleted", "tolvikSessionExpired"};
    return names.at(static_cast<std::size_t>(notification));
}

/// Hands broadcasts to whoever listens at that moment; nothing is kept for later. Main loop only.
class Notifications {
public:
    /// `callback` gets the payload, which is empty except for `navigateTo`.
    Subscription on(Notification notification, std::function<void(const std::string& payload)> callback) {
        return signals_.at(static_cast<std::size_t>(notification)).connect(std::move(callback));
    }
    void post(Notification notification, const std::string& payload = {}) {
        signals_.at(static_cast<std::size_t>(notification)).emit(payload);
    }

private:
    std::array<Signal<const std::string&>, 7> signals_;
};

}  // namespace tolvik
