#include "sync/pull_response.h"

#include <fmt/format.h>
#include <utility>

#include "base/json_reader.h"

namespace tolvik {
namespace {

using simdjson::dom::element;

constexpr std::size_t kMaxDepth = 64;

bool readText(const element& object, std::string_view name, std::string& out) {
    std::string_view text;
    if (object.at_key(name).get(text) != simdjson::SUCCESS) {
        return false;
    }
    out.assign(text);
    return true;
}

/// An absent member and null leave it empty; false for anything that is no text.
bool readOptionalText(const element& object, std::string_view name, std::string& out) {
    element member;
    if (object.at_key(name).get(member) != simdjson::SUCCESS || member.is_null()) {
        return true;
    }
    return readText(object, name, out);
}

/// Calls `read` with each item of an array; false when there is none or an item is refused.
bool eachItem(const std::string& json, auto&& read) {
    JsonReader reader({.bytes = kMaxPullBytes, .depth = kMaxDepth});
    const auto value = reader.read(json);
    simdjson::dom::array items;
    if (!value || value->get(items) != simdjson::SUCCESS) {
        return false;
    }
    for (const element item : items) {
        if (!item.is_object() || !read(item)) {
            return false;
        }
    }
    return true;
}

bool readTerm(const element& object, std::vector<ServerDictEntry>& out) {
    std::string id;
    std::string tag;
    std::string created;
    std::string updated;
    ServerDictEntry entry;
    if (!readText(object, "id", id) || !readText(object, "term", entry.term) ||
        !readOptionalText(object, "hint", entry.hint) || !readOptionalText(object, "tagId", tag) ||
        !readOptionalText(object, "createdAt", created) || !readOptionalText(object, "updatedAt", updated)) {
        return false;
    }
    entry.id = Identifier(id);
    if (!tag.empty()) {
        entry.tagId = Identifier(tag);
    }
    entry.createdAt = Timestamp(created);
    entry.updatedAt = Timestamp(updated);
    out.push_back(std::move(entry));
    return true;
}

bool readMarker(const element& object, std::vector<DeletedMarker>& out) {
    std::string kind;
    std::string id;
    std::string at;
    if (!readText(object, "kind", kind) || !readText(object, "id", id) || !readOptionalText(object, "deletedAt", at)) {
        return false;
    }
    if (const auto known = kindFromText(kind)) {
        out.push_back({*known, Identifier(id), Timestamp(at)});
    }
    return true;
}

}  // namespace

Result<PullResponse, DecodeError> decodePullResponse(std::string_view json) {
    if (json.size() > kMaxPullBytes) {
        return failure(DecodeError(": too long"));
    }
    RecordDecoder decoder;
    std::vector<RecordDecoder::PullMember> others{{"dictionaries", {}}, {"deleted", {}}, {"earliestDate", {}}};
    auto records = decoder.pull(json, others);
    if (!records) {
        return failure(records.error());
    }
    PullResponse out;
    out.log.tasks = std::move(records->tasks);
    out.log.timeEntries = std::move(records->timeEntries);
    out.log.switchLogs = std::move(records->switchLogs);
    out.log.tags = std::move(records->tags);
    if (!eachItem(others[0].json, [&](const element& item) { return readTerm(item, out.dictionaries); })) {
        return failure(DecodeError(".dictionaries: not an array of entries"));
    }
    if (!others[1].json.empty() && others[1].json != "null" &&
        !eachItem(others[1].json, [&](const element& item) { return readMarker(item, out.log.deleted); })) {
        return failure(DecodeError(".deleted: not an array of markers"));
    }
    if (const std::string& date = others[2].json; date.size() > 2 && date.front() == '"') {
        out.earliestDate = DayKey::parse(std::string_view(date).substr(1, date.size() - 2));
    }
    return out;
}

}  // namespace tolvik
