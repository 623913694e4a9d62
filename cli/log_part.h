#pragma once

#include "base/result.h"
#include "commands/command_message.h"
#include "core/record_json.h"
#include "reports/report_range.h"
#include "services/paths.h"

namespace tolvik {

/// The records of an export: from the process that serves the log, piece by piece, else from the log itself. The
/// request's options choose the project. Blocks.
[[nodiscard]] Result<WholeLog, CommandResponse> fetchLogPart(const Paths& paths, DaySpan days,
                                                             const CommandRequest& request);

}  // namespace tolvik
