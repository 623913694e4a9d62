#include "core/value_store.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace tolvik {
namespace {

nlohmann::json jsonValue(const ValueStore& store, std::string_view key) {
    const auto bytes = store.get(key);
    if (!bytes || !*bytes) {
        return nlohmann::json::value_t::discarded;
    }
    return nlohmann::json::parse(**bytes, nullptr, false);
}

Result<void, StoreError> put(ValueStore& store, std::string_view key, const nlohmann::json& value) {
    using Json = nlohmann::json;
    return store.commit(
        {{WriteBatch::PutValue{std::string(key), value.dump(-1, ' ', false, Json::error_handler_t::replace)}}});
}

}  // namespace

std::string_view describe(StoreError error) {
    switch (error) {
        case StoreError::full:
            return "The disk is full. Changes are kept in memory and saved as soon as there is room.";
        case StoreError::readOnly:
            return "The data folder cannot be written. Changes are kept in memory until it can be.";
        case StoreError::locked:
            return "Another process holds the log. Changes are kept in memory until it lets go.";
        case StoreError::corrupt:
            return "The log's file is damaged.";
        case StoreError::io:
            return "The disk did not accept the change. It is kept in memory and tried again.";
    }
    return "";
}

bool ValueStore::flag(std::string_view key, bool otherwise) const {
    const auto value = jsonValue(*this, key);
    return value.is_boolean() ? value.get<bool>() : otherwise;
}

std::optional<std::int64_t> ValueStore::integer(std::string_view key) const {
    const auto value = jsonValue(*this, key);
    return value.is_number_integer() ? std::optional(value.get<std::int64_t>()) : std::nullopt;
}

std::string ValueStore::text(std::string_view key, std::string_view otherwise) const {
    const auto bytes = get(key);
    if (!bytes || !*bytes) {
        return std::string(otherwise);
    }
    const std::string& json = **bytes;
    // Some texts are asked for all the time: a plain one needs no parser.
    const bool isQuoted = json.size() >= 2 && json.front() == '"' && json.back() == '"';
    const auto isPlain = [](char c) { return c >= ' ' && c < '\x7f' && c != '"' && c != '\\'; };
    if (isQuoted && std::all_of(json.begin() + 1, json.end() - 1, isPlain)) {
        return json.substr(1, json.size() - 2);
    }
    const auto value = nlohmann::json::parse(json, nullptr, false);
    return value.is_string() ? value.get<std::string>() : std::string(otherwise);
}

Result<void, StoreError> ValueStore::setFlag(std::string_view key, bool value) {
    return put(*this, key, value);
}

Result<void, StoreError> ValueStore::setInteger(std::string_view key, std::int64_t value) {
    return put(*this, key, value);
}

Result<void, StoreError> ValueStore::setText(std::string_view key, std::string_view value) {
    return put(*this, key, std::string(value));
}

Result<void, StoreError> ValueStore::erase(std::string_view key) {
    return commit({{WriteBatch::EraseValue{std::string(key)}}});
}

}  // namespace tolvik
