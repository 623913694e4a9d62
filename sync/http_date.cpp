#include "sync/http_date.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>

namespace tolvik {

std::optional<Instant> parseHttpDate(std::string_view text) {
    constexpr std::array<std::string_view, 12> months{"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                      "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    constexpr std::size_t length = 29;
    if (text.size() != length || text.substr(25) != " GMT" || text[3] != ',') {
        return std::nullopt;
    }
    const auto month = std::ranges::find(months, text.substr(8, 3));
    if (month == months.end()) {
        return std::nullopt;
    }
    return parseInstant(fmt::format("{}-{:02}-{}T{}.000Z", text.substr(12, 4), month - months.begin() + 1,
                                    text.substr(5, 2), text.substr(17, 8)));
}

}  // namespace tolvik
