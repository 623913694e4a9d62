#include "sync/op_effect.h"

#include <array>
#include <nlohmann/json.hpp>
#include <utility>

namespace tolvik {
namespace {

/// Members keep their order.
using Json = nlohmann::ordered_json;

Json parsed(const std::string& text) {
    return Json::parse(text, nullptr, false);
}

std::string written(const Json& json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace

std::optional<RecordKind> kindOfPath(std::string_view path) {
    constexpr std::array<std::pair<std::string_view, RecordKind>, 5> collections{
        {{"/tasks", RecordKind::task},
         {"/time-entries", RecordKind::timeEntry},
         {"/switch-logs", RecordKind::switchLog},
         {"/tags", RecordKind::tag},
         {"/dictionaries", RecordKind::dictionary}}};
    const auto end = path.find('/', 1);
    for (const auto& [name, kind] : collections) {
        if (path.substr(0, end) == name) {
            return kind;
        }
    }
    return std::nullopt;
}

std::optional<std::string> recordAfter(const std::optional<std::string>& record, const OutboxOp& op) {
    if (op.method == "DELETE") {
        return std::nullopt;
    }
    if (!op.body || !parsed(*op.body).is_object()) {
        return record;
    }
    if (op.method == "POST") {
        return op.body;
    }
    Json object = record ? parsed(*record) : Json();
    if (!object.is_object()) {
        return record;
    }
    const Json body = parsed(*op.body);
    for (const auto& [name, value] : body.items()) {
        object[name] = value;
    }
    if (object.contains("updatedAt") && !body.contains("updatedAt")) {
        object["updatedAt"] = op.createdAt;
    }
    return written(object);
}

std::optional<std::string> bodyWithoutTag(const std::string& body) {
    Json object = parsed(body);
    if (!object.is_object() || object.erase("tagId") == 0) {
        return std::nullopt;
    }
    return written(object);
}

}  // namespace tolvik
