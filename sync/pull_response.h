#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/result.h"
#include "core/merge.h"

namespace tolvik {

/// A vocabulary entry as the server sends it: "id", "tagId", "term", "hint", "createdAt", "updatedAt".
struct ServerDictEntry {
    Identifier id;
    std::optional<Identifier> tagId;
    std::string term;
    /// Empty when the server sends none.
    std::string hint;
    Timestamp createdAt;
    Timestamp updatedAt;

    bool operator==(const ServerDictEntry&) const = default;
};

/// The answer to a pull: a JSON object with "tasks", "timeEntries", "switchLogs", "tags", "dictionaries", "deleted"
/// (objects of "kind", "id" and "deletedAt"; kinds that are not known are passed over) and "earliestDate".
struct PullResponse {
    PulledLog log;
    std::vector<ServerDictEntry> dictionaries;
    /// The earliest day that holds data on the server.
    std::optional<DayKey> earliestDate;
};

/// Longer answers are refused.
constexpr std::size_t kMaxPullBytes = 64U << 20U;

/// The five collections must be there, whatever is in them must be complete; "deleted" and "earliestDate" may be
/// missing. At most 64 levels deep. Any bytes, any thread. The error names the place.
[[nodiscard]] Result<PullResponse, DecodeError> decodePullResponse(std::string_view json);

}  // namespace tolvik
