#pragma once

#include <optional>
#include <span>
#include <string>

#include "base/identifier.h"
#include "core/value_store.h"

namespace tolvik {

/// One server mutation that a local change owes.
struct Mutation {
    /// "POST", "PATCH" or "DELETE".
    std::string method;
    /// For example "/tasks" or "/tasks/" + id.
    std::string path;
    /// A JSON object; absent for requests without a body.
    std::optional<std::string> body;
    std::optional<Identifier> entityId;
};

/// Where the store's changes go on their way to the server. Main loop only.
class MutationSink {
public:
    MutationSink() = default;
    MutationSink(const MutationSink&) = delete;
    MutationSink& operator=(const MutationSink&) = delete;
    virtual ~MutationSink() = default;

    /// Adds what makes `mutations` durable to the transaction of the change that owes them.
    virtual void stage(WriteBatch& batch, std::span<const Mutation> mutations) = 0;
    /// The batch of the preceding `stage` calls is in memory and either durable or waiting to be: queue and send.
    virtual void staged() = 0;
};

/// The change stream's side of a local change: announcements that arrive before the instant start no pull.
class ChangeHoldOff {
public:
    ChangeHoldOff() = default;
    ChangeHoldOff(const ChangeHoldOff&) = delete;
    ChangeHoldOff& operator=(const ChangeHoldOff&) = delete;
    virtual ~ChangeHoldOff() = default;

    virtual void suppressUntil(Instant instant) = 0;
};

}  // namespace tolvik
