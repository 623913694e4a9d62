#pragma once

#include <cstddef>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "core/merge.h"
#include "core/mutation_sink.h"
#include "sync/outbox_op.h"

namespace tolvik {

/// What the server has of the records that stand differently here: those with queued operations (their holders), and
/// those that were made to fit the others (no holder). A record is its server copy plus the operations still queued.
/// Kept as a journal in the value store: a change appends, in its own transaction, what the record was, and only the
/// first such copy of a record counts, so that a change needs to know nothing of the queue. Main loop only.
class ServerCopies {
public:
    struct Copy {
        RecordKind kind = RecordKind::task;
        std::optional<std::string> record;
        /// Records whose queued operations change this one: itself, or the task that is deleted with it.
        std::unordered_set<Identifier> holders;

        [[nodiscard]] bool isDerived() const { return holders.empty(); }
    };

    /// The journal's name for a user's queue; the empty user is the anonymous one.
    [[nodiscard]] static std::string journalOf(std::string_view user);

    /// The writes that keep `before` for an operation on `holder` (none for a derived copy), for use without loading.
    static void stageFirst(WriteBatch& batch, const std::string& journal, const ServerCopy& before,
                           const std::optional<Identifier>& holder);

    /// Copies with the records whose operations they are kept for, away from the main loop.
    struct Many {
        std::unordered_map<Identifier, Copy> copies;
        std::unordered_map<Identifier, std::unordered_set<Identifier>> byHolder;
        /// All of them as one item of the journal.
        std::string item = "[";

        void add(const ServerCopy& before, const Identifier& holder);
    };
    /// As `addFirst`, for up to `count` of them, which is counted down; true when none is left.
    bool takeSome(Many& many, std::size_t& count);

    /// Replaces everything by what a journal tells. Files of the items lie in `folder`.
    void load(std::string journal, const std::vector<JournalItem>& items, const std::string& folder);
    void unload();

    /// As `stageFirst` did on disk.
    void addFirst(const ServerCopy& before, const std::optional<Identifier>& holder);
    /// The server carried out an operation; `isLast` when no other is queued for its record.
    void carriedOut(WriteBatch& batch, const OutboxOp& op, bool isLast);
    /// An operation was dropped; its effect is forgotten when it was the last one of its record.
    void released(WriteBatch& batch, const Identifier& holder);
    /// A pull told what the server has of a record that is held.
    void replace(WriteBatch& batch, const ServerCopy& copy);
    /// The record stands here as the server has it.
    void erase(WriteBatch& batch, const Identifier& id);

    [[nodiscard]] const std::unordered_map<Identifier, Copy>& all() const { return copies_; }
    [[nodiscard]] const Copy* find(const Identifier& id) const;
    /// Records that an operation on `holder` changes.
    [[nodiscard]] std::vector<Identifier> heldBy(const Identifier& holder) const;

    /// Writes the journal anew when it has grown far beyond what it holds.
    void tidy(WriteBatch& batch);

private:
    void set(WriteBatch& batch, const Identifier& id, const Copy& copy);
    void append(WriteBatch& batch, std::string item);
    void dropHolder(WriteBatch& batch, const Identifier& id, const Identifier& holder);
    void read(const nlohmann::json& item);
    void forget(const Identifier& id);

    std::string journal_;
    std::size_t items_ = 0;
    std::unordered_map<Identifier, Copy> copies_;
    std::unordered_map<Identifier, std::unordered_set<Identifier>> byHolder_;
};

}  // namespace tolvik
