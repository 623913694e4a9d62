#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "base/identifier.h"
#include "core/records.h"
#include "core/value_store.h"

namespace tolvik {

/// A record as the server has it, as far as this device knows.
struct ServerCopy {
    RecordKind kind = RecordKind::task;
    Identifier id;
    /// The record as a JSON object; none when the server does not have it.
    std::optional<std::string> record;

    bool operator==(const ServerCopy&) const = default;
};

/// One server mutation that a local change owes.
struct Mutation {
    /// "POST", "PATCH" or "DELETE".
    std::string method;
    /// For example "/tasks" or "/tasks/" + id.
    std::string path;
    /// A JSON object; absent for requests without a body.
    std::optional<std::string> body;
    std::optional<Identifier> entityId;
    /// Every record that it changes, as it was before: what the server has unless older mutations still wait. A refused
    /// mutation is undone by it.
    std::vector<ServerCopy> before = {};
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

    /// Remembers, in a transaction, the server's copies of records that stand differently here although nothing of
    /// theirs is owed, because the records would not fit together otherwise.
    virtual void stageCopies(WriteBatch& batch, std::span<const ServerCopy> copies) = 0;
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
