#pragma once

#include "server/config/server_config.h"

namespace tolvik::server {

/// Starts what the configuration asks for and runs until SIGTERM or SIGINT; the process's exit code. Takes over the
/// process's signals.
[[nodiscard]] int runService(const ServerConfig& config);

}  // namespace tolvik::server
