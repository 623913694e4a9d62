#include "dictionary/term_store.h"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>

#include "base/json_writer.h"

namespace tolvik {
namespace {

constexpr std::size_t kTermsPerPiece = 64;

std::optional<Identifier> activeIn(const ValueStore& values) {
    const std::string text = values.text(TermStore::kActiveKey);
    return text.empty() ? std::nullopt : std::optional(Identifier(text));
}

}  // namespace

TermStore::TermStore(ValueStore& values, const Clock& clock)
    : values_(values),
      clock_(clock),
      list_(values, decoder_, kTermsPerPiece, [this](auto, auto bytes) { keepAside(bytes); }, [](StoreError) {}) {
    open();
}

void TermStore::open() {
    activeChanged_ = false;
    aside_.clear();
    // One value with both, as earlier versions kept it, is carried over by the next writes.
    const auto pieces = values_.pieces(kTermsKey);
    if (pieces && pieces->empty()) {
        const auto whole = values_.get(kTermsKey);
        if (auto decoded = whole && *whole ? decodeStorage(**whole) : std::nullopt) {
            list_.assign(std::move(decoded->entries));
            active_ = decoded->activeTagId;
            activeChanged_ = true;
            return;
        }
    }
    list_.reopen();
    active_ = activeIn(values_);
}

void TermStore::setActive(const std::optional<Identifier>& tagId) {
    active_ = tagId;
    activeChanged_ = true;
}

void TermStore::add(std::vector<DictEntry> entries) {
    (void)list_.all();
    CollectionPlan<DictEntry> plan;
    plan.added = std::move(entries);
    list_.apply(std::move(plan), [](const DictEntry&) { return true; });
}

void TermStore::replace(std::vector<DictEntry> entries) {
    (void)list_.all();
    CollectionPlan<DictEntry> plan;
    for (DictEntry& entry : entries) {
        const Identifier id = entry.id;
        plan.replaced.insert_or_assign(id, std::move(entry));
    }
    list_.apply(std::move(plan), [](const DictEntry&) { return true; });
}

std::vector<TermStore::Placed> TermStore::eraseIf(const std::function<bool(const DictEntry&)>& goes) {
    std::vector<Placed> out;
    list_.eraseIf(goes, [&](std::size_t index, const DictEntry& entry) { out.emplace_back(index, entry); });
    return out;
}

void TermStore::insert(std::vector<Placed> entries) {
    list_.insertAll(std::move(entries));
}

void TermStore::stage(WriteBatch& batch) {
    std::ranges::copy(aside_, std::back_inserter(batch.writes));
    list_.stage(batch);
    if (activeChanged_ && active_) {
        std::string json;
        appendJsonString(json, active_->text());
        batch.writes.emplace_back(WriteBatch::PutValue{std::string(kActiveKey), std::move(json)});
    } else if (activeChanged_) {
        batch.writes.emplace_back(WriteBatch::EraseValue{std::string(kActiveKey)});
    }
}

void TermStore::saved() {
    aside_.clear();
    activeChanged_ = false;
    list_.saved();
}

void TermStore::keepAside(std::string_view bytes) {
    std::string key = fmt::format("{}.unreadable-{}", kTermsKey, formatInstant(clock_.now()));
    if (!aside_.empty()) {
        key += fmt::format("-{}", aside_.size() + 1);
    }
    aside_.emplace_back(WriteBatch::PutValue{std::move(key), std::string(bytes)});
}

Result<std::optional<std::string>, StoreError> storedVocabulary(const ValueStore& values) {
    auto kept = values.get(TermStore::kTermsKey);
    const auto active = activeIn(values);
    const bool isCollection = kept && *kept && (*kept)->starts_with('[');
    if (isCollection || (kept && !*kept && active)) {
        return encodeStorage(isCollection ? std::string_view(**kept) : "[]", active);
    }
    return kept;
}

}  // namespace tolvik
