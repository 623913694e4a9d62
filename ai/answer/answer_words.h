#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/clock.h"

namespace tolvik {

/// "12 s", "42 min", "3 h 05 min", with what is less than a unit cut off. Not negative.
[[nodiscard]] std::string lengthWords(std::int64_t ms);
/// "1 task", "3 tasks".
[[nodiscard]] std::string countWords(std::int64_t count, std::string_view one, std::string_view many);
/// "09:05".
[[nodiscard]] std::string clockTime(const TimeZone& zone, Instant instant);
/// The name in quotation marks.
[[nodiscard]] std::string quoted(std::string_view name);
/// "a", "a and b", "a, b and c".
[[nodiscard]] std::string listed(const std::vector<std::string>& parts);
/// With an upper-case first letter.
[[nodiscard]] std::string capitalised(std::string text);

}  // namespace tolvik
