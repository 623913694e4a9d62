#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "core/bulk_mutation_sink.h"
#include "sync/outbox_op.h"
#include "sync/server_copies.h"

namespace tolvik {

[[nodiscard]] OutboxOp opOf(const Mutation& mutation, const Identifier& id, const std::string& createdAt);

/// Operations and the copies that are kept for them, with the items of the journals that stand for them all.
class ReadyOps final : public ReadyMutations {
public:
    /// For `user`'s queue; the items' files begin with `filePrefix`. Any thread.
    ReadyOps(std::string user, const std::string& filePrefix, const std::vector<Mutation>& mutations, Instant now,
             IdentifierSeries ids);

    std::string user;
    std::vector<OutboxOp> ops;
    /// How many of them are in the queue's memory.
    std::size_t taken = 0;
    ServerCopies::Many copies;
    /// Names of files; empty where the disk refused.
    std::string opsItem;
    std::string copiesItem;
    /// The operations as a JSON array.
    std::string opsJson = "[";
};

}  // namespace tolvik
