#pragma once

#include <string>

#include "base/result.h"

namespace tolvik {

/// Whether the application starts when the user logs in. Main loop only; calls block for a small file.
class LoginStart {
public:
    LoginStart() = default;
    LoginStart(const LoginStart&) = delete;
    LoginStart& operator=(const LoginStart&) = delete;
    virtual ~LoginStart() = default;

    /// Asked of the desktop each time, since the user may change it elsewhere.
    [[nodiscard]] virtual bool isEnabled() const = 0;
    /// The error says in words what could not be written.
    [[nodiscard]] virtual Result<void, std::string> setEnabled(bool enabled) = 0;
};

}  // namespace tolvik
