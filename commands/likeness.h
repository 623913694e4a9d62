#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tolvik {

/// How alike two texts are in spelling, from 0 to 1, regardless of case.
[[nodiscard]] double spellingLikeness(std::string_view a, std::string_view b);

/// The candidate most like a word, when it is clearly meant.
[[nodiscard]] std::optional<std::string> likest(std::string_view word, const std::vector<std::string>& candidates);

}  // namespace tolvik
