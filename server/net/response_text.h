#pragma once

#include <string>
#include <string_view>

#include "server/api/message.h"

namespace tolvik::server {

/// The bytes of an answer. Content type JSON unless a header says otherwise; a header that holds a control character
/// is not sent. `withBody` false (HEAD) keeps the length and leaves the body out.
[[nodiscard]] std::string responseText(const Response& response, bool withBody, bool keepAlive);

/// The header of an event stream, which ends with the connection, and its greeting.
[[nodiscard]] std::string eventStreamStart();

/// {"error": text}, the form of every refusal.
[[nodiscard]] Response refusal(int status, std::string_view text);

}  // namespace tolvik::server
