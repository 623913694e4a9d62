#include "voice/hearing/pronouncer.h"

#include <algorithm>
#include <array>
#include <cctype>

#include "base/text.h"

namespace tolvik {
namespace {

constexpr std::array<std::string_view, 20> small = {
    "zero", "one",    "two",    "three",    "four",     "five",    "six",     "seven",     "eight",    "nine",
    "ten",  "eleven", "twelve", "thirteen", "fourteen", "fifteen", "sixteen", "seventeen", "eighteen", "nineteen"};
constexpr std::array<std::string_view, 10> tens = {"",      "",      "twenty",  "thirty", "forty",
                                                   "fifty", "sixty", "seventy", "eighty", "ninety"};

void sayBelowHundred(unsigned number, std::vector<std::string>& out) {
    if (number < small.size()) {
        out.emplace_back(small[number]);
        return;
    }
    out.emplace_back(tens[number / 10]);
    if (number % 10 != 0) {
        out.emplace_back(small[number % 10]);
    }
}

/// Digits as people read them out: up to a hundred as a number, four digits in pairs, the rest one by one.
void sayDigits(std::string_view digits, std::vector<std::string>& out) {
    const auto value = [](std::string_view two) {
        return static_cast<unsigned>(two[0] - '0') * 10 + static_cast<unsigned>(two[1] - '0');
    };
    if (digits.size() == 1) {
        out.emplace_back(small[static_cast<unsigned>(digits[0] - '0')]);
    } else if (digits.size() == 2 && digits[0] != '0') {
        sayBelowHundred(value(digits), out);
    } else if (digits.size() == 4 && digits[0] != '0' && digits[2] != '0') {
        sayBelowHundred(value(digits.substr(0, 2)), out);
        sayBelowHundred(value(digits.substr(2)), out);
    } else if (digits.size() == 3 && digits.substr(1) == "00") {
        out.emplace_back(small[static_cast<unsigned>(digits[0] - '0')]);
        out.emplace_back("hundred");
    } else {
        for (const char digit : digits) {
            out.emplace_back(small[static_cast<unsigned>(digit - '0')]);
        }
    }
}

bool isVowel(char letter) {
    return std::string_view("aeiouy").find(letter) != std::string_view::npos;
}

/// Short all-capital words, and words without a vowel, are read letter by letter.
bool isSpelledOut(std::string_view word, bool capitals) {
    if (word.size() < 2 || word.size() > 4) {
        return false;
    }
    bool vowel = false;
    for (const char letter : word) {
        vowel = vowel || isVowel(letter);
    }
    return !vowel || (capitals && word.size() <= 3);
}

/// `run` is one run of ASCII letters, or of letters beyond ASCII.
void sayLetters(std::string_view run, std::vector<std::string>& out) {
    bool capitals = true;
    for (const char letter : run) {
        capitals = capitals && std::isupper(static_cast<unsigned char>(letter)) != 0;
    }
    const std::string word = lowerCased(run);
    if (isSpelledOut(word, capitals)) {
        for (const char letter : word) {
            out.emplace_back(1, letter);
        }
    } else {
        out.push_back(word);
    }
}

enum class Kind { letter, digit, apostrophe, other };

Kind kindOf(char byte) {
    const auto value = static_cast<unsigned char>(byte);
    if (std::isdigit(value) != 0) {
        return Kind::digit;
    }
    if (std::isalpha(value) != 0 || value >= 0x80) {
        return Kind::letter;
    }
    return byte == '\'' ? Kind::apostrophe : Kind::other;
}

}  // namespace

Pronouncer::Pronouncer(std::string dictionary) : text_(std::move(dictionary)) {
    index_.reserve(text_.size() / 20);
    for (std::size_t at = 0; at < text_.size();) {
        const std::size_t end = std::min(text_.find('\n', at), text_.size());
        const std::string_view line(text_.data() + at, end - at);
        const std::size_t blank = line.find_first_of(" \t");
        if (blank != std::string_view::npos && blank > 0) {
            const std::string_view word = line.substr(0, std::min(line.find('('), blank));
            index_[std::string(word)].push_back(at + blank + 1);
        }
        at = end + 1;
    }
}

std::vector<Phones> Pronouncer::waysToSay(std::string_view word) const {
    std::vector<Phones> ways;
    if (const auto found = index_.find(std::string(word)); found != index_.end()) {
        for (const std::size_t at : found->second) {
            const std::size_t end = std::min(text_.find_first_of("\r\n", at), text_.size());
            if (Phones phones = phonesFrom(std::string_view(text_).substr(at, end - at)); !phones.empty()) {
                ways.push_back(std::move(phones));
            }
        }
    }
    if (ways.empty()) {
        ways.push_back(phonesOfUnknown(word));
    }
    return ways;
}

Phones Pronouncer::phonesOfUnknown(std::string_view word) const {
    // A compound that is written as one word ("offsite") is said like its parts; the most even cut is the likeliest.
    constexpr std::size_t shortest = 3;
    for (std::size_t cut = word.size() / 2; cut >= 2; --cut) {
        for (const std::size_t at : {cut, word.size() - cut}) {
            if (std::max(at, word.size() - at) < shortest + 1 || word.size() < 2 * shortest - 1) {
                continue;
            }
            const std::string first(word.substr(0, at));
            const std::string second(word.substr(at));
            const bool plausible =
                first.size() >= shortest && (second.size() >= shortest || second == "up" || second == "in");
            if (plausible && isKnown(first) && isKnown(second)) {
                Phones phones = waysToSay(first).front();
                const Phones rest = waysToSay(second).front();
                phones.insert(phones.end(), rest.begin(), rest.end());
                return phones;
            }
        }
    }
    return phonesBySpelling(word);
}

Phones Pronouncer::sentence(const std::vector<std::string>& spokenWords) const {
    Phones all;
    for (const std::string& word : spokenWords) {
        const Phones phones = waysToSay(word).front();
        all.insert(all.end(), phones.begin(), phones.end());
    }
    return all;
}

std::vector<std::string> spokenWords(std::string_view text) {
    std::string plain;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text.compare(at, 3, "\u2019") == 0) {
            plain += '\'';
            at += 2;
        } else if (text[at] == '&') {
            plain += " and ";
        } else {
            plain += text[at];
        }
    }
    std::vector<std::string> out;
    for (std::size_t at = 0; at < plain.size();) {
        const Kind kind = kindOf(plain[at]);
        std::size_t end = at + 1;
        if (kind == Kind::digit) {
            while (end < plain.size() && kindOf(plain[end]) == Kind::digit) {
                ++end;
            }
            sayDigits(std::string_view(plain).substr(at, end - at), out);
        } else if (kind == Kind::letter) {
            bool apostrophe = false;
            // An inner capital after a small letter begins a new word ("checkOut").
            while (end < plain.size() &&
                   (kindOf(plain[end]) == Kind::letter ||
                    (kindOf(plain[end]) == Kind::apostrophe && end + 1 < plain.size() &&
                     kindOf(plain[end + 1]) == Kind::letter)) &&
                   !(std::isupper(static_cast<unsigned char>(plain[end])) != 0 &&
                     std::islower(static_cast<unsigned char>(plain[end - 1])) != 0)) {
                apostrophe = apostrophe || kindOf(plain[end]) == Kind::apostrophe;
                ++end;
            }
            const std::string_view run = std::string_view(plain).substr(at, end - at);
            if (apostrophe) {
                out.push_back(lowerCased(run));
            } else {
                sayLetters(run, out);
            }
        }
        at = end;
    }
    return out;
}

}  // namespace tolvik
