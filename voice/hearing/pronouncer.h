#pragma once

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "voice/hearing/phones.h"

namespace tolvik {

/// Knows how English words sound: by a dictionary where it has the word, else by rules of spelling. Immutable; any
/// thread.
class Pronouncer {
public:
    /// `dictionary` has one word a line, then its sounds (ARPAbet), as "word F AO R M" with further ways to say it as
    /// "word(2) ..."; may be empty.
    explicit Pronouncer(std::string dictionary = {});
    Pronouncer(const Pronouncer&) = delete;
    Pronouncer& operator=(const Pronouncer&) = delete;

    [[nodiscard]] bool isKnown(std::string_view word) const { return index_.contains(std::string(word)); }
    /// Every way to say a spoken word (lower case), at least one.
    [[nodiscard]] std::vector<Phones> waysToSay(std::string_view word) const;
    /// The first way to say each word, one after the other.
    [[nodiscard]] Phones sentence(const std::vector<std::string>& spokenWords) const;

private:
    [[nodiscard]] Phones phonesOfUnknown(std::string_view word) const;

    std::string text_;
    /// Of each word, where its lines begin.
    std::unordered_map<std::string, std::vector<std::size_t>> index_;
};

/// How an English word that no dictionary has is probably said.
[[nodiscard]] Phones phonesBySpelling(std::string_view word);

/// The words as they are spoken: lower case, without punctuation, compounds apart, digits and abbreviations in words
/// ("API v2" becomes "a p i v two").
[[nodiscard]] std::vector<std::string> spokenWords(std::string_view text);

}  // namespace tolvik
