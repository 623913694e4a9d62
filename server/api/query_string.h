#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/result.h"

namespace tolvik::server {

using QueryItems = std::vector<std::pair<std::string, std::string>>;

/// Reads "a=1&b=2" with %-escapes and "+" for a space. The error is a text for the sender: a broken escape, a name that
/// comes twice, more than 16 items. Any bytes.
[[nodiscard]] Result<QueryItems, std::string> parseQuery(std::string_view query);

/// The value of a name.
[[nodiscard]] std::optional<std::string_view> itemOf(const QueryItems& items, std::string_view name);

}  // namespace tolvik::server
