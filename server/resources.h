#pragma once

#include <cstddef>
#include <filesystem>
#include <string>

#include "base/result.h"

namespace tolvik::server {

/// Lets the process open as many files as the system allows it; how many that are.
[[nodiscard]] std::size_t raiseFileLimit();

/// The folder for what the server keeps when none is set: systemd's state folder, else the user's data folder.
[[nodiscard]] std::filesystem::path defaultDataFolder(bool dev);

/// The secret in the file, which is made, readable for the owner alone, when it is missing. The error is for the
/// operator.
[[nodiscard]] Result<std::string, std::string> keptSecret(const std::filesystem::path& file);

}  // namespace tolvik::server
