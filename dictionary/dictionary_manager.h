#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/clock.h"
#include "base/main_loop.h"
#include "base/subscription.h"
#include "core/bulk_mutation_sink.h"
#include "core/merge.h"
#include "core/mutation_sink.h"
#include "core/value_store.h"
#include "dictionary/dict_entry.h"
#include "dictionary/dictionary_import.h"
#include "dictionary/term_changes.h"
#include "dictionary/term_store.h"

namespace tolvik {

/// What the vocabulary is lent. Everything outlives it.
struct DictionaryPorts {
    ValueStore& values;
    const Clock& clock;
    Random& random;
    MainLoop& loop;
    MutationSink& mutations;
    ChangeHoldOff& holdOff;
    /// The same sink as `mutations`, where it takes many at once; null where it does not.
    BulkMutationSink* bulk = nullptr;
};

/// The user's voice vocabulary: names and terms that are misheard easily. The only writer of its entries. Each change
/// is saved together with the mutation that it owes the server. Main loop only.
class DictionaryManager {
public:
    static constexpr std::string_view storageKey = TermStore::kTermsKey;

    /// What is kept and does not decode counts as empty and is kept aside before it is overwritten.
    explicit DictionaryManager(DictionaryPorts ports);
    DictionaryManager(const DictionaryManager&) = delete;
    DictionaryManager& operator=(const DictionaryManager&) = delete;
    ~DictionaryManager() = default;

    /// In the order in which they were added.
    [[nodiscard]] const std::vector<DictEntry>& entries() const { return terms_.entries(); }
    /// The project whose terms are in effect besides the personal ones.
    [[nodiscard]] const std::optional<Identifier>& activeTagId() const { return terms_.active(); }
    /// Grows with every change of the entries.
    [[nodiscard]] std::uint64_t revision() const { return terms_.revision(); }
    /// The terms in effect, personal ones first.
    [[nodiscard]] std::vector<std::string> terms() const;
    /// The vocabulary in one line: "Tamsin=team member, indexer; [Brivio] checkout". `projectName` is the active
    /// project's name, empty when it has none.
    [[nodiscard]] std::string vocabularyText(std::string_view projectName = {}) const;
    /// Set while a change waits in memory because it could not be saved; it is saved as soon as it can be.
    [[nodiscard]] std::optional<StoreError> saveProblem() const { return saveProblem_; }

    /// The new entry's id; none when the trimmed term is empty.
    std::optional<Identifier> addTerm(std::string_view term, std::string_view hint,
                                      const std::optional<Identifier>& tagId = std::nullopt);
    /// Nothing happens for an unknown entry, an empty term or equal texts.
    void editTerm(const Identifier& id, std::string_view term, std::string_view hint);
    void deleteTerm(const Identifier& id);
    void setActiveProject(const std::optional<Identifier>& tagId);

    /// Adds the terms that `text` holds (see `parseImport`) and the dictionary does not have yet, and saves once. The
    /// new entries' ids in the order of the text; their number is the number of entries added.
    std::vector<Identifier> importEntries(std::string_view text, const std::optional<Identifier>& tagId = std::nullopt);
    /// As `deleteTerm` for each, saved once. What was deleted, with its place among the entries, for `restore`.
    using Placed = TermStore::Placed;
    std::vector<Placed> deleteTerms(std::span<const Identifier> ids);
    /// As `importEntries` and `deleteTerms`, compared and made ready by a worker: the loop is held for the saving
    /// alone. Nothing has happened before `done` is called, in a later turn of the loop and after `onChanged`; not at
    /// all when this is gone by then. What is changed in between is respected.
    void importLater(Workers& workers, std::string text, const std::optional<Identifier>& tagId,
                     std::function<void(std::vector<Identifier>)> done);
    void deleteLater(Workers& workers, std::vector<Identifier> ids, std::function<void()> done);
    /// Puts deleted entries back under their ids; those that are there again are left alone.
    void restore(std::span<const Placed> entries);
    /// The entry of a dictionary with that term, whatever the case; null when there is none. Valid until the next
    /// change.
    [[nodiscard]] const DictEntry* find(std::string_view term, const std::optional<Identifier>& tagId) const;

    /// Takes the server's entries over: those in `kept` keep the local version, `removed` ones go, and with `isFull`
    /// what the server lacks is queued for creation. How many were queued.
    std::size_t mergePulled(const std::vector<DictEntry>& pulled, const IdSet& removed, const IdSet& kept, bool isFull);
    /// Puts entries back to what they are without a refused change; other kinds of records are passed over. Owes
    /// nothing.
    void restoreCopies(std::span<const ServerCopy> copies);
    /// Reads what is kept anew, after the log became another user's.
    void reload();

    Subscription onChanged(std::function<void()> callback) { return changed_.connect(std::move(callback)); }

private:
    /// Work on the entries as they are now, for a worker.
    template <class Ready>
    struct Work {
        std::function<Ready(std::span<const DictEntry> existing)> make;
        std::function<void(Ready&)> take;
        std::vector<DictEntry> existing;
        std::uint64_t revision = 0;
    };
    /// Begins anew until the entries are the same after as before.
    template <class Ready>
    void workOn(Workers& workers, const std::shared_ptr<Work<Ready>>& work);
    [[nodiscard]] BulkMutationSink::MakeReady makeReady() const;
    [[nodiscard]] IdentifierSeries identifiers();

    /// `owed` is what the server is owed for the change made just now.
    void finish(const Mutation& owed);
    void finish(const TermsOwed& owed);
    void finishInTurns(const TermsOwed& owed, std::function<void()> done);
    void tellInTurns();
    void keep(const TermsOwed& owed);
    void tell();
    void save();

    DictionaryPorts ports_;
    TermStore terms_;
    /// What waits to be written besides the terms.
    WriteBatch held_;
    std::optional<StoreError> saveProblem_;
    Timer retry_;
    Millis retryDelay_{0};
    /// Who waits for the next turn, see `finishInTurns`.
    std::vector<std::function<void()>> untold_;
    bool isUntold_ = false;
    Timer telling_;
    Signal<> changed_;
    std::shared_ptr<DictionaryManager*> alive_ = std::make_shared<DictionaryManager*>(this);
};

}  // namespace tolvik
