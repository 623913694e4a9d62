#pragma once

#include "commands/command_message.h"
#include "commands/log_report.h"

namespace tolvik {

class AppStore;
class DictionaryManager;

/// `project list|add|rename|delete|use`. `dictionary` is null where a process has no vocabulary.
[[nodiscard]] CommandResponse runProject(AppStore& store, DictionaryManager* dictionary, const ReportView& view,
                                         const CommandRequest& request);

}  // namespace tolvik
