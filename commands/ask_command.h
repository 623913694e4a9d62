#pragma once

#include "base/clock.h"
#include "commands/command_message.h"
#include "core/app_store.h"

namespace tolvik {

/// Answers a question about the log on this device. A question that is not understood for sure is refused with exit
/// code 1. With --json: answer, refused, totalMs and citations of taskId, taskTitle and timeMs.
[[nodiscard]] CommandResponse runAsk(const AppStore& store, const Clock& clock, const TimeZone& zone,
                                     const CommandRequest& request);

}  // namespace tolvik
