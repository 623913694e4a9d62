#pragma once

#include <deque>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "core/value_store.h"
#include "sync/outbox_op.h"

namespace tolvik {

/// The queue's journal: an item is an operation to append, an array of them (or the file with
/// one, see `bulk_file.h`), `{"done":ID}` for one that left the queue, `{"replace":OP}`
/// for one that changed, `{"clear":true}` for all that came before. Carrying items out again over a queue that has
/// them already changes nothing, so that a file may lag behind its journal or overlap with it.

[[nodiscard]] std::string outboxJournalOf(std::string_view user);
[[nodiscard]] std::string doneItem(std::string_view opId);
[[nodiscard]] std::string replaceItem(const OutboxOp& op);
[[nodiscard]] std::string clearItem();

/// Carries the items out over `ops`, in order; an item that does not decode is passed over. Files of the items lie in
/// `folder`.
void applyJournal(std::deque<OutboxOp>& ops, const std::vector<JournalItem>& items, const std::string& folder);

}  // namespace tolvik
