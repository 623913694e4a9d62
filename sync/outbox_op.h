#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/result.h"

namespace tolvik {

/// One queued server mutation. Field order is the order of the JSON members, which carry the same names.
struct OutboxOp {
    /// A UUID of its own.
    std::string id;
    /// "POST", "PATCH" or "DELETE".
    std::string method;
    std::string path;
    /// The JSON body's bytes (Base64 in the stored form).
    std::optional<std::string> body;
    /// The record that it changes.
    std::optional<std::string> entityId;
    /// When it was queued.
    std::string createdAt;
    /// How often the server answered 5xx.
    std::int64_t serverFailures = 0;
    /// When it first did: seconds since 2001-01-01T00:00:00Z.
    std::optional<double> serverFailingSince;
    /// True once it was sent again without its project.
    bool droppedTag = false;

    bool operator==(const OutboxOp&) const = default;
};

void appendOp(std::string& out, const OutboxOp& op);
/// A JSON array of operations. The last three members may be missing. The error names the place.
[[nodiscard]] Result<std::vector<OutboxOp>, std::string> readOps(std::string_view json);

}  // namespace tolvik
