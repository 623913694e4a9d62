#include "base/text.h"

#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <unicode/brkiter.h>
#include <unicode/regex.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/utf8.h>

namespace tolvik {
namespace {

icu::UnicodeString toUnicode(std::string_view text) {
    return icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<int32_t>(text.size())));
}

std::string fromUnicode(const icu::UnicodeString& text) {
    std::string out;
    text.toUTF8String(out);
    return out;
}

bool isAscii(std::string_view text) {
    for (const char c : text) {
        if (static_cast<unsigned char>(c) >= 0x80) {
            return false;
        }
    }
    return true;
}

/// Calls `visit(begin, end)` with the UTF-16 bounds of each grapheme cluster until it answers false.
template <class Visit>
void forEachGrapheme(const icu::UnicodeString& text, Visit visit) {
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<icu::BreakIterator> breaks(
        icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
    if (U_FAILURE(status) != 0) {
        return;
    }
    breaks->setText(text);
    int32_t begin = breaks->first();
    for (int32_t end = breaks->next(); end != icu::BreakIterator::DONE; begin = end, end = breaks->next()) {
        if (!visit(begin, end)) {
            return;
        }
    }
}

/// Calls `visit(codePoint, begin, end)` with byte bounds.
template <class Visit>
void forEachCodePoint(std::string_view text, Visit visit) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
    const auto length = static_cast<int32_t>(text.size());
    int32_t i = 0;
    while (i < length) {
        const int32_t begin = i;
        UChar32 c = 0;
        U8_NEXT_OR_FFFD(bytes, i, length, c);  // NOLINT(bugprone-inc-dec-in-conditions): the library's macro
        visit(c, static_cast<std::size_t>(begin), static_cast<std::size_t>(i));
    }
}

bool isSpace(UChar32 c) {
    return u_isUWhiteSpace(c) != 0;
}

}  // namespace

bool isUtf8(std::string_view text) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
    const auto length = static_cast<int32_t>(text.size());
    int32_t i = 0;
    while (i < length) {
        UChar32 c = 0;
        U8_NEXT(bytes, i, length, c);  // NOLINT(bugprone-inc-dec-in-conditions): the library's macro
        if (c < 0) {
            return false;
        }
    }
    return true;
}

std::string toValidUtf8(std::string_view text) {
    return fromUnicode(toUnicode(text));
}

std::string trimmed(std::string_view text) {
    std::size_t begin = text.size();
    std::size_t end = 0;
    forEachCodePoint(text, [&](UChar32 c, std::size_t from, std::size_t to) {
        if (!isSpace(c)) {
            begin = std::min(begin, from);
            end = to;
        }
    });
    return begin < end ? std::string(text.substr(begin, end - begin)) : std::string();
}

std::string lowerCased(std::string_view text) {
    if (isAscii(text)) {
        std::string out(text);
        for (char& c : out) {
            if (c >= 'A' && c <= 'Z') {
                c = static_cast<char>(c - 'A' + 'a');
            }
        }
        return out;
    }
    return fromUnicode(toUnicode(text).toLower(icu::Locale::getRoot()));
}

std::string caseFolded(std::string_view text) {
    return isAscii(text) ? lowerCased(text) : fromUnicode(toUnicode(text).foldCase());
}

std::size_t utf16Length(std::string_view text) {
    std::size_t length = 0;
    forEachCodePoint(text, [&](UChar32 c, std::size_t, std::size_t) { length += c > 0xFFFF ? 2U : 1U; });
    return length;
}

std::size_t graphemeCount(std::string_view text) {
    std::size_t count = 0;
    forEachGrapheme(toUnicode(text), [&](int32_t, int32_t) {
        ++count;
        return true;
    });
    return count;
}

std::string firstGraphemes(std::string_view text, std::size_t count) {
    // A cluster has at least one byte, so a text of no more bytes is whole.
    if (text.size() <= count) {
        return std::string(text);
    }
    const icu::UnicodeString unicode = toUnicode(text);
    int32_t cut = 0;
    std::size_t seen = 0;
    forEachGrapheme(unicode, [&](int32_t, int32_t end) {
        if (seen == count) {
            return false;
        }
        ++seen;
        cut = end;
        return true;
    });
    return fromUnicode(icu::UnicodeString(unicode, 0, cut));
}

