#include "ai/answer/tokens.h"

#include <algorithm>
#include <array>
#include <utility>

#include "base/text.h"

namespace tolvik {
namespace {

constexpr std::array<std::pair<std::string_view, std::string_view>, 15> kContractions{{
    {"what's", "what is"},
    {"whats", "what is"},
    {"which's", "which is"},
    {"when's", "when is"},
    {"how's", "how is"},
    {"where's", "where is"},
    {"i've", "i have"},
    {"what've", "what have"},
    {"i'm", "i am"},
    {"that's", "that is"},
    {"it's", "it is"},
    {"what're", "what are"},
    {"how'd", "how did"},
    {"what'd", "what did"},
    {"when'd", "when did"},
}};

/// Typographic marks in the form that the rules know.
std::string plainMarks(std::string text) {
    constexpr std::array<std::pair<std::string_view, std::string_view>, 11> marks{{{"\u2019", "'"},
                                                                                   {"@", " "},
                                                                                   {"\u2018", "'"},
                                                                                   {"\u201C", "\""},
                                                                                   {"\u201D", "\""},
                                                                                   {"\u201E", "\""},
                                                                                   {"\u00AB", "\""},
                                                                                   {"\u00BB", "\""},
                                                                                   {"\u2013", "-"},
                                                                                   {"\u2014", " "},
                                                                                   {"\u2026", " "}}};
    for (const auto& [mark, plain] : marks) {
        for (std::size_t at = text.find(mark); at != std::string::npos; at = text.find(mark, at + plain.size())) {
            text.replace(at, mark.size(), plain);
        }
    }
    return text;
}

bool isDigits(std::string_view text) {
    return !text.empty() && std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; });
}

void addWord(std::vector<Token>& tokens, std::string_view word) {
    constexpr std::string_view marks = "?!.,;:()[]";
    const auto first = word.find_first_not_of(marks);
    if (first == std::string_view::npos) {
        return;
    }
    word = word.substr(first, word.find_last_not_of(marks) - first + 1);
    const auto* const written =
        std::ranges::find(kContractions, word, &std::pair<std::string_view, std::string_view>::first);
    if (written != kContractions.end()) {
        const auto blank = written->second.find(' ');
        tokens.push_back({std::string(written->second.substr(0, blank))});
        tokens.push_back({std::string(written->second.substr(blank + 1))});
        return;
    }
    if (const auto dash = word.find('-'); dash != std::string_view::npos && word.rfind('-') == dash) {
        const auto from = word.substr(0, dash);
        const auto to = word.substr(dash + 1);
        if (isDigits(from) && isDigits(to) && from.size() <= 2 && to.size() <= 2) {
            tokens.push_back({std::string(from)});
            tokens.push_back({"to"});
            tokens.push_back({std::string(to)});
            return;
        }
    }
    if (word.size() > 2 && word.ends_with("'s")) {
        tokens.push_back({std::string(word.substr(0, word.size() - 2))});
        tokens.push_back({"'s"});
        return;
    }
    tokens.push_back({std::string(word)});
}

}  // namespace

std::vector<Token> tokensOf(std::string_view question) {
    const std::string text = plainMarks(caseFolded(question));
    std::vector<Token> tokens;
    std::size_t at = 0;
    while (at < text.size()) {
        const auto open = text.find('"', at);
        const auto close = open == std::string::npos ? std::string::npos : text.find('"', open + 1);
        const auto plain = text.substr(at, close == std::string::npos ? std::string::npos : open - at);
        for (const auto& word : words(plain)) {
            addWord(tokens, word);
        }
        if (close == std::string::npos) {
            break;
        }
        if (auto quoted = nameKey(std::string_view(text).substr(open + 1, close - open - 1)); !quoted.empty()) {
            tokens.push_back({std::move(quoted), true});
        }
        at = close + 1;
    }
    return tokens;
}

std::string nameKey(std::string_view text) {
    std::string plain = plainMarks(caseFolded(text));
    constexpr std::string_view marks = "?!.,;:()[]{}\"'-_/\\|@*&<>";
    std::ranges::replace_if(plain, [&](char c) { return marks.contains(c); }, ' ');
    return joined(words(plain), " ");
}

}  // namespace tolvik
