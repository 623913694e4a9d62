#include "server/api/json_value.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>

#include "base/json_reader.h"
#include "base/json_writer.h"

namespace tolvik::server {
namespace {

constexpr std::size_t mostBytes = 16'000'000;
constexpr std::size_t mostDepth = 32;

JsonValue valueOf(const simdjson::dom::element& element) {
    JsonValue out;
    switch (element.type()) {
        case simdjson::dom::element_type::ARRAY: {
            JsonValue::Array items;
            for (const auto item : simdjson::dom::array(element)) {
                items.push_back(valueOf(item));
            }
            out.is = std::move(items);
            break;
        }
        case simdjson::dom::element_type::OBJECT: {
            JsonValue::Object members;
            for (const auto& [key, value] : simdjson::dom::object(element)) {
                members.push_back({std::string(key), valueOf(value)});
            }
            out.is = std::move(members);
            break;
        }
        case simdjson::dom::element_type::INT64:
            out.is = std::int64_t(element);
            break;
        case simdjson::dom::element_type::UINT64:
            out.is = static_cast<double>(std::uint64_t(element));
            break;
        case simdjson::dom::element_type::DOUBLE:
            out.is = double(element);
            break;
        case simdjson::dom::element_type::STRING:
            out.is = std::string(std::string_view(element));
            break;
        case simdjson::dom::element_type::BOOL:
            out.is = bool(element);
            break;
        case simdjson::dom::element_type::NULL_VALUE:
            break;
    }
    return out;
}

}  // namespace

std::optional<std::int64_t> JsonValue::whole() const {
    if (const auto* value = std::get_if<std::int64_t>(&is)) {
        return *value;
    }
    // Doubles hold every integer up to 2^53.
    constexpr double most = 9007199254740992.0;
    if (const auto* value = std::get_if<double>(&is);
        value != nullptr && std::trunc(*value) == *value && std::abs(*value) <= most) {
        return static_cast<std::int64_t>(*value);
    }
    return std::nullopt;
}

std::optional<double> JsonValue::number() const {
    if (const auto* value = std::get_if<std::int64_t>(&is)) {
        return static_cast<double>(*value);
    }
    const auto* value = std::get_if<double>(&is);
    return value == nullptr ? std::nullopt : std::optional(*value);
}

const JsonValue* JsonValue::member(std::string_view name) const {
    const Object* members = object();
    if (members == nullptr) {
        return nullptr;
    }
    const auto found = std::ranges::find(*members, name, &Member::name);
    return found == members->end() ? nullptr : &found->value;
}

Result<JsonValue, std::string> readJson(std::string_view text) {
    if (text.size() > mostBytes) {
        return failure(std::string("The JSON text is too long."));
    }
    thread_local JsonReader reader({.bytes = mostBytes, .depth = mostDepth});
    const auto root = reader.read(text);
    if (!root) {
        return failure(std::string("The body is not valid JSON."));
    }
    return valueOf(*root);
}

Result<JsonValue, std::string> readJsonObject(std::string_view text) {
    auto out = readJson(text);
    if (out && out->object() == nullptr) {
        return failure(std::string("The body is not a JSON object."));
    }
    return out;
}

void appendJson(std::string& out, const JsonValue& value) {
    if (const auto* members = value.object()) {
        JsonObjectWriter writer(out);
        for (const auto& [name, member] : *members) {
            std::string inner;
            appendJson(inner, member);
            writer.raw(name, inner);
        }
    } else if (const auto* items = value.array()) {
        out += '[';
        for (std::size_t i = 0; i < items->size(); ++i) {
            out += i == 0 ? "" : ",";
            appendJson(out, (*items)[i]);
        }
        out += ']';
    } else if (const auto* text = value.text()) {
        appendJsonString(out, *text);
    } else if (const auto* flag = value.flag()) {
        out += *flag ? "true" : "false";
    } else if (const auto* whole = std::get_if<std::int64_t>(&value.is)) {
        out += std::to_string(*whole);
    } else if (const auto* number = std::get_if<double>(&value.is)) {
        out += fmt::format("{}", *number);
    } else {
        out += "null";
    }
}

}  // namespace tolvik::server
