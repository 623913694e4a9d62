#include "backend/http_client.h"

#include <algorithm>

namespace tolvik {

std::optional<std::string_view> findHeader(const HttpHeaders& headers, std::string_view name) {
    const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
    for (const auto& [key, value] : headers) {
        if (std::ranges::equal(key, name, {}, lower, lower)) {
            return value;
        }
    }
    return std::nullopt;
}

}  // namespace tolvik
