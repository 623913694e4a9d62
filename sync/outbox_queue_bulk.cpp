#include <filesystem>
#include <system_error>
#include <utility>

#include "sync/bulk_file.h"
#include "sync/outbox_journal.h"
#include "sync/outbox_queue.h"
#include "sync/ready_ops.h"

// Many operations at once: their bytes are in files before the transaction that names them.

namespace tolvik {

BulkMutationSink::MakeReady OutboxQueue::makeReady() const {
    return [user = user(), prefix = bulkPrefixOf(user())](const std::vector<Mutation>& mutations, Instant now,
                                                          const IdentifierSeries& ids) {
        return std::make_shared<ReadyOps>(user, prefix, mutations, now, ids);
    };
}

bool OutboxQueue::hasFile(const std::string& item) const {
    const auto name = bulkFileOf(item);
    std::error_code missing;
    return name && std::filesystem::exists(ports_.folder + "/" + *name, missing);
}

void OutboxQueue::appendReady(WriteBatch& batch, std::shared_ptr<ReadyMutations> made) {
    auto ready = std::static_pointer_cast<ReadyOps>(std::move(made));
    const std::string present = beginAppend(batch);
    const auto keep = [&](const std::string& journal, std::string& item, std::string& whole) {
        // Another user's files are none of this one's.
        const bool byFile = present == ready->user && hasFile(item);
        if (byFile) {
            ownBulkFiles_.insert(*bulkFileOf(item));
        }
        batch.writes.emplace_back(WriteBatch::AppendJournal{journal, std::move(byFile ? item : whole)});
    };
    if (!ready->copies.copies.empty()) {
        keep(ServerCopies::journalOf(present), ready->copiesItem, ready->copies.item);
    }
    keep(outboxJournalOf(present), ready->opsItem, ready->opsJson);
    incoming_.push_back(std::move(ready));
}

bool OutboxQueue::takeIn(std::size_t count) {
    while (!incoming_.empty()) {
        ReadyOps& ready = *incoming_.front();
        if (loaded_ && !copies_.takeSome(ready.copies, count)) {
            return false;
        }
        for (; count > 0 && ready.taken < ready.ops.size(); --count) {
            take(std::move(ready.ops[ready.taken++]));
        }
        if (ready.taken < ready.ops.size()) {
            return false;
        }
        incoming_.pop_front();
    }
    return true;
}

void OutboxQueue::sweep() {
    std::set<std::string> named = ownBulkFiles_;
    for (const std::string& journal : {outboxJournalOf(user()), ServerCopies::journalOf(user())}) {
        const auto items = ports_.values.journal(journal);
        if (!items) {
            return;
        }
        for (const JournalItem& item : *items) {
            if (auto name = bulkFileOf(item.bytes)) {
                named.insert(std::move(*name));
            }
        }
    }
    removeBulkFiles(bulkPrefixOf(user()), named);
}

}  // namespace tolvik
