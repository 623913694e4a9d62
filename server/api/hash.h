#pragma once

#include <string>
#include <string_view>

#include "base/clock.h"

namespace tolvik::server {

/// SHA-256 as 64 lower-case hexadecimal digits.
[[nodiscard]] std::string sha256(std::string_view bytes);

/// Compares in a time that does not depend on where the texts differ.
[[nodiscard]] bool sameSecret(std::string_view a, std::string_view b);

/// 256 random bits as 64 hexadecimal digits.
[[nodiscard]] std::string newToken(Random& random);

/// Six random digits.
[[nodiscard]] std::string newCode(Random& random);

}  // namespace tolvik::server
