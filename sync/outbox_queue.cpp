#include "sync/outbox_queue.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <iterator>
#include <ranges>
#include <system_error>
#include <unordered_set>
#include <utility>

#include "sync/bulk_file.h"
#include "sync/op_effect.h"
#include "sync/outbox_file.h"
#include "sync/outbox_journal.h"
#include "sync/ready_ops.h"

namespace tolvik {
namespace {

constexpr Millis kSoon{500};
constexpr Millis kLatest{60'000};
/// The file is written whole, so a long one is written less often: about this many bytes a second.
constexpr std::uintmax_t kBytesPerSecond = 100'000;
/// A process that ends writes a file of up to this size in any case.
constexpr std::uintmax_t kSmallFile = 256'000;
constexpr std::size_t kTrimAt = 64;
/// After the disk refused.
constexpr Millis kAgain{1000};

/// Brings the file up to the journal.
bool extendFile(const std::string& path, Instant now, const std::vector<JournalItem>& items, bool sync) {
    const std::string folder = std::filesystem::path(path).parent_path().string();
    auto read = readOutboxFile(path, now);
    std::deque<OutboxOp> ops(std::make_move_iterator(read.begin()), std::make_move_iterator(read.end()));
    applyJournal(ops, items, folder);
    return writeOutboxFile(path, {std::make_move_iterator(ops.begin()), std::make_move_iterator(ops.end())}, sync);
}

std::uintmax_t sizeOf(const std::string& path) {
    std::error_code missing;
    const auto size = std::filesystem::file_size(path, missing);
    return missing ? 0 : size;
}

Identifier entityOf(const OutboxOp& op) {
    return op.entityId ? Identifier(*op.entityId) : Identifier();
}

}  // namespace

OutboxQueue::OutboxQueue(Ports ports) : ports_(std::move(ports)) {
    // What an earlier process left to the journal.
    writeSoon();
}

OutboxQueue::~OutboxQueue() = default;

std::string OutboxQueue::user() const {
    return ports_.values.text("tolvik.auth.userId");
}

std::string OutboxQueue::filePathOf(const std::string& user) const {
    std::string name = user;
    // An id never leads out of the folder.
    std::ranges::replace(name, '/', '_');
    return ports_.folder + "/sync-outbox-" + (name.empty() ? "anon" : name) + ".json";
}

std::string OutboxQueue::beginAppend(WriteBatch& batch) {
    std::string present = user();
    follow();
    (void)takeIn(SIZE_MAX);
    // Items on one record stay in order.
    std::ranges::move(takeUnsaved().writes, std::back_inserter(batch.writes));
    if (earlyUser_ != present) {
        early_.clear();
        earlyUser_ = present;
    }
    return present;
}

void OutboxQueue::take(OutboxOp op) {
    if (loaded_) {
        count(op, 1);
        ops_.push_back(std::move(op));
    } else {
        early_.push_back(std::move(op));
    }
}

std::string OutboxQueue::bulkPrefixOf(const std::string& user) const {
    const std::filesystem::path file = filePathOf(user);
    return (file.parent_path() / file.stem()).string() + ".bulk-";
}

void OutboxQueue::append(WriteBatch& batch, std::span<const Mutation> mutations) {
    const std::string present = beginAppend(batch);
    const std::string journal = outboxJournalOf(present);
    const std::string copies = ServerCopies::journalOf(present);
    const std::string now = formatInstant(ports_.clock.now());
    for (const Mutation& mutation : mutations) {
        OutboxOp op = opOf(mutation, ports_.random.identifier(), now);
        if (mutation.entityId) {
            for (const ServerCopy& before : mutation.before) {
                ServerCopies::stageFirst(batch, copies, before, mutation.entityId);
                if (loaded_) {
                    copies_.addFirst(before, mutation.entityId);
                }
            }
        }
        std::string bytes;
        appendOp(bytes, op);
        batch.writes.emplace_back(WriteBatch::AppendJournal{journal, std::move(bytes)});
        take(std::move(op));
    }
}

void OutboxQueue::keepCopies(WriteBatch& batch, std::span<const ServerCopy> copies) {
    load();
    std::ranges::move(takeUnsaved().writes, std::back_inserter(batch.writes));
    for (const ServerCopy& copy : copies) {
        ServerCopies::stageFirst(batch, ServerCopies::journalOf(loadedUser_), copy, std::nullopt);
        copies_.addFirst(copy, std::nullopt);
    }
}

void OutboxQueue::follow() {
    if (loaded_ && loadedUser_ != user()) {
        loaded_ = false;
        ops_.clear();
        queued_.clear();
        copies_.unload();
        incoming_.clear();
    }
}

void OutboxQueue::load() {
    follow();
    (void)takeIn(SIZE_MAX);
    if (loaded_) {
        return;
    }
    // The journals are read anew.
    commit({});
    loaded_ = true;
    loadedUser_ = user();
    auto file = readOutboxFile(filePathOf(loadedUser_), ports_.clock.now());
    ops_.assign(std::make_move_iterator(file.begin()), std::make_move_iterator(file.end()));
    if (const auto items = ports_.values.journal(outboxJournalOf(loadedUser_))) {
        applyJournal(ops_, *items, ports_.folder);
    }
    if (earlyUser_ == loadedUser_) {
        std::unordered_set<std::string> known;
        for (const OutboxOp& op : ops_) {
            known.insert(op.id);
        }
        std::ranges::copy_if(early_, std::back_inserter(ops_), [&](const auto& op) { return !known.contains(op.id); });
    }
    early_.clear();
    queued_.clear();
    for (const OutboxOp& op : ops_) {
        count(op, 1);
    }
    const std::string journal = ServerCopies::journalOf(loadedUser_);
    copies_.load(journal, ports_.values.journal(journal).value_or(std::vector<JournalItem>()), ports_.folder);
    std::unordered_set<Identifier> idle;
    for (const auto& [id, copy] : copies_.all()) {
        for (const Identifier& holder : copy.holders) {
            if (!queued_.contains(holder)) {
                idle.insert(holder);
            }
        }
    }
    WriteBatch batch;
    for (const Identifier& holder : idle) {
        copies_.released(batch, holder);
    }
    if (!batch.empty()) {
        commit(std::move(batch));
    }
}

void OutboxQueue::count(const OutboxOp& op, int by) {
    if (!op.entityId) {
        return;
    }
    int& queued = queued_[entityOf(op)];
    queued += by;
    if (queued <= 0) {
        queued_.erase(entityOf(op));
    }
}

const std::deque<OutboxOp>& OutboxQueue::ops() {
    load();
    return ops_;
}

bool OutboxQueue::isQueued(const Identifier& id) {
    load();
    return queued_.contains(id);
}

ServerCopies& OutboxQueue::copies() {
    load();
    return copies_;
}

IdSet OutboxQueue::heldIds() {
    load();
    IdSet out;
    for (const auto& [id, count] : queued_) {
        out.insert(id);
    }
    for (const auto& [id, copy] : copies_.all()) {
        if (!copy.isDerived()) {
            out.insert(id);
        }
    }
    return out;
}

void OutboxQueue::headCarriedOut() {
    load();
    const OutboxOp op = std::move(ops_.front());
    ops_.pop_front();
    count(op, -1);
    WriteBatch batch;
#ifndef TOLVIK_PLANT_DEQUEUE_NOT_SAVED
    batch.writes.emplace_back(WriteBatch::AppendJournal{outboxJournalOf(loadedUser_), doneItem(op.id)});
#endif
    copies_.carriedOut(batch, op, !queued_.contains(entityOf(op)));
    copies_.tidy(batch);
    std::ranges::move(batch.writes, std::back_inserter(held_.writes));
    if (ops_.empty()) {
        commit({});
    } else if (!commitTimer_.isPending()) {
        commitTimer_ = ports_.loop.after(kTogether, [this] { commit({}); });
    }
    writeSoon();
}

WriteBatch OutboxQueue::takeUnsaved() {
    commitTimer_.cancel();
    return std::exchange(held_, {});
}

void OutboxQueue::replaceHead(OutboxOp op) {
    load();
    commit({{WriteBatch::AppendJournal{outboxJournalOf(loadedUser_), replaceItem(op)}}});
    ops_.front() = std::move(op);
    writeSoon();
}

std::optional<std::string> OutboxQueue::withoutDropped(const Identifier& id, const ServerCopies::Copy& copy) const {
    auto record = copy.record;
    for (const OutboxOp& op : ops_) {
        if (entityOf(op) == id) {
            record = recordAfter(record, op);
        } else if (op.method == "DELETE" && copy.holders.contains(entityOf(op))) {
            record.reset();
        }
    }
    return record;
}

OutboxQueue::Drop OutboxQueue::drop(const std::vector<std::size_t>& places) {
    load();
    Drop out;
    out.writes = takeUnsaved();
    IdSet holders;
    for (const std::size_t place : places) {
        OutboxOp& op = ops_[place];
        count(op, -1);
        out.writes.writes.emplace_back(WriteBatch::AppendJournal{outboxJournalOf(loadedUser_), doneItem(op.id)});
        if (op.entityId) {
            holders.insert(entityOf(op));
        }
        out.ops.push_back(std::move(op));
    }
    for (const std::size_t place : places | std::views::reverse) {
        ops_.erase(ops_.begin() + static_cast<std::ptrdiff_t>(place));
    }
    IdSet changed;
    for (const Identifier& holder : holders) {
        const auto held = copies_.heldBy(holder);
        changed.insert(held.begin(), held.end());
        out.isIncomplete = out.isIncomplete || !copies_.find(holder);
    }
    for (const auto& [id, copy] : copies_.all()) {
        if (copy.isDerived()) {
            changed.insert(id);
        }
    }
    for (const Identifier& id : changed) {
        const ServerCopies::Copy& copy = *copies_.find(id);
        out.records.push_back({copy.kind, id, withoutDropped(id, copy)});
    }
    for (const Identifier& holder : holders) {
        if (!queued_.contains(holder)) {
            copies_.released(out.writes, holder);
        }
    }
    for (const Identifier& id : changed) {
        if (const auto* copy = copies_.find(id); copy != nullptr && copy->isDerived()) {
            copies_.erase(out.writes, id);
        }
    }
    writeSoon();
    return out;
}

void OutboxQueue::commit(WriteBatch batch) {
    std::ranges::move(batch.writes, std::back_inserter(held_.writes));
    commitTimer_.cancel();
    if (held_.empty()) {
        return;
    }
    if (ports_.values.commit(held_)) {
        held_.writes.clear();
    } else {
        commitTimer_ = ports_.loop.after(kAgain, [this] { commit({}); });
    }
}

void OutboxQueue::clear() {
    load();
    ops_.clear();
    queued_.clear();
    copies_.unload();
    commit({{WriteBatch::AppendJournal{outboxJournalOf(loadedUser_), clearItem()},
             WriteBatch::TrimJournal{ServerCopies::journalOf(loadedUser_), INT64_MAX}}});
    removeBulkFiles(bulkPrefixOf(loadedUser_), {});
    writeSoon();
}

Result<void, StoreError> OutboxQueue::moveAnonymousTo(const std::string& target) {
    if (target.empty()) {
        return {};
    }
    commit({});
    const std::string anonymous = outboxJournalOf("");
    auto file = readOutboxFile(filePathOf(""), ports_.clock.now());
    std::deque<OutboxOp> moved(std::make_move_iterator(file.begin()), std::make_move_iterator(file.end()));
    const auto items = ports_.values.journal(anonymous);
    if (items) {
        applyJournal(moved, *items, ports_.folder);
    }
    const auto copies = ports_.values.journal(ServerCopies::journalOf(""));
    if (moved.empty() && (!copies || copies->empty())) {
        return {};
    }
    WriteBatch batch;
    for (const OutboxOp& op : moved) {
        std::string bytes;
        appendOp(bytes, op);
        batch.writes.emplace_back(WriteBatch::AppendJournal{outboxJournalOf(target), std::move(bytes)});
    }
    for (const JournalItem& item : copies.value_or(std::vector<JournalItem>())) {
        batch.writes.emplace_back(
            WriteBatch::AppendJournal{ServerCopies::journalOf(target), bulkContent(ports_.folder, item.bytes)});
    }
    batch.writes.emplace_back(WriteBatch::AppendJournal{anonymous, clearItem()});
    batch.writes.emplace_back(WriteBatch::TrimJournal{ServerCopies::journalOf(""), INT64_MAX});
    if (const auto committed = ports_.values.commit(batch); !committed) {
        return failure(committed.error());
    }
    // Whoever is loaded reads what stands in the journals now.
    loaded_ = false;
    early_.clear();
    incoming_.clear();
    lagging_.insert("");
    lagging_.insert(target);
    writeSoon();
    return {};
}

void OutboxQueue::writeSoon() {
    lagging_.insert(user());
    if (writing_) {
        return;
    }
    const bool isShort = loaded_ && ops_.size() < kTrimAt;
    const Millis wait{static_cast<std::int64_t>(sizeOf(filePath()) * 1000 / kBytesPerSecond)};
    if (!writeTimer_.isPending() || (isShort && !dueSoon_)) {
        dueSoon_ = isShort;
        writeTimer_ = ports_.loop.after(isShort ? kSoon : std::clamp(wait, kSoon, kLatest), [this] { write(); });
    }
}

void OutboxQueue::write() {
    if (!std::exchange(isSwept_, true)) {
        sweep();
    }
    while (!lagging_.empty()) {
        const std::string user = *lagging_.begin();
        lagging_.erase(lagging_.begin());
        // Only what is durable: an operation whose change still waits for the disk is not in the journal yet.
        auto items = ports_.values.journal(outboxJournalOf(user));
        if (!items || items->empty()) {
            continue;
        }
        writing_ = true;
        ports_.workers.run([path = filePathOf(user), now = ports_.clock.now(), items = std::move(*items), user,
                            &loop = ports_.loop, weak = std::weak_ptr(alive_)] {
            const bool good = extendFile(path, now, items, true);
            loop.post([weak, good, items, user] {
                if (const auto self = weak.lock()) {
                    (*self)->written(user, good, items);
                }
            });
        });
        return;
    }
}

void OutboxQueue::written(const std::string& user, bool good, const std::vector<JournalItem>& items) {
    writing_ = false;
    const std::int64_t upTo = items.back().number;
    // A trim that fails leaves items that the next writing finds in the file already.
    if (!good || !ports_.values.commit({{WriteBatch::TrimJournal{outboxJournalOf(user), upTo}}})) {
        lagging_.insert(user);
    } else {
        for (const JournalItem& item : items) {
            if (const auto name = bulkFileOf(item.bytes)) {
                std::error_code ignored;
                std::filesystem::remove(ports_.folder + "/" + *name, ignored);
                ownBulkFiles_.erase(*name);
            }
        }
    }
    if (!lagging_.empty()) {
        const std::string next = *lagging_.begin();
        const Millis wait{static_cast<std::int64_t>(sizeOf(filePathOf(next)) * 1000 / kBytesPerSecond)};
        writeTimer_ = ports_.loop.after(std::clamp(wait, kSoon, kLatest), [this] { write(); });
    }
}

void OutboxQueue::settle() {
    commit({});
    const std::string present = user();
    const std::string journal = outboxJournalOf(present);
    const auto items = ports_.values.journal(journal);
    if (writing_ || !items || items->empty()) {
        return;
    }
    std::uintmax_t journalBytes = 0;
    for (const JournalItem& item : *items) {
        journalBytes += item.bytes.size();
    }
    const std::string path = filePathOf(present);
    const auto fileBytes = sizeOf(path);
    if (fileBytes > kSmallFile && journalBytes < fileBytes / 8) {
        return;
    }
    const bool trim = items->size() >= kTrimAt;
    if (extendFile(path, ports_.clock.now(), *items, trim) && trim &&
        !ports_.values.commit({{WriteBatch::TrimJournal{journal, items->back().number}}})) {
        // The next process finds the items in the file already.
        lagging_.insert(present);
    }
}

}  // namespace tolvik
