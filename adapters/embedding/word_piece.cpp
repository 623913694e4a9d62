#include "adapters/embedding/word_piece.h"

#include <algorithm>
#include <array>
#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <utility>

#include "base/text.h"

namespace tolvik {
namespace {

/// A longer word counts as unknown, as in the model's training.
constexpr std::size_t longestWord = 100;

bool isPunctuation(UChar32 c) {
    // All marks of ASCII count, also those that Unicode calls symbols.
    const bool isAsciiMark =
        (c >= 33 && c <= 47) || (c >= 58 && c <= 64) || (c >= 91 && c <= 96) || (c >= 123 && c <= 126);
    return isAsciiMark || u_ispunct(c) != 0;
}

/// Ideographs are words of their own. The blocks are those of the model's training.
bool isIdeograph(UChar32 c) {
    constexpr std::array<std::pair<UChar32, UChar32>, 8> blocks{{{0x4E00, 0x9FFF},
                                                                 {0x3400, 0x4DBF},
                                                                 {0x20000, 0x2A6DF},
                                                                 {0x2A700, 0x2B73F},
                                                                 {0x2B740, 0x2B81F},
                                                                 {0x2B820, 0x2CEAF},
                                                                 {0xF900, 0xFAFF},
                                                                 {0x2F800, 0x2FA1F}}};
    return std::ranges::any_of(blocks, [c](const auto& block) { return c >= block.first && c <= block.second; });
}

bool isBlank(UChar32 c) {
    return c == '\t' || c == '\n' || c == '\r' || u_charType(c) == U_SPACE_SEPARATOR;
}

bool isDropped(UChar32 c) {
    const auto type = u_charType(c);
    return c == 0 || c == 0xFFFD || type == U_NON_SPACING_MARK || type == U_CONTROL_CHAR || type == U_FORMAT_CHAR ||
           type == U_PRIVATE_USE_CHAR || type == U_SURROGATE || type == U_UNASSIGNED;
}

/// Decomposed, so that accents are characters of their own.
icu::UnicodeString decomposed(std::string_view text) {
    const auto plain =
        icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<std::int32_t>(text.size())));
    UErrorCode status = U_ZERO_ERROR;
    const icu::Normalizer2* form = icu::Normalizer2::getNFDInstance(status);
    icu::UnicodeString out = U_SUCCESS(status) != 0 ? form->normalize(plain, status) : plain;
    return U_SUCCESS(status) != 0 ? out : plain;
}

}  // namespace

WordPiece::WordPiece(std::string_view vocabulary) {
    while (!vocabulary.empty()) {
        const std::size_t end = std::min(vocabulary.find('\n'), vocabulary.size());
        std::string_view line = vocabulary.substr(0, end);
        if (line.ends_with('\r')) {
            line.remove_suffix(1);
        }
        numbers_.emplace(codePoints(line), static_cast<std::int32_t>(size_++));
        vocabulary.remove_prefix(std::min(end + 1, vocabulary.size()));
    }
    const auto find = [&](const char32_t* mark, std::int32_t& number) {
        const auto found = numbers_.find(mark);
        if (found != numbers_.end()) {
            number = found->second;
        }
        return found != numbers_.end();
    };
    isUsable_ = find(U"[CLS]", begin_) && find(U"[SEP]", end_) && find(U"[UNK]", unknown_);
}

std::vector<std::int32_t> WordPiece::pieces(std::string_view text, std::size_t limit) const {
    std::vector<std::int32_t> out{begin_};
    std::u32string word;
    const auto finishWord = [&] {
        if (!word.empty()) {
            appendWord(word, out);
        }
        word.clear();
    };
    // A piece stands for at least one character, and a character for at most a few pieces' worth of bytes.
    const icu::UnicodeString all = decomposed(text.substr(0, limit * longestWord));
    for (std::int32_t i = 0; i < all.length() && out.size() < limit; i = all.moveIndex32(i, 1)) {
        const UChar32 c = all.char32At(i);
        if (isBlank(c)) {
            finishWord();
        } else if (isDropped(c)) {
            continue;
        } else if (isPunctuation(c) || isIdeograph(c)) {
            finishWord();
            word = static_cast<char32_t>(u_tolower(c));
            finishWord();
        } else {
            word += static_cast<char32_t>(u_tolower(c));
        }
    }
    finishWord();
    out.resize(std::min(out.size(), limit - 1));
    out.push_back(end_);
    return out;
}

void WordPiece::appendWord(const std::u32string& word, std::vector<std::int32_t>& out) const {
    if (word.size() > longestWord) {
        out.push_back(unknown_);
        return;
    }
    std::vector<std::int32_t> found;
    for (std::size_t begin = 0; begin < word.size();) {
        std::size_t length = word.size() - begin;
        auto known = numbers_.end();
        for (; length > 0 && known == numbers_.end(); --length) {
            known = numbers_.find((begin > 0 ? U"##" : U"") + word.substr(begin, length));
        }
        if (known == numbers_.end()) {
            out.push_back(unknown_);
            return;
        }
        found.push_back(known->second);
        begin += length + 1;
    }
    out.insert(out.end(), found.begin(), found.end());
}

}  // namespace tolvik
