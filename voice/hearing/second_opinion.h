#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "voice/hearing/command_grammar.h"

namespace tolvik {

/// What the sound itself says; the functions may cost tens of milliseconds, `again` as much as a decode.
struct SoundEvidence {
    /// The grammar's sentence that fits the sound best, as spoken; none without a second listener.
    std::optional<std::string> grammarHeard;
    /// How well the sound fits a sentence, as spoken, in logarithmic units a frame; none when not at all. Null without
    /// a second listener.
    std::function<std::optional<double>(const std::string& spoken)> fit;
    /// What the engine writes when it is asked again under slightly other conditions: where it is unsure it writes
    /// something else. Null without a second try.
    std::function<std::string()> again = nullptr;
    /// Of a sound that is too short for more than a word.
    struct OneWord {
        /// What the engine writes under still other conditions; may cost as much as two decodes.
        std::function<std::vector<std::string>()> furtherTries;
        /// As `fit`, measured as suits a word that stands alone: on a scale of its own.
        std::function<std::optional<double>(const std::string& spoken)> fit;
    };
    std::optional<OneWord> oneWord = std::nullopt;
};

/// The words without the punctuation that the engine puts at their end, and without its quotation marks.
[[nodiscard]] std::string withoutPunctuation(std::string_view engineText);

/// The best text for what was said: the engine's text, or a sentence about the user's own tasks that sounds like it
/// and fits the sound.
[[nodiscard]] std::string bestText(std::string_view engineText, const CommandGrammar& grammar,
                                   const Pronouncer& pronouncer, const SoundEvidence& evidence);

}  // namespace tolvik
