#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "app/shell/login_start.h"

namespace tolvik {

/// Starting at login by a file in the desktop's autostart folder.
class XdgLoginStart final : public LoginStart {
public:
    /// `configHome` is $XDG_CONFIG_HOME; `command` the program and its arguments, unquoted.
    XdgLoginStart(const std::filesystem::path& configHome, std::vector<std::string> command);

    [[nodiscard]] bool isEnabled() const override;
    [[nodiscard]] Result<void, std::string> setEnabled(bool enabled) override;

private:
    std::filesystem::path file_;
    std::vector<std::string> command_;
};

/// An argument as the Exec key of a desktop entry wants it, quoted where that is needed.
[[nodiscard]] std::string quotedForExec(const std::string& argument);

}  // namespace tolvik
