#pragma once

#include <optional>
#include <string_view>

#include "base/time.h"

namespace tolvik {

/// A date of HTTP in its preferred form (RFC 9110, section 5.6.7): "Sun, 06 Nov 1994 08:49:37 GMT". The day's name is
/// not looked at.
[[nodiscard]] std::optional<Instant> parseHttpDate(std::string_view text);

}  // namespace tolvik
