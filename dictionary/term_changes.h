#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/identifier_series.h"
#include "base/time.h"
#include "core/bulk_mutation_sink.h"
#include "core/merge.h"
#include "core/mutation_sink.h"
#include "dictionary/dict_entry.h"

namespace tolvik {

/// What changes of the vocabulary owe the server, and the changes of many terms at once. Functions of their arguments,
/// any thread.

/// A change of `before`, or a new entry.
[[nodiscard]] Mutation termPut(const DictEntry& entry, Instant now, const std::optional<DictEntry>& before);
[[nodiscard]] Mutation termDeletion(const DictEntry& before);

/// What the server is owed for many terms, in one of two forms: made ready, or as it is.
struct TermsOwed {
    std::vector<Mutation> mutations;
    std::shared_ptr<ReadyMutations> ready;

    [[nodiscard]] bool isEmpty() const { return mutations.empty() && !ready; }
};
/// With `makeReady` made ready when there are many.
[[nodiscard]] TermsOwed owedFor(std::vector<Mutation> mutations, Instant now, IdentifierSeries ids,
                                const BulkMutationSink::MakeReady& makeReady);

/// What an import adds.
struct TermsToAdd {
    std::vector<DictEntry> entries;
    TermsOwed owed;
};
/// The terms that `text` holds and the dictionary `tagId` among `existing` does not have.
[[nodiscard]] TermsToAdd termsToAdd(std::string_view text, std::span<const DictEntry> existing,
                                    const std::optional<Identifier>& tagId, Instant now, IdentifierSeries ids,
                                    const BulkMutationSink::MakeReady& makeReady);

/// What a deletion takes away.
struct TermsToDelete {
    IdSet ids;
    TermsOwed owed;
};
/// Those of `ids` that are among `existing`.
[[nodiscard]] TermsToDelete termsToDelete(std::span<const Identifier> ids, std::span<const DictEntry> existing,
                                          Instant now, IdentifierSeries series,
                                          const BulkMutationSink::MakeReady& makeReady);

}  // namespace tolvik
