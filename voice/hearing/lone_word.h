#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "voice/hearing/pronouncer.h"

namespace tolvik {

/// What is known of a sound that is too short to hold more than a word.
struct WordEvidence {
    /// What the engine wrote, asked several times under other conditions, as spoken; blank where it heard nothing.
    std::vector<std::string> tries;
    /// The grammar's sentence that fits the sound best, as spoken.
    std::optional<std::string> grammarHeard;
    /// How well the sound fits words, as spoken, in logarithmic units a frame; none when not at all.
    std::function<std::optional<double>(const std::string& spoken)> fit;
};

/// Whether `word` alone is a command that a strange word may be taken for. A place in the list ("last") is none.
[[nodiscard]] bool isCommandOfOneWord(const std::string& word);

/// The command of one word that was said; none when something else was, or when it cannot be told. A wrong command
/// costs more than one that has to be said again.
[[nodiscard]] std::optional<std::string> commandOfOneWord(const WordEvidence& evidence, const Pronouncer& pronouncer);

/// What was said when it was no command of one word: the try that fits the sound best among those that wrote none; ""
/// when all of them wrote one, or nothing.
[[nodiscard]] std::string otherThanCommand(const WordEvidence& evidence, const Pronouncer& pronouncer);

}  // namespace tolvik
