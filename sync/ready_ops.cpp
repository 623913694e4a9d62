#include "sync/ready_ops.h"

#include <utility>

#include "sync/bulk_file.h"

namespace tolvik {

OutboxOp opOf(const Mutation& mutation, const Identifier& id, const std::string& createdAt) {
    OutboxOp op;
    op.id = id.text();
    op.method = mutation.method;
    op.path = mutation.path;
    op.body = mutation.body;
    if (mutation.entityId) {
        op.entityId = mutation.entityId->text();
    }
    op.createdAt = createdAt;
    return op;
}

ReadyOps::ReadyOps(std::string whose, const std::string& filePrefix, const std::vector<Mutation>& mutations,
                   Instant now, IdentifierSeries ids)
    : user(std::move(whose)) {
    const std::string at = formatInstant(now);
    for (const Mutation& mutation : mutations) {
        opsJson += ops.empty() ? "" : ",";
        appendOp(opsJson, ops.emplace_back(opOf(mutation, ids.next(), at)));
        if (mutation.entityId) {
            for (const ServerCopy& before : mutation.before) {
                copies.add(before, *mutation.entityId);
            }
        }
    }
    opsJson += ']';
    copies.item += ']';
    opsItem = writeBulkFile(filePrefix, ids.next().text(), opsJson).value_or("");
    if (!copies.copies.empty()) {
        copiesItem = writeBulkFile(filePrefix, ids.next().text(), copies.item).value_or("");
    }
}

}  // namespace tolvik
