#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tolvik {

/// One word of a question.
struct Token {
    /// Case-folded, without the punctuation at its ends. Of a quotation, all of its words.
    std::string text;
    /// Stood in quotation marks: a name and nothing else.
    bool isQuoted = false;

    bool operator==(const Token&) const = default;
};

/// The words of a question. Contractions are written out ("what's" is two words), a possessive after a period is a
/// word of its own ("last week's" ends in "'s"), "3-9" is "3 to 9", a quotation is one word.
[[nodiscard]] std::vector<Token> tokensOf(std::string_view question);

/// A title, name or question part as it is compared: case-folded words parted by single blanks, without punctuation
/// except what tells names apart ("c++", "c#").
[[nodiscard]] std::string nameKey(std::string_view text);

}  // namespace tolvik
