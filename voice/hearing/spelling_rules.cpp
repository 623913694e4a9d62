#include <array>
#include <string>

#include "voice/hearing/pronouncer.h"

namespace tolvik {
namespace {

/// `letters` between `before` and `after` sound as `sounds`. Contexts: "" anything, "#" the word's edge, "V" a vowel
/// letter, "C" a consonant letter, "E" one of e, i, y; any other text stands for itself.
struct Rule {
    std::string_view before;
    std::string_view letters;
    std::string_view after;
    std::string_view sounds;
};

// For each place the first rule that fits is taken, so longer spellings stand before shorter ones.
constexpr auto rules = std::to_array<Rule>({
    {"#", "a", "#", "AH"},
    {"", "augh", "", "AO"},
    {"", "aigh", "", "EY"},
    {"", "air", "", "EH R"},
    {"", "are", "#", "EH R"},
    {"", "ar", "V", "EH R"},
    {"", "ar", "", "AA R"},
    {"", "ai", "", "EY"},
    {"", "ay", "", "EY"},
    {"", "au", "", "AO"},
    {"", "aw", "", "AO"},
    {"", "alk", "", "AO K"},
    {"", "all", "", "AO L"},
    {"", "ange", "", "EY N JH"},
    {"", "able", "#", "AH B AH L"},
    {"", "age", "#", "IH JH"},
    {"", "ation", "", "EY SH AH N"},
    {"", "ae", "", "EY"},
    {"", "al", "#", "AH L"},
    {"", "a", "#", "AH"},
    {"", "a", "Ce#", "EY"},
    {"", "a", "CE", "EY"},
    {"", "aa", "", "AA"},
    {"", "a", "", "AE"},
    {"", "bb", "", "B"},
    {"m", "b", "#", ""},
    {"", "b", "", "B"},
    {"", "ch", "C", "K"},
    {"", "tch", "", "CH"},
    {"", "ch", "", "CH"},
    {"", "cian", "", "SH AH N"},
    {"", "cial", "", "SH AH L"},
    {"", "ck", "", "K"},
    {"", "cc", "E", "K S"},
    {"", "cc", "", "K"},
    {"", "cq", "", "K"},
    {"", "c", "E", "S"},
    {"", "cz", "", "CH"},
    {"", "c", "", "K"},
    {"", "dge", "", "JH"},
    {"", "dj", "", "JH"},
    {"", "dd", "", "D"},
    {"", "d", "", "D"},
    {"", "eigh", "", "EY"},
    {"", "ear", "C", "ER"},
    {"", "ear", "", "IH R"},
    {"", "eer", "", "IH R"},
    {"", "ea", "", "IY"},
    {"", "ee", "", "IY"},
    {"", "ei", "", "IY"},
    {"", "eu", "", "Y UW"},
    {"", "ew", "", "UW"},
    {"", "ey", "#", "IY"},
    {"", "ey", "", "EY"},
    {"", "er", "V", "EH R"},
    {"", "er", "", "ER"},
    {"t", "ed", "#", "IH D"},
    {"d", "ed", "#", "IH D"},
    {"C", "ed", "#", "D"},
    {"V", "es", "#", "S"},
    {"s", "es", "#", "IH Z"},
    {"x", "es", "#", "IH Z"},
    {"ch", "es", "#", "IH Z"},
    {"C", "es", "#", "Z"},
    {"C", "el", "#", "AH L"},
    {"C", "en", "#", "AH N"},
    {"#C", "e", "#", "IY"},
    {"", "e", "#", ""},
    {"", "e", "C#", "EH"},
    {"#", "e", "CV", "IY"},
    {"", "e", "Ce#", "IY"},
    {"", "e", "", "EH"},
    {"", "ff", "", "F"},
    {"", "f", "", "F"},
    {"", "ght", "", "T"},
    {"#", "gh", "", "G"},
    {"", "gh", "", ""},
    {"#", "gn", "", "N"},
    {"", "gn", "#", "N"},
    {"", "gg", "", "G"},
    {"", "ge", "#", "JH"},
    {"", "gu", "E", "G"},
    {"#", "g", "i", "G"},
    {"", "g", "E", "JH"},
    {"", "g", "", "G"},
    {"V", "h", "C", ""},
    {"V", "h", "#", ""},
    {"", "h", "", "HH"},
    {"", "igh", "", "AY"},
    {"", "ier", "#", "IY ER"},
    {"", "ies", "#", "IY Z"},
    {"", "ied", "#", "IY D"},
    {"", "ie", "#", "IY"},
    {"", "ie", "", "IY"},
    {"", "ind", "#", "AY N D"},
    {"", "ing", "#", "IH NG"},
    {"", "io", "#", "IY OW"},
    {"", "io", "", "IY AH"},
    {"", "ia", "", "IY AH"},
    {"", "ir", "C", "ER"},
    {"", "ir", "#", "ER"},
    {"", "i", "#", "IY"},
    {"", "i", "Ce#", "AY"},
    {"", "i", "", "IH"},
    {"", "j", "", "JH"},
    {"#", "kn", "", "N"},
    {"", "kk", "", "K"},
    {"", "k", "", "K"},
    {"C", "le", "#", "AH L"},
    {"", "ll", "", "L"},
    {"", "l", "", "L"},
    {"", "mm", "", "M"},
    {"", "m", "", "M"},
    {"", "nn", "", "N"},
    {"", "ng", "#", "NG"},
    {"", "nk", "", "NG K"},
    {"", "n", "g", "NG"},
    {"", "n", "", "N"},
    {"", "ough", "#", "OW"},
    {"", "ought", "", "AO T"},
    {"", "ould", "", "UH D"},
    {"", "ous", "#", "AH S"},
    {"", "oor", "", "AO R"},
    {"", "our", "", "AO R"},
    {"", "ore", "", "AO R"},
    {"", "or", "#", "ER"},
    {"", "or", "", "AO R"},
    {"", "oo", "k", "UH"},
    {"", "oo", "", "UW"},
    {"", "oa", "", "OW"},
    {"", "oi", "", "OY"},
    {"", "oy", "", "OY"},
    {"", "ou", "", "AW"},
    {"", "ow", "#", "OW"},
    {"", "ow", "", "AW"},
    {"", "oe", "#", "OW"},
    {"", "old", "", "OW L D"},
    {"", "on", "#", "AH N"},
    {"", "o", "#", "OW"},
    {"", "o", "Ce#", "OW"},
    {"", "o", "CE", "OW"},
    {"", "o", "CV", "OW"},
    {"", "o", "", "AA"},
    {"", "ph", "", "F"},
    {"#", "ps", "", "S"},
    {"", "pp", "", "P"},
    {"", "p", "", "P"},
    {"", "qu", "E#", "K"},
    {"", "qu", "", "K W"},
    {"", "q", "", "K"},
    {"", "rh", "", "R"},
    {"", "rr", "", "R"},
    {"", "r", "", "R"},
    {"", "sch", "", "SH"},
    {"", "sh", "", "SH"},
    {"", "sion", "", "ZH AH N"},
    {"", "ssion", "", "SH AH N"},
    {"", "sz", "", "SH"},
    {"", "ss", "", "S"},
    {"", "sc", "E", "S"},
    {"V", "s", "V", "Z"},
    {"V", "se", "#", "Z"},
    {"V", "s", "#", "Z"},
    {"", "s", "", "S"},
    {"", "tion", "", "SH AH N"},
    {"", "tial", "", "SH AH L"},
    {"", "ture", "", "CH ER"},
    {"", "th", "", "TH"},
    {"", "tt", "", "T"},
    {"", "tz", "", "T S"},
    {"", "t", "", "T"},
    {"", "ui", "", "UW"},
    {"", "ue", "#", "UW"},
    {"", "ur", "V", "Y UH R"},
    {"", "ur", "", "ER"},
    {"r", "u", "CV", "UW"},
    {"", "u", "Ce#", "Y UW"},
    {"", "u", "CV", "UW"},
    {"", "u", "#", "UW"},
    {"", "u", "", "AH"},
    {"", "vv", "", "V"},
    {"", "v", "", "V"},
    {"#", "wr", "", "R"},
    {"", "wh", "", "W"},
    {"V", "w", "#", ""},
    {"", "w", "", "W"},
    {"#", "x", "", "Z"},
    {"", "x", "", "K S"},
    {"#", "y", "", "Y"},
    {"#C", "y", "#", "AY"},
    {"#CC", "y", "#", "AY"},
    {"", "y", "#", "IY"},
    {"V", "y", "V", "Y"},
    {"", "y", "Ce#", "AY"},
    {"", "y", "", "IH"},
    {"", "zz", "", "Z"},
    {"", "z", "", "Z"},
});

bool isVowelLetter(char letter) {
    return std::string_view("aeiouy").find(letter) != std::string_view::npos;
}

/// Whether the letter at `at` of the edged word is what the context's letter asks for.
bool fitsOne(std::string_view word, std::size_t at, char wanted) {
    if (at >= word.size()) {
        return false;
    }
    const char letter = word[at];
    switch (wanted) {
        case 'V':
            return letter != '#' && isVowelLetter(letter);
        case 'C':
            return letter != '#' && !isVowelLetter(letter);
        case 'E':
            return letter == 'e' || letter == 'i' || letter == 'y';
        default:
            return letter == wanted;
    }
}

bool fits(std::string_view word, std::size_t at, std::string_view pattern) {
    for (std::size_t k = 0; k < pattern.size(); ++k) {
        if (!fitsOne(word, at + k, pattern[k])) {
            return false;
        }
    }
    return true;
}

}  // namespace

Phones phonesBySpelling(std::string_view word) {
    std::string edged = "#";
    for (const char letter : word) {
        if (letter >= 'a' && letter <= 'z') {
            edged += letter;
        }
    }
    edged += '#';
    Phones phones;
    for (std::size_t at = 1; at + 1 < edged.size();) {
        std::size_t taken = 1;
        for (const Rule& rule : rules) {
            if (edged.compare(at, rule.letters.size(), rule.letters) == 0 && at >= rule.before.size() &&
                fits(edged, at - rule.before.size(), rule.before) &&
                fits(edged, at + rule.letters.size(), rule.after)) {
                const Phones sounds = phonesFrom(rule.sounds);
                phones.insert(phones.end(), sounds.begin(), sounds.end());
                taken = rule.letters.size();
                break;
            }
        }
        at += taken;
    }
    return phones;
}

}  // namespace tolvik
