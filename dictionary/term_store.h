#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/clock.h"
#include "core/piece_list.h"
#include "core/value_store.h"
#include "dictionary/dict_entry.h"

namespace tolvik {

/// The terms in memory over how they are kept: a collection in pieces, so that a change writes a piece, and the active
/// project beside it. They are read when they are first asked for. Nothing is written before `stage`. Main loop only.
class TermStore {
public:
    static constexpr std::string_view kTermsKey = RecordShape<DictEntry>::key;
    static constexpr std::string_view kActiveKey = "tolvik.dictionaries.active";

    TermStore(ValueStore& values, const Clock& clock);
    TermStore(const TermStore&) = delete;
    TermStore& operator=(const TermStore&) = delete;
    ~TermStore() = default;

    /// Forgets what is in memory and learns anew what is kept. What does not decode counts as empty and is kept aside
    /// with the next writes.
    void open();

    /// In the order in which they were added.
    [[nodiscard]] const std::vector<DictEntry>& entries() const { return list_.all(); }
    [[nodiscard]] const std::optional<Identifier>& active() const { return active_; }
    /// Grows with every change of the terms.
    [[nodiscard]] std::uint64_t revision() const { return list_.revision(); }

    void setActive(const std::optional<Identifier>& tagId);
    void add(std::vector<DictEntry> entries);
    /// Puts other versions in the places of the entries with the same ids, which there are.
    void replace(std::vector<DictEntry> entries);
    /// An entry with its place among all.
    using Placed = std::pair<std::size_t, DictEntry>;
    /// Takes out every entry that `goes`. What went.
    std::vector<Placed> eraseIf(const std::function<bool(const DictEntry&)>& goes);
    /// Puts entries in so that each has its place, or stands at the end; in ascending order of places.
    void insert(std::vector<Placed> entries);

    /// Adds to `batch` what makes that which is kept equal to this.
    void stage(WriteBatch& batch);
    /// What `stage` gave is durable.
    void saved();

private:
    void keepAside(std::string_view bytes);

    ValueStore& values_;
    const Clock& clock_;
    RecordDecoder decoder_;
    /// Reading does not change it for who looks.
    mutable PieceList<DictEntry> list_;
    std::optional<Identifier> active_;
    bool activeChanged_ = false;
    /// What did not decode, to be kept under keys of its own.
    std::vector<WriteBatch::Write> aside_;
};

/// What is kept of the vocabulary as one value, in `encodeStorage`'s form; bytes of another form are as they are.
[[nodiscard]] Result<std::optional<std::string>, StoreError> storedVocabulary(const ValueStore& values);

}  // namespace tolvik
