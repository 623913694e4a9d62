#pragma once

#include <string>
#include <string_view>

namespace tolvik {

/// Joins the parts of spoken ticket names: "fix ABC - 123" becomes "fix ABC-123". Main loop only.
[[nodiscard]] std::string withTicketNames(std::string_view text);

}  // namespace tolvik
