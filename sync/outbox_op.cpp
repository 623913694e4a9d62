#include "sync/outbox_op.h"

#include <cmath>
#include <fmt/format.h>

#include "base/base64.h"
#include "base/json_reader.h"
#include "base/json_writer.h"

namespace tolvik {
namespace {

using simdjson::dom::element;

/// A million operations and more.
constexpr std::size_t kLargestFile = 2'000'000'000;

bool readText(const element& object, std::string_view key, std::string& out) {
    std::string_view text;
    if (object.at_key(key).get(text) != simdjson::SUCCESS) {
        return false;
    }
    out.assign(text);
    return true;
}

/// Absent and null are none; false when it is something else than a text.
bool readOptionalText(const element& object, std::string_view key, std::optional<std::string>& out) {
    element value;
    if (object.at_key(key).get(value) != simdjson::SUCCESS || value.is_null()) {
        return true;
    }
    return readText(object, key, out.emplace());
}

/// What is wrong with the operation, if anything.
const char* readOp(const element& object, OutboxOp& op) {
    if (!object.is_object()) {
        return "not an object";
    }
    if (!readText(object, "id", op.id) || !readText(object, "method", op.method) ||
        !readText(object, "path", op.path) || !readText(object, "createdAt", op.createdAt)) {
        return "id, method, path or createdAt is missing";
    }
    std::optional<std::string> body;
    if (!readOptionalText(object, "body", body) || !readOptionalText(object, "entityId", op.entityId)) {
        return "body or entityId is not a text";
    }
    if (body) {
        op.body = fromBase64(*body);
        if (!op.body) {
            return "body is not Base64";
        }
    }
    std::int64_t failures = 0;
    if (object.at_key("serverFailures").get(failures) == simdjson::SUCCESS) {
        op.serverFailures = failures;
    }
    double since = 0;
    if (object.at_key("serverFailingSince").get(since) == simdjson::SUCCESS) {
        op.serverFailingSince = since;
    }
    bool dropped = false;
    if (object.at_key("droppedTag").get(dropped) == simdjson::SUCCESS) {
        op.droppedTag = dropped;
    }
    return nullptr;
}

}  // namespace

void appendOp(std::string& out, const OutboxOp& op) {
    JsonObjectWriter writer(out);
    writer.text("id", op.id);
    writer.text("method", op.method);
    writer.text("path", op.path);
    if (op.body) {
        writer.text("body", toBase64(*op.body));
    }
    if (op.entityId) {
        writer.text("entityId", *op.entityId);
    }
    writer.text("createdAt", op.createdAt);
    writer.number("serverFailures", op.serverFailures);
    if (op.serverFailingSince && std::isfinite(*op.serverFailingSince)) {
        writer.raw("serverFailingSince", fmt::format("{}", *op.serverFailingSince));
    }
    writer.boolean("droppedTag", op.droppedTag);
}

Result<std::vector<OutboxOp>, std::string> readOps(std::string_view json) {
    JsonReader reader({.bytes = kLargestFile});
    const auto root = reader.read(json);
    if (!root) {
        return failure(std::string(root.error()));
    }
    simdjson::dom::array items;
    if (root->get(items) != simdjson::SUCCESS) {
        return failure(std::string("not an array"));
    }
    std::vector<OutboxOp> ops;
    for (const element item : items) {
        if (const char* problem = readOp(item, ops.emplace_back())) {
            return failure(fmt::format("[{}]: {}", ops.size() - 1, problem));
        }
    }
    return ops;
}

}  // namespace tolvik
