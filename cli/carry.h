#pragma once

#include "commands/command_message.h"
#include "services/paths.h"

namespace tolvik {

/// Has a command carried out: by the process that serves the log, else here. Blocks.
[[nodiscard]] CommandResponse carryOut(const Paths& paths, const CommandRequest& request);

}  // namespace tolvik
