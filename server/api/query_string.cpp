#include "server/api/query_string.h"

#include <algorithm>

namespace tolvik::server {
namespace {

constexpr std::size_t mostItems = 16;

int digitOf(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return -1;
}

std::optional<std::string> unescaped(std::string_view text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '+') {
            out += ' ';
        } else if (text[i] == '%') {
            const int high = i + 2 < text.size() ? digitOf(text[i + 1]) : -1;
            const int low = high < 0 ? -1 : digitOf(text[i + 2]);
            if (low < 0) {
                return std::nullopt;
            }
            out += static_cast<char>(high * 16 + low);
            i += 2;
        } else {
            out += text[i];
        }
    }
    return out;
}

}  // namespace

Result<QueryItems, std::string> parseQuery(std::string_view query) {
    QueryItems out;
    while (!query.empty()) {
        const std::size_t end = std::min(query.find('&'), query.size());
        const std::string_view item = query.substr(0, end);
        query.remove_prefix(std::min(end + 1, query.size()));
        if (item.empty()) {
            continue;
        }
        const std::size_t equals = std::min(item.find('='), item.size());
        auto name = unescaped(item.substr(0, equals));
        auto value = unescaped(item.substr(std::min(equals + 1, item.size())));
        if (!name || !value) {
            return failure(std::string("The query holds a broken escape."));
        }
        if (out.size() == mostItems || itemOf(out, *name)) {
            return failure(std::string("The query names something twice or too much."));
        }
        out.emplace_back(*std::move(name), *std::move(value));
    }
    return out;
}

std::optional<std::string_view> itemOf(const QueryItems& items, std::string_view name) {
    const auto found = std::ranges::find(items, name, &QueryItems::value_type::first);
    return found == items.end() ? std::nullopt : std::optional<std::string_view>(found->second);
}

}  // namespace tolvik::server
