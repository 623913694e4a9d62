#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/result.h"

namespace tolvik::server {

/// A task that a sentence may speak of.
struct SentTask {
    std::string id;
    std::string title;
    int position = 0;
    bool isActive = false;
    std::string status;
};

struct ParseRequest {
    std::string transcript;
    std::vector<SentTask> tasks;
    /// The user's vocabulary in one text.
    std::string dictionary;
};

/// The error is a text for the sender.
[[nodiscard]] Result<ParseRequest, std::string> readParseRequest(std::string_view body);

/// One understood sentence as it is answered.
struct Intent {
    /// "start", "switch", "done", "stop" or "none".
    std::string action = "none";
    std::optional<std::string> taskId = {};
    std::string task = {};
    std::optional<std::string> reason = {};

    bool operator==(const Intent&) const = default;
};

/// What a language model answered, as far as it can be true: a known action, sure by half at least, of a task that was
/// sent; its title is that task's, not the model's. None when it is not that. Any bytes.
[[nodiscard]] std::optional<Intent> checkedAnswer(std::string_view answer, const ParseRequest& request);

/// What the model is told to do, and what about.
[[nodiscard]] std::string_view modelInstructions();
[[nodiscard]] std::string modelInput(const ParseRequest& request);

}  // namespace tolvik::server
