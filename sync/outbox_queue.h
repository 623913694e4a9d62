#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

#include "base/clock.h"
#include "base/main_loop.h"
#include "core/bulk_mutation_sink.h"
#include "core/mutation_sink.h"
#include "sync/outbox_op.h"
#include "sync/server_copies.h"

namespace tolvik {

class ReadyOps;

/// What the queue keeps and how it is kept: the operations of the present user, in order, and the server's copies of
/// the records that they change. Every change of it is a few items of a journal in the value store; the queue's file,
/// a JSON array of all operations, follows on a worker, the later the longer it is, and then the journal is trimmed.
/// The user is the one of the settings; when that changes, the other user's queue is the queue. Main loop only.
class OutboxQueue {
public:
    struct Ports {
        ValueStore& values;
        const Clock& clock;
        Random& random;
        MainLoop& loop;
        Workers& workers;
        /// Where the files lie.
        std::string folder;
    };

    explicit OutboxQueue(Ports ports);
    OutboxQueue(const OutboxQueue&) = delete;
    OutboxQueue& operator=(const OutboxQueue&) = delete;
    ~OutboxQueue();

    /// The user whose queue this is; empty for the anonymous one.
    [[nodiscard]] std::string user() const;
    [[nodiscard]] std::string filePath() const { return filePathOf(user()); }

    /// Adds operations to the transaction of the change that owes them. Reads nothing.
    void append(WriteBatch& batch, std::span<const Mutation> mutations);
    /// What makes many mutations ready for `appendReady`, for the present user's queue.
    [[nodiscard]] BulkMutationSink::MakeReady makeReady() const;
    /// Likewise, for many. They come into memory by and by, or when the queue is next looked at.
    void appendReady(WriteBatch& batch, std::shared_ptr<ReadyMutations> ready);
    /// Takes up to `count` of them in; true when none is left.
    bool takeIn(std::size_t count);
    void keepCopies(WriteBatch& batch, std::span<const ServerCopy> copies);
    /// The file is to follow.
    void writeSoon();

    [[nodiscard]] const std::deque<OutboxOp>& ops();
    /// Ids that a pull leaves as they are.
    [[nodiscard]] IdSet heldIds();
    /// True while an operation on the record is queued.
    [[nodiscard]] bool isQueued(const Identifier& id);
    [[nodiscard]] ServerCopies& copies();

    /// The server carried the head out; it leaves the queue, soon durably: with the next change that is committed, when
    /// the queue is empty, or after `kTogether` at the latest. A process that ends before sends it again, and the
    /// server knows it by its id.
    void headCarriedOut();
    static constexpr Millis kTogether{50};
    /// What left the queue and is not durable yet; the caller commits it before its own writes.
    [[nodiscard]] WriteBatch takeUnsaved();
    /// Puts another version of the head in its place, durably.
    void replaceHead(OutboxOp op);

    /// What dropping operations means for the log.
    struct Drop {
        std::vector<OutboxOp> ops;
        /// Each record that they changed, and each that was made to fit, as it stands without them.
        std::vector<ServerCopy> records;
        /// Makes the drop durable.
        WriteBatch writes;
        /// The server's copy of some record is not known; a full pull tells.
        bool isIncomplete = false;
    };
    /// Takes operations out, by their places in ascending order. The caller commits `writes`.
    [[nodiscard]] Drop drop(const std::vector<std::size_t>& places);
    /// Commits what is not durable yet and these writes; while the disk refuses they are kept and tried again.
    void commit(WriteBatch batch);

    /// Forgets everything queued and its file.
    void clear();
    /// Moves what was queued anonymously behind the operations of `target`, durably.
    [[nodiscard]] Result<void, StoreError> moveAnonymousTo(const std::string& target);

    /// Writes the file now, on this thread, for a process that is about to end. A long queue to which little was
    /// added stays in the journal for the next process.
    void settle();

private:
    void load();
    void follow();
    /// Before operations are added; the user whose they are.
    std::string beginAppend(WriteBatch& batch);
    void take(OutboxOp op);
    void write();
    void written(const std::string& user, bool good, const std::vector<JournalItem>& items);
    void count(const OutboxOp& op, int by);
    [[nodiscard]] std::string filePathOf(const std::string& user) const;
    [[nodiscard]] std::string bulkPrefixOf(const std::string& user) const;
    [[nodiscard]] bool hasFile(const std::string& item) const;
    void sweep();
    [[nodiscard]] std::optional<std::string> withoutDropped(const Identifier& id, const ServerCopies::Copy& copy) const;

    Ports ports_;
    bool loaded_ = false;
    std::string loadedUser_;
    std::deque<OutboxOp> ops_;
    /// Added by this process before the queue was loaded.
    std::deque<OutboxOp> early_;
    /// What is not in memory yet, in order.
    std::deque<std::shared_ptr<ReadyOps>> incoming_;
    std::string earlyUser_;
    std::unordered_map<Identifier, int> queued_;
    ServerCopies copies_;
    /// Writes that wait for others or that the disk refused.
    WriteBatch held_;
    Timer commitTimer_;
    /// Users whose file lags behind.
    std::set<std::string> lagging_;
    bool writing_ = false;
    /// Files of items that may not be durable yet.
    std::set<std::string> ownBulkFiles_;
    bool isSwept_ = false;
    Timer writeTimer_;
    bool dueSoon_ = false;
    std::shared_ptr<OutboxQueue*> alive_ = std::make_shared<OutboxQueue*>(this);
};

}  // namespace tolvik
