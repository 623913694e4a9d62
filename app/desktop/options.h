#pragma once

#include <span>
#include <string>

#include "base/result.h"

namespace tolvik {

/// What the desktop was started with.
struct DesktopOptions {
    /// Start without showing the window, as at login.
    bool hidden = false;
    /// Open the window's pages even where the first-run steps are not finished.
    bool skipWelcome = false;
    /// Print how long each step of the start took.
    bool timeStart = false;
    bool help = false;
    bool version = false;
};

/// Arguments after the program's name. The error is a line for the user.
[[nodiscard]] Result<DesktopOptions, std::string> readOptions(std::span<const char* const> arguments);

[[nodiscard]] std::string helpText();

}  // namespace tolvik
