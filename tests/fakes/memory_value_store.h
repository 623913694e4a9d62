#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "core/value_store.h"

namespace tolvik {

/// Values in memory. Survives the AppStore that uses it, so that a restart is a second store over the same values.
class MemoryValueStore final : public ValueStore {
public:
    [[nodiscard]] Result<std::optional<std::string>, StoreError> get(std::string_view key) const override;
    [[nodiscard]] Result<std::vector<std::string>, StoreError> keys() const override;
    [[nodiscard]] Result<std::vector<PieceInfo>, StoreError> pieces(std::string_view key) const override;
    [[nodiscard]] Result<std::string, StoreError> piece(std::string_view key, std::int64_t id) const override;
    Result<void, StoreError> eachPiece(
        std::string_view key,
        const std::function<void(const PieceInfo&, std::string_view bytes)>& visit) const override;
    [[nodiscard]] Result<std::vector<JournalItem>, StoreError> journal(std::string_view name) const override;
    [[nodiscard]] Result<void, StoreError> commit(const WriteBatch& batch) override;

    /// While set, every commit fails with it and changes nothing.
    std::optional<StoreError> failure;
    /// Batches that were committed.
    std::vector<WriteBatch> commits;

private:
    struct Piece {
        PieceInfo info;
        std::string bytes;
    };
    [[nodiscard]] std::vector<const Piece*> ordered(std::string_view key) const;

    std::map<std::string, std::string, std::less<>> values_;
    std::map<std::string, std::map<std::int64_t, Piece>, std::less<>> collections_;
    std::map<std::string, std::vector<JournalItem>, std::less<>> journals_;
    std::int64_t lastJournalNumber_ = 0;
};

}  // namespace tolvik
