#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "server/api/message.h"

namespace tolvik::server {

/// An answer with a JSON body.
[[nodiscard]] Response json(std::string body, int status = 200);
/// {}
[[nodiscard]] Response done();
/// {"error": text, "code": code}; the text is for the user.
[[nodiscard]] Response problem(int status, std::string_view code, std::string_view text);
[[nodiscard]] Response badRequest(std::string_view text);
/// 401
[[nodiscard]] Response unauthorized();
/// 429; `seconds` is at least 1.
[[nodiscard]] Response tooMany(std::int64_t seconds);

}  // namespace tolvik::server
