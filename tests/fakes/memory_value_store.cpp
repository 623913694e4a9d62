#include "tests/fakes/memory_value_store.h"

#include <algorithm>

namespace tolvik {

std::vector<const MemoryValueStore::Piece*> MemoryValueStore::ordered(std::string_view key) const {
    std::vector<const Piece*> out;
    const auto found = collections_.find(key);
    if (found != collections_.end()) {
        for (const auto& [id, piece] : found->second) {
            out.push_back(&piece);
        }
    }
    std::ranges::sort(out, {}, [](const Piece* piece) { return piece->info.position; });
    return out;
}

Result<std::optional<std::string>, StoreError> MemoryValueStore::get(std::string_view key) const {
    if (const auto found = values_.find(key); found != values_.end()) {
        return found->second;
    }
    if (!collections_.contains(key)) {
        return std::nullopt;
    }
    std::string out = "[";
    for (const Piece* piece : ordered(key)) {
        if (out.size() > 1 && !piece->bytes.empty()) {
            out += ',';
        }
        out += piece->bytes;
    }
    return out + "]";
}

Result<std::vector<std::string>, StoreError> MemoryValueStore::keys() const {
    std::vector<std::string> out;
    for (const auto& [key, bytes] : values_) {
        out.push_back(key);
    }
    for (const auto& [key, pieces] : collections_) {
        out.push_back(key);
    }
    std::ranges::sort(out);
    return out;
}

Result<std::vector<PieceInfo>, StoreError> MemoryValueStore::pieces(std::string_view key) const {
    std::vector<PieceInfo> out;
    for (const Piece* piece : ordered(key)) {
        out.push_back(piece->info);
    }
    return out;
}

Result<std::string, StoreError> MemoryValueStore::piece(std::string_view key, std::int64_t id) const {
    const auto found = collections_.find(key);
    if (found == collections_.end() || !found->second.contains(id)) {
        return std::unexpected(StoreError::io);
    }
    return found->second.at(id).bytes;
}

Result<void, StoreError> MemoryValueStore::eachPiece(
    std::string_view key, const std::function<void(const PieceInfo&, std::string_view bytes)>& visit) const {
    for (const Piece* piece : ordered(key)) {
        visit(piece->info, piece->bytes);
    }
    return {};
}

Result<std::vector<JournalItem>, StoreError> MemoryValueStore::journal(std::string_view name) const {
    const auto found = journals_.find(name);
    return found == journals_.end() ? std::vector<JournalItem>{} : found->second;
}

Result<void, StoreError> MemoryValueStore::commit(const WriteBatch& batch) {
    if (failure) {
        return std::unexpected(*failure);
    }
    struct Apply {
        MemoryValueStore& store;
        void operator()(const WriteBatch::PutValue& w) const {
            store.collections_.erase(w.key);
            store.values_[w.key] = w.bytes;
        }
        void operator()(const WriteBatch::EraseValue& w) const {
            store.collections_.erase(w.key);
            store.values_.erase(w.key);
        }
        void operator()(const WriteBatch::PutPiece& w) const {
            store.values_.erase(w.key);
            store.collections_[w.key][w.info.id] = {w.info, w.bytes};
        }
        void operator()(const WriteBatch::ErasePiece& w) const { store.collections_[w.key].erase(w.id); }
        void operator()(const WriteBatch::EraseCollection& w) const {
            store.values_.erase(w.key);
            store.collections_[w.key].clear();
        }
        void operator()(const WriteBatch::AppendJournal& w) const {
            store.journals_[w.journal].push_back({++store.lastJournalNumber_, w.bytes});
        }
        void operator()(const WriteBatch::TrimJournal& w) const {
            std::erase_if(store.journals_[w.journal], [&](const auto& item) { return item.number <= w.upTo; });
        }
    };
    for (const auto& write : batch.writes) {
        std::visit(Apply{*this}, write);
    }
    commits.push_back(batch);
    return {};
}

}  // namespace tolvik
