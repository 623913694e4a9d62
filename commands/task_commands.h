#pragma once

#include <string_view>

#include "base/clock.h"
#include "commands/command_message.h"
#include "core/app_store.h"
#include "voice/parse/command_executor.h"

namespace tolvik {

/// What a sentence did, in the keys of `say`.
[[nodiscard]] CommandResponse told(const CommandRequest& request, const CommandOutcome& outcome);

/// The commands about one task: start, switch, stop, done, resume, undo, edit, delete. Main loop only.
class TaskCommands {
public:
    /// All outlive it.
    TaskCommands(AppStore& store, CommandExecutor& executor, const Clock& clock)
        : store_(store), executor_(executor), clock_(clock) {}

    [[nodiscard]] static bool knows(std::string_view command);
    /// Only for a command that it knows.
    [[nodiscard]] CommandResponse run(const CommandRequest& request);

private:
    AppStore& store_;
    CommandExecutor& executor_;
    const Clock& clock_;
};

}  // namespace tolvik
