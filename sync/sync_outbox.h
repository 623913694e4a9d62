#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "base/clock.h"
#include "base/main_loop.h"
#include "base/subscription.h"
#include "core/mutation_sink.h"
#include "sync/outbox_op.h"

namespace tolvik {

/// The persistent queue of changes that the server is owed, first in, first out. A change's operations are written to
/// a journal in the transaction of the change; the queue's file, a JSON array of all operations, follows soon after on
/// a worker, and the journal is trimmed. What is queued is the file's operations and then those that only the journal
/// has, so a crash between the two loses nothing and doubles nothing. Nothing is read before it is needed: a command
/// that queues an operation costs the same however long the queue is. Main loop only.
///
/// Nothing is sent yet: the operations wait for the account.
class SyncOutbox final : public MutationSink {
public:
    struct Ports {
        ValueStore& values;
        const Clock& clock;
        Random& random;
        MainLoop& loop;
        Workers& workers;
        /// Where the file lies.
        std::string folder;
    };

    explicit SyncOutbox(Ports ports);
    ~SyncOutbox() override;

    void stage(WriteBatch& batch, std::span<const Mutation> mutations) override;
    void staged() override;

    /// The queue, the next to send first.
    [[nodiscard]] const std::vector<OutboxOp>& ops() const;
    [[nodiscard]] std::size_t pendingCount() const { return ops().size(); }
    /// After each change of the queue.
    Subscription onChanged(std::function<void()> callback);

    /// Writes the file now, on this thread, for a process that is about to end. A long queue to which little was
    /// added stays in the journal for the next process.
    void settle();

    /// "sync-outbox-anon.json", or with the signed-in user's id in place of "anon".
    [[nodiscard]] std::string filePath() const;

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace tolvik
