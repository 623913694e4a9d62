#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tolvik {

/// The text as characters (grapheme clusters), one number each; equal characters have equal numbers.
[[nodiscard]] std::u32string characters(std::string_view text);

/// How many insertions, deletions and substitutions of a character turn one text into the other. When one is empty, or
/// the lengths differ by six or more, the result is the difference of the lengths, which is enough for callers that
/// look for small distances.
[[nodiscard]] std::size_t editDistance(std::u32string_view a, std::u32string_view b);
[[nodiscard]] std::size_t editDistance(std::string_view a, std::string_view b);

}  // namespace tolvik
