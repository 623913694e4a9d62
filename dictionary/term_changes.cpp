#include "dictionary/term_changes.h"

#include <utility>

#include "base/json_writer.h"
#include "core/record_json.h"
#include "dictionary/dictionary_import.h"

namespace tolvik {
namespace {

constexpr const char* path = "/dictionaries";
/// From here on mutations are worth being made ready.
constexpr std::size_t kMany = 32;

std::string changeBody(const DictEntry& entry, Instant now, bool isNew) {
    std::string out;
    JsonObjectWriter object(out);
    object.text("id", entry.id.text());
    if (entry.tagId) {
        object.text("tagId", entry.tagId->text());
    } else {
        object.null("tagId");
    }
    object.text("term", entry.term);
    object.text("hint", entry.hint);
    if (isNew) {
        object.text("createdAt", formatInstant(now));
    }
    object.text("updatedAt", formatInstant(now));
    return out;
}

/// An entry as it is remembered for the server's copy; any body of this path reads back as one.
std::string recordOf(const DictEntry& entry) {
    std::string out;
    appendRecord(out, entry);
    return out;
}

}  // namespace

Mutation termPut(const DictEntry& entry, Instant now, const std::optional<DictEntry>& before) {
    return {"POST",
            path,
            changeBody(entry, now, !before),
            entry.id,
            {{RecordKind::dictionary, entry.id, before ? std::optional(recordOf(*before)) : std::nullopt}}};
}

Mutation termDeletion(const DictEntry& before) {
    return {"DELETE",
            std::string(path) + "/" + before.id.text(),
            std::nullopt,
            before.id,
            {{RecordKind::dictionary, before.id, recordOf(before)}}};
}

TermsOwed owedFor(std::vector<Mutation> mutations, Instant now, IdentifierSeries ids,
                  const BulkMutationSink::MakeReady& makeReady) {
    TermsOwed owed;
    if (makeReady && mutations.size() >= kMany) {
        owed.ready = makeReady(mutations, now, ids);
    } else {
        owed.mutations = std::move(mutations);
    }
    return owed;
}

TermsToAdd termsToAdd(std::string_view text, std::span<const DictEntry> existing,
                      const std::optional<Identifier>& tagId, Instant now, IdentifierSeries ids,
                      const BulkMutationSink::MakeReady& makeReady) {
    TermsToAdd out;
    std::vector<Mutation> owed;
    for (auto& [term, hint] : planImport(parseImport(text).terms, existing, tagId).fresh) {
        const DictEntry& entry = out.entries.emplace_back(ids.next(), std::move(term), std::move(hint), tagId);
        owed.push_back(termPut(entry, now, std::nullopt));
    }
    out.owed = owedFor(std::move(owed), now, ids, makeReady);
    return out;
}

TermsToDelete termsToDelete(std::span<const Identifier> ids, std::span<const DictEntry> existing, Instant now,
                            IdentifierSeries series, const BulkMutationSink::MakeReady& makeReady) {
    const IdSet doomed(ids.begin(), ids.end());
    TermsToDelete out;
    std::vector<Mutation> owed;
    for (const DictEntry& entry : existing) {
        if (doomed.contains(entry.id)) {
            owed.push_back(termDeletion(entry));
            out.ids.insert(entry.id);
        }
    }
    out.owed = owedFor(std::move(owed), now, series, makeReady);
    return out;
}

}  // namespace tolvik
