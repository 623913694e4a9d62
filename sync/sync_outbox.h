#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "backend/endpoint.h"
#include "backend/http_client.h"
#include "backend/session.h"
#include "base/clock.h"
#include "base/main_loop.h"
#include "base/subscription.h"
#include "core/bulk_mutation_sink.h"
#include "core/mutation_sink.h"
#include "sync/outbox_op.h"
#include "sync/outbox_queue.h"

namespace tolvik {

/// The persistent queue of changes that the server is owed, first in, first out, and the loop that sends them, one at a
/// time. How it is kept: `OutboxQueue`. Without `goOnline` nothing is ever sent. Main loop only.
class SyncOutbox final : public MutationSink, public BulkMutationSink {
public:
    using Ports = OutboxQueue::Ports;

    explicit SyncOutbox(Ports ports);
    ~SyncOutbox() override;

    void stage(WriteBatch& batch, std::span<const Mutation> mutations) override;
    void staged() override;
    [[nodiscard]] MakeReady makeReady() override;
    void stageReady(WriteBatch& batch, std::shared_ptr<ReadyMutations> ready) override;
    [[nodiscard]] bool takeIn() override;
    void stageCopies(WriteBatch& batch, std::span<const ServerCopy> copies) override;

    /// What sending needs. Everything outlives the outbox.
    struct Line {
        HttpClient& http;
        const BackendEndpoint& endpoint;
        Session& session;
        ChangeHoldOff& holdOff;
    };
    void goOnline(Line line);

    /// The queue, the next to send first.
    [[nodiscard]] const std::deque<OutboxOp>& ops() const;
    [[nodiscard]] std::size_t pendingCount() const { return ops().size(); }
    /// Why sending is paused: "Offline, will retry" or "Server error, retrying"; none while it is not.
    [[nodiscard]] const std::optional<std::string>& parkedReason() const;
    /// The last notice about a change that was dropped, for 8 seconds.
    [[nodiscard]] const std::optional<std::string>& lastRejection() const;
    /// After each change of the queue, the reason or the notice.
    Subscription onChanged(std::function<void()> callback);
    /// The last operation has just been carried out or dropped.
    Subscription onDrained(std::function<void()> callback);
    /// Each operation that was dropped, in queue order.
    Subscription onOpDropped(std::function<void(const OutboxOp&)> callback);
    /// Takes the effect of dropped operations back and commits the drop's writes with it. Without one, the drop alone
    /// is committed.
    void setUndo(std::function<void(OutboxQueue::Drop)> undo);
    /// Hears of each operation that the server carried out, before it leaves the queue.
    void setCarriedOut(std::function<void(const OutboxOp&)> callback);

    /// Sends what waits, unless it is being sent or there is nothing; ends a wait for the next attempt.
    void flush();
    /// Forgets everything queued and its file, after the account is gone.
    void clear();
    /// A user has signed in, whose id stands in the settings: what was queued anonymously comes behind that user's own.
    /// With another `owner` of the log (the user whose records the anonymous changes are about), it goes there instead.
    [[nodiscard]] Result<void, StoreError> userSignedIn(const std::string& owner = {});
    /// The user has signed out or was changed: nothing more is sent in the former one's name.
    void userChanged();

    [[nodiscard]] OutboxQueue& queue();

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
