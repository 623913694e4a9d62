#pragma once

#include <optional>
#include <string>

#include "base/identifier.h"

namespace tolvik {

/// One candidate task, as the parser sees it. Candidates are ordered: the running task, then open tasks by latest
/// change; positions count from 1.
struct TaskInfo {
    Identifier id;
    std::string title;
    int position = 0;
    bool isActive = false;

    bool operator==(const TaskInfo&) const = default;
};

/// One understood sentence.
struct ParseResult {
    /// "start", "switch", "done" or "stop".
    std::string action;
    std::optional<Identifier> taskId;
    /// The matched task's title, or the title of the task to start.
    std::string taskTitle;
    std::optional<std::string> reason;
    /// From 0 to 1.
    double confidence = 0;
    /// "keyword", "empty", "none", "exact", "position", "fuzzy" or "embedding".
    std::string method;

    bool operator==(const ParseResult&) const = default;
};

/// What a sentence did.
struct CommandOutcome {
    /// "switch", "stop", "done", "start", "undo" or "none".
    std::string action;
    std::optional<Identifier> taskId;
    std::string taskTitle;
    std::optional<std::string> reason;
    double confidence = 0;
    std::string method;
    std::string transcript;
    /// The one line for the user; may be empty.
    std::string feedback;
};

}  // namespace tolvik
