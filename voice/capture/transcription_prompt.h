#pragma once

#include <optional>
#include <string>
#include <vector>

namespace tolvik {

/// What is known of the person and the work, for whoever recognises the speech.
struct PromptSource {
    /// As the profile keeps it ("engineer"); others than the known ones say nothing.
    std::string role;
    /// The active project's name.
    std::optional<std::string> project;
    /// Of the tasks that are shown, in their order; the first eight are told.
    std::vector<std::string> titles;
    /// The vocabulary in effect, personal terms first.
    std::vector<std::string> terms;
};

/// Up to four sentences, at most 900 characters (grapheme clusters): role, project, tasks, vocabulary. When it is too
/// long, whole sentences go from the front, then the end of the last one. Empty when nothing is known.
[[nodiscard]] std::string transcriptionPrompt(const PromptSource& source);

}  // namespace tolvik
