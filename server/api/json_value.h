#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "base/result.h"

namespace tolvik::server {

/// A JSON value that came from outside. Value type.
struct JsonValue {
    struct Member;
    using Array = std::vector<JsonValue>;
    using Object = std::vector<Member>;
    std::variant<std::monostate, bool, std::int64_t, double, std::string, Array, Object> is;

    [[nodiscard]] bool isNull() const { return std::holds_alternative<std::monostate>(is); }
    [[nodiscard]] const std::string* text() const { return std::get_if<std::string>(&is); }
    [[nodiscard]] const bool* flag() const { return std::get_if<bool>(&is); }
    [[nodiscard]] const Array* array() const { return std::get_if<Array>(&is); }
    [[nodiscard]] const Object* object() const { return std::get_if<Object>(&is); }
    /// Also of a number with a fraction of zero, up to 2^53.
    [[nodiscard]] std::optional<std::int64_t> whole() const;
    [[nodiscard]] std::optional<double> number() const;
    /// A member of an object, the first of that name; null when there is none or this is no object.
    [[nodiscard]] const JsonValue* member(std::string_view name) const;
};

struct JsonValue::Member {
    std::string name;
    JsonValue value;
};

/// Reads a text as JSON, at most 32 levels deep and 16 MB long. The error is a text for its sender. Any bytes.
[[nodiscard]] Result<JsonValue, std::string> readJson(std::string_view text);
/// Likewise, and it must be an object.
[[nodiscard]] Result<JsonValue, std::string> readJsonObject(std::string_view text);

/// Appends the value as JSON without blanks.
void appendJson(std::string& out, const JsonValue& value);

}  // namespace tolvik::server
