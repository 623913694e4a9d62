#pragma once

#include <filesystem>

#include "commands/command_message.h"
#include "core/value_store.h"

namespace tolvik {

/// `telemetry on|off|show`: the consent, and the very bytes that the next uploads would send. `folder` holds the
/// buffers.
[[nodiscard]] CommandResponse runTelemetry(ValueStore& values, const std::filesystem::path& folder,
                                           const CommandRequest& request);

}  // namespace tolvik
