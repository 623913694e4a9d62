#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "core/records.h"
#include "sync/outbox_op.h"

namespace tolvik {

/// The kind of record that a path is about: "/tasks" or "/tasks/" + id and so on.
[[nodiscard]] std::optional<RecordKind> kindOfPath(std::string_view path);

/// What becomes of a record (a JSON object, or none) when the server carries out an operation on it. A creation
/// replaces it, a change sets its members (and the time of the change), a deletion leaves none. A record or body that
/// is no object is left as it is.
[[nodiscard]] std::optional<std::string> recordAfter(const std::optional<std::string>& record, const OutboxOp& op);

/// The body without its "tagId"; none when it is no object or has no such member.
[[nodiscard]] std::optional<std::string> bodyWithoutTag(const std::string& body);

}  // namespace tolvik
