#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tolvik {

/// One way to say a command.
struct CommandPhrase {
    /// The words before the task, or the whole sentence.
    std::string lead;
    /// Whether a task is named after `lead`.
    bool takesTask = false;
    /// The words after the task; may be empty.
    std::string tail;

    bool operator==(const CommandPhrase&) const = default;
};

/// The phrases that the parser's tables understand, written out; a test holds the two together.
[[nodiscard]] const std::vector<CommandPhrase>& commandPhrases();

/// Every sentence that a template stands for: "(a|b)" is a choice, "(a)?" may be left out.
[[nodiscard]] std::vector<std::string> writtenOut(std::string_view sentenceTemplate);

}  // namespace tolvik
