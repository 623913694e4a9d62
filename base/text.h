#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tolvik {

/// All text is UTF-8. Functions here accept any bytes; what is not UTF-8 counts as U+FFFD.

[[nodiscard]] bool isUtf8(std::string_view text);
[[nodiscard]] std::string toValidUtf8(std::string_view text);

/// Cuts Unicode white space and line breaks from both ends.
[[nodiscard]] std::string trimmed(std::string_view text);
/// Full Unicode lower-casing, independent of the locale.
[[nodiscard]] std::string lowerCased(std::string_view text);
/// Full Unicode case folding, for comparison.
[[nodiscard]] std::string caseFolded(std::string_view text);

/// Length in UTF-16 code units.
[[nodiscard]] std::size_t utf16Length(std::string_view text);
/// Length in grapheme clusters (what a person counts as characters).
[[nodiscard]] std::size_t graphemeCount(std::string_view text);
/// The first `count` grapheme clusters.
[[nodiscard]] std::string firstGraphemes(std::string_view text, std::size_t count);
/// While longer than `units` UTF-16 code units, removes the last grapheme cluster.
[[nodiscard]] std::string cutToUtf16(std::string_view text, std::size_t units);
/// The grapheme clusters, in order.
[[nodiscard]] std::vector<std::string> graphemes(std::string_view text);
/// The text as Unicode code points, for distance computations.
[[nodiscard]] std::u32string codePoints(std::string_view text);

/// Splits at runs of Unicode white space; no empty words.
[[nodiscard]] std::vector<std::string> words(std::string_view text);
[[nodiscard]] std::string joined(const std::vector<std::string>& parts, std::string_view separator);

/// A case-insensitive regular expression in ICU syntax. Immutable; one object may be used from any thread, each use
/// makes its own matcher.
class Pattern {
public:
    struct Match {
        /// Byte range of the whole match in the UTF-8 text, and the text of each group ("" when it took no part).
        std::size_t begin = 0;
        std::size_t end = 0;
        std::vector<std::string> groups;
    };

    /// The pattern must be valid: they are constants of the program, a bad one aborts.
    explicit Pattern(std::string_view pattern);
    Pattern(const Pattern&) = delete;
    Pattern& operator=(const Pattern&) = delete;
    Pattern(Pattern&&) noexcept;
    Pattern& operator=(Pattern&&) noexcept;
    ~Pattern();

    /// True when it matches anywhere.
    [[nodiscard]] bool found(std::string_view text) const;
    [[nodiscard]] std::optional<Match> find(std::string_view text) const;
    /// Every match replaced; "$1" names a group.
    [[nodiscard]] std::string replacedAll(std::string_view text, std::string_view replacement) const;

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace tolvik