std::string cutToUtf16(std::string_view text, std::size_t units) {
    if (text.size() <= units || utf16Length(text) <= units) {
        return std::string(text);
    }
    const icu::UnicodeString unicode = toUnicode(text);
    int32_t cut = 0;
    forEachGrapheme(unicode, [&](int32_t, int32_t end) {
        if (static_cast<std::size_t>(end) > units) {
            return false;
        }
        cut = end;
        return true;
    });
    return fromUnicode(icu::UnicodeString(unicode, 0, cut));
}

std::vector<std::string> graphemes(std::string_view text) {
    const icu::UnicodeString unicode = toUnicode(text);
    std::vector<std::string> out;
    forEachGrapheme(unicode, [&](int32_t begin, int32_t end) {
        out.push_back(fromUnicode(icu::UnicodeString(unicode, begin, end - begin)));
        return true;
    });
    return out;
}

std::u32string codePoints(std::string_view text) {
    std::u32string out;
    out.reserve(text.size());
    forEachCodePoint(text, [&](UChar32 c, std::size_t, std::size_t) { out += static_cast<char32_t>(c); });
    return out;
}

std::vector<std::string> words(std::string_view text) {
    std::vector<std::string> out;
    std::size_t begin = 0;
    bool inWord = false;
    forEachCodePoint(text, [&](UChar32 c, std::size_t from, std::size_t) {
        if (isSpace(c)) {
            if (inWord) {
                out.emplace_back(text.substr(begin, from - begin));
            }
            inWord = false;
        } else if (!inWord) {
            inWord = true;
            begin = from;
        }
    });
    if (inWord) {
        out.emplace_back(text.substr(begin));
    }
    return out;
}

std::string joined(const std::vector<std::string>& parts, std::string_view separator) {
    std::string out;
    for (const std::string& part : parts) {
        if (&part != &parts.front()) {
            out += separator;
        }
        out += part;
    }
    return out;
}

struct Pattern::Impl {
    std::unique_ptr<icu::RegexPattern> pattern;

    std::unique_ptr<icu::RegexMatcher> matcher(const icu::UnicodeString& text) const {
        UErrorCode status = U_ZERO_ERROR;
        return std::unique_ptr<icu::RegexMatcher>(pattern->matcher(text, status));
    }
};

Pattern::Pattern(std::string_view pattern) : impl_(std::make_unique<Impl>()) {
    UErrorCode status = U_ZERO_ERROR;
    UParseError where;
    impl_->pattern.reset(icu::RegexPattern::compile(toUnicode(pattern), UREGEX_CASE_INSENSITIVE, where, status));
    if (U_FAILURE(status) != 0) {
        std::cerr << "bad pattern: " << pattern << '\n';
        std::abort();
    }
}

Pattern::Pattern(Pattern&&) noexcept = default;
Pattern& Pattern::operator=(Pattern&&) noexcept = default;
Pattern::~Pattern() = default;

bool Pattern::found(std::string_view text) const {
    const icu::UnicodeString unicode = toUnicode(text);
    const auto matcher = impl_->matcher(unicode);
    return matcher && matcher->find() != 0;
}

std::optional<Pattern::Match> Pattern::find(std::string_view text) const {
    const icu::UnicodeString unicode = toUnicode(text);
    const auto matcher = impl_->matcher(unicode);
    if (!matcher || matcher->find() == 0) {
        return std::nullopt;
    }
    UErrorCode status = U_ZERO_ERROR;
    Match match;
    const int32_t begin = matcher->start(status);
    const int32_t end = matcher->end(status);
    match.begin = fromUnicode(icu::UnicodeString(unicode, 0, begin)).size();
    match.end = fromUnicode(icu::UnicodeString(unicode, 0, end)).size();
    for (int32_t group = 0; group <= matcher->groupCount(); ++group) {
        match.groups.push_back(fromUnicode(matcher->group(group, status)));
    }
    return match;
}

std::string Pattern::replacedAll(std::string_view text, std::string_view replacement) const {
    const icu::UnicodeString unicode = toUnicode(text);
    const auto matcher = impl_->matcher(unicode);
    UErrorCode status = U_ZERO_ERROR;
    return matcher ? fromUnicode(matcher->replaceAll(toUnicode(replacement), status)) : std::string(text);
}

}  // namespace tolvik
