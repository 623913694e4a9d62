#include "dictionary/dict_entry.h"

#include <nlohmann/json.hpp>

#include "base/json_writer.h"

namespace tolvik {
namespace {

using Json = nlohmann::json;

const std::string* textAt(const Json& object, const char* key) {
    const auto found = object.find(key);
    return found != object.end() ? found->get_ptr<const std::string*>() : nullptr;
}

/// False when there is something else than a text or null.
bool readOptional(const Json& object, const char* key, std::optional<Identifier>& out) {
    const auto found = object.find(key);
    if (found == object.end() || found->is_null()) {
        return true;
    }
    const auto* text = found->get_ptr<const std::string*>();
    if (text != nullptr) {
        out = Identifier(*text);
    }
    return text != nullptr;
}

}  // namespace

std::string encodeStorage(const DictStorage& storage) {
    std::string out;
    std::string entries = "[";
    for (const DictEntry& entry : storage.entries) {
        if (entries.size() > 1) {
            entries += ',';
        }
        JsonObjectWriter object(entries);
        object.text("id", entry.id.text());
        object.text("term", entry.term);
        object.text("hint", entry.hint);
        if (entry.tagId) {
            object.text("tagId", entry.tagId->text());
        }
    }
    entries += ']';
    {
        JsonObjectWriter object(out);
        object.raw("entries", entries);
        if (storage.activeTagId) {
            object.text("activeTagId", storage.activeTagId->text());
        }
    }
    return out;
}

std::optional<DictStorage> decodeStorage(std::string_view json) {
    const Json root = Json::parse(json, nullptr, false);
    if (!root.is_object() || !root.contains("entries") || !root["entries"].is_array()) {
        return std::nullopt;
    }
    DictStorage out;
    for (const Json& object : root["entries"]) {
        if (!object.is_object()) {
            return std::nullopt;
        }
        const std::string* id = textAt(object, "id");
        const std::string* term = textAt(object, "term");
        const std::string* hint = textAt(object, "hint");
        DictEntry entry;
        if (id == nullptr || term == nullptr || hint == nullptr || !readOptional(object, "tagId", entry.tagId)) {
            return std::nullopt;
        }
        entry.id = Identifier(*id);
        entry.term = *term;
        entry.hint = *hint;
        out.entries.push_back(std::move(entry));
    }
    if (!readOptional(root, "activeTagId", out.activeTagId)) {
        return std::nullopt;
    }
    return out;
}

}  // namespace tolvik
