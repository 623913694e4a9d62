#include "dictionary/dict_entry.h"

#include "base/json_reader.h"
#include "base/json_writer.h"
#include "core/record_json.h"

namespace tolvik {
namespace {

/// As long as the whole log may be.
constexpr std::size_t kMostBytes = 1'000'000'000;

using simdjson::dom::object;

bool readText(const object& from, std::string_view key, std::string_view& out) {
    return from.at_key(key).get(out) == simdjson::SUCCESS;
}

/// False when there is something else than a text or null.
bool readOptional(const object& from, std::string_view key, std::optional<Identifier>& out) {
    simdjson::dom::element found;
    if (from.at_key(key).get(found) != simdjson::SUCCESS || found.is_null()) {
        return true;
    }
    std::string_view text;
    if (found.get(text) != simdjson::SUCCESS) {
        return false;
    }
    out = Identifier(text);
    return true;
}

}  // namespace

std::string encodeStorage(const DictStorage& storage) {
    std::string entries;
    appendRecords(entries, storage.entries);
    return encodeStorage(entries, storage.activeTagId);
}

std::string encodeStorage(std::string_view entries, const std::optional<Identifier>& activeTagId) {
    std::string out;
    {
        JsonObjectWriter writer(out);
        writer.raw("entries", entries);
        if (activeTagId) {
            writer.text("activeTagId", activeTagId->text());
        }
    }
    return out;
}

std::optional<DictStorage> decodeStorage(std::string_view json) {
    JsonReader reader({.bytes = kMostBytes});
    const auto root = reader.readObject(json);
    simdjson::dom::array entries;
    if (!root || root->at_key("entries").get(entries) != simdjson::SUCCESS) {
        return std::nullopt;
    }
    DictStorage out;
    out.entries.reserve(entries.size());
    for (const simdjson::dom::element item : entries) {
        object from;
        std::string_view id;
        std::string_view term;
        std::string_view hint;
        DictEntry& entry = out.entries.emplace_back();
        if (item.get(from) != simdjson::SUCCESS || !readText(from, "id", id) || !readText(from, "term", term) ||
            !readText(from, "hint", hint) || !readOptional(from, "tagId", entry.tagId)) {
            return std::nullopt;
        }
        entry.id = Identifier(id);
        entry.term = term;
        entry.hint = hint;
    }
    if (!readOptional(*root, "activeTagId", out.activeTagId)) {
        return std::nullopt;
    }
    return out;
}

}  // namespace tolvik
