#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tolvik {

/// RFC 4648 with padding.
[[nodiscard]] std::string toBase64(std::string_view bytes);
/// None when the text is not exactly that.
[[nodiscard]] std::optional<std::string> fromBase64(std::string_view text);

}  // namespace tolvik
