#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "services/paths.h"

namespace tolvik {

/// The variable, and the key in configuration files, that names the server.
inline constexpr const char* kBackendUrlKey = "TOLVIK_BACKEND_URL";

/// The value of a key in a file of `KEY=value` lines. Blanks around both do not count, nor do lines that begin with "#"
/// or ";"; a value may stand in double quotes; of several lines the last counts. None when the file or the key is
/// missing.
[[nodiscard]] std::optional<std::string> configuredValue(const std::filesystem::path& file, std::string_view key);

/// The server's address: of the environment, else of the first file that has one. Empty values count as missing.
[[nodiscard]] std::optional<std::string> configuredBackendUrl(const Environment& environment,
                                                              const std::vector<std::filesystem::path>& files);

/// `tolvik.conf` of the user, then of the system.
[[nodiscard]] std::vector<std::filesystem::path> configurationFiles(const Paths& paths);

}  // namespace tolvik
