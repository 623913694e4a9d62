#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/identifier.h"
#include "commands/command_message.h"
#include "commands/task_lookup.h"

namespace tolvik {

// The forms in which every command answers.

/// One line of JSON; bytes that are no UTF-8 are replaced.
[[nodiscard]] std::string dumped(const nlohmann::ordered_json& json);
/// The text as one line that cannot steer a terminal, with its end.
[[nodiscard]] std::string line(std::string_view text);

[[nodiscard]] CommandResponse report(std::string text);
/// Why a command is not carried out; with --json also as an object.
[[nodiscard]] CommandResponse refusal(const CommandRequest& request, ExitCode exit, std::string_view why);

/// What an operation did to a task, as a line and in the keys that sentences have too.
struct Deed {
    std::string action;
    std::optional<Identifier> taskId;
    std::string taskTitle;
    std::string feedback;
};
[[nodiscard]] CommandResponse told(const CommandRequest& request, const Deed& deed, ExitCode exit = ExitCode::done);
/// There was nothing to do.
[[nodiscard]] CommandResponse nothing(const CommandRequest& request, std::string_view feedback);

struct NamedRecord {
    Identifier id;
    std::string name;
};
[[nodiscard]] std::vector<NamedRecord> named(const Lookup<TaskModel>& lookup);
[[nodiscard]] std::vector<NamedRecord> named(const Lookup<TagModel>& lookup);
/// No "task" or "project" of that name, or several: then `candidates`, the likeliest first.
[[nodiscard]] CommandResponse notFound(const CommandRequest& request, std::string_view kind, const std::string& name,
                                       const std::vector<NamedRecord>& candidates);

}  // namespace tolvik
