#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "base/result.h"
#include "base/time.h"

namespace tolvik {

/// Why the log could not be read or written. `describe` gives the text for the user.
enum class StoreError : std::uint8_t {
    full,      ///< the disk has no room
    readOnly,  ///< the place cannot be written
    locked,    ///< another process holds the log
    corrupt,   ///< the file is damaged beyond reading
    io,        ///< any other failure of the disk
};
[[nodiscard]] std::string_view describe(StoreError error);

/// What a stretch of a collection's records spans, so that a reader can pass over it unread.
struct PieceBounds {
    /// Earliest and latest instant that any record of the piece touches, in Unix milliseconds; a running entry
    /// reaches INT64_MAX. Collections without time leave the widest bounds.
    std::int64_t earliestMs = INT64_MIN;
    std::int64_t latestMs = INT64_MAX;

    bool operator==(const PieceBounds&) const = default;
};

/// One stored stretch of a collection: `count` consecutive records as JSON objects joined by commas.
struct PieceInfo {
    /// Stays the same while the piece is rewritten; pieces are ordered by `position`.
    std::int64_t id = 0;
    double position = 0;
    std::uint32_t count = 0;
    PieceBounds bounds;
};

/// Changes that become durable together or not at all, in order.
struct WriteBatch {
    struct PutValue {
        std::string key;
        std::string bytes;
    };
    struct EraseValue {
        std::string key;
    };
    struct PutPiece {
        std::string key;
        PieceInfo info;
        std::string bytes;
    };
    struct ErasePiece {
        std::string key;
        std::int64_t id;
    };
    /// Removes every piece of a collection, before it is written anew.
    struct EraseCollection {
        std::string key;
    };
    /// Appends one item to the journal named `journal`.
    struct AppendJournal {
        std::string journal;
        std::string bytes;
    };
    /// Removes the items of a journal up to and including `upTo`.
    struct TrimJournal {
        std::string journal;
        std::int64_t upTo;
    };
    using Write = std::variant<PutValue, EraseValue, PutPiece, ErasePiece, EraseCollection, AppendJournal, TrimJournal>;

    std::vector<Write> writes;

    [[nodiscard]] bool empty() const { return writes.empty(); }
};

struct JournalItem {
    /// Grows with every append, never reused.
    std::int64_t number = 0;
    std::string bytes;
};

/// The per-user defaults store: one value per key, replaced atomically, several keys in one transaction. A collection
/// is one value too (a JSON array, see `get`), kept in pieces. Main loop only; calls block for the time of the disk.
/// The process that has it open is the only one.
class ValueStore {
public:
    ValueStore() = default;
    ValueStore(const ValueStore&) = delete;
    ValueStore& operator=(const ValueStore&) = delete;
    virtual ~ValueStore() = default;

    /// The whole logical value: bytes as they were put, or a collection as one JSON array; none when absent.
    [[nodiscard]] virtual Result<std::optional<std::string>, StoreError> get(std::string_view key) const = 0;
    /// All keys, collections included, sorted.
    [[nodiscard]] virtual Result<std::vector<std::string>, StoreError> keys() const = 0;

    /// The pieces of a collection in order; empty when there is none.
    [[nodiscard]] virtual Result<std::vector<PieceInfo>, StoreError> pieces(std::string_view key) const = 0;
    /// The bytes of one piece.
    [[nodiscard]] virtual Result<std::string, StoreError> piece(std::string_view key, std::int64_t id) const = 0;
    /// Calls `visit` with each piece in order; one pass, for reading everything.
    virtual Result<void, StoreError> eachPiece(
        std::string_view key, const std::function<void(const PieceInfo&, std::string_view bytes)>& visit) const = 0;

    [[nodiscard]] virtual Result<std::vector<JournalItem>, StoreError> journal(std::string_view name) const = 0;

    /// Durable when it returns; on failure nothing of the batch has happened.
    [[nodiscard]] virtual Result<void, StoreError> commit(const WriteBatch& batch) = 0;

    // Settings: small values as JSON texts under dotted keys. A value of another type counts as absent.
    [[nodiscard]] bool flag(std::string_view key, bool otherwise) const;
    [[nodiscard]] std::optional<std::int64_t> integer(std::string_view key) const;
    [[nodiscard]] std::string text(std::string_view key, std::string_view otherwise = {}) const;
    [[nodiscard]] Result<void, StoreError> setFlag(std::string_view key, bool value);
    [[nodiscard]] Result<void, StoreError> setInteger(std::string_view key, std::int64_t value);
    [[nodiscard]] Result<void, StoreError> setText(std::string_view key, std::string_view value);
    [[nodiscard]] Result<void, StoreError> erase(std::string_view key);
};

}  // namespace tolvik
