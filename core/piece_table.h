#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iterator>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "core/dict_entry.h"
#include "core/records.h"
#include "core/value_store.h"

namespace tolvik {

/// The stretch of time that one record touches; the widest bounds for records without time or with one that cannot be
/// read.
[[nodiscard]] PieceBounds boundsOf(const TimeEntry& entry);
[[nodiscard]] PieceBounds boundsOf(const SwitchLog& log);
[[nodiscard]] inline PieceBounds boundsOf(const TaskModel&) {
    return {};
}
[[nodiscard]] inline PieceBounds boundsOf(const TagModel&) {
    return {};
}
[[nodiscard]] inline PieceBounds boundsOf(const DictEntry&) {
    return {};
}

/// A collection in memory, in pieces: asks for a piece when it is first needed and knows which pieces have changed.
/// Until all were read each piece has its own records, from then on they stand in one vector. Main loop only.
template <class Record>
class PieceTable {
public:
    /// A record's piece and its place in it. Good until records are inserted or erased.
    struct Place {
        std::size_t piece = 0;
        std::size_t index = 0;
    };
    explicit PieceTable(std::size_t perPiece) : perPiece_(perPiece) {}
    PieceTable(const PieceTable&) = delete;
    PieceTable& operator=(const PieceTable&) = delete;
    virtual ~PieceTable() = default;

    [[nodiscard]] std::size_t pieceCount() const { return pieces_.size(); }
    /// Grows with every change of the records, whether saved or not; reading does not count.
    [[nodiscard]] std::uint64_t revision() const { return revision_; }
    [[nodiscard]] const PieceBounds& bounds(std::size_t piece) const { return pieces_[piece].info.bounds; }

    /// The records of a piece; empty when it cannot be read.
    [[nodiscard]] std::span<const Record> records(std::size_t piece) {
        if (pieces_[piece].state != State::ready) {
            readPiece(piece);
        }
        return span(piece);
    }

    /// How many records there are, unread ones included.
    [[nodiscard]] std::size_t size() const {
        if (whole_) {
            return flat_.size();
        }
        std::size_t count = 0;
        for (std::size_t p = 0; p < pieces_.size(); ++p) {
            count += sizeOf(p);
        }
        return count;
    }

    [[nodiscard]] const std::vector<Record>& all() {
        if (!whole_) {
            readAll();
        }
        return flat_;
    }

    [[nodiscard]] const Record& at(Place place) { return records(place.piece)[place.index]; }

    /// Looks for a record from the newest piece backwards.
    [[nodiscard]] std::optional<Place> find(const Identifier& id) {
        for (std::size_t p = pieces_.size(); p-- > 0;) {
            const auto items = records(p);
            for (std::size_t i = items.size(); i-- > 0;) {
                if (items[i].id == id) {
                    return Place{p, i};
                }
            }
        }
        return std::nullopt;
    }

    /// The place of the record at `index` of the collection; only for an index below `size()`.
    [[nodiscard]] Place placeOf(std::size_t index) const {
        std::size_t p = 0;
        while (index >= sizeOf(p)) {
            index -= sizeOf(p);
            ++p;
        }
        return {p, index};
    }
    [[nodiscard]] std::size_t indexOf(Place place) const {
        if (whole_) {
            return pieces_[place.piece].first + place.index;
        }
        std::size_t index = place.index;
        for (std::size_t p = 0; p < place.piece; ++p) {
            index += sizeOf(p);
        }
        return index;
    }

    void replace(Place place, Record record) {
        (void)records(place.piece);
        mutableSpan(place.piece)[place.index] = std::move(record);
        touch(place.piece);
    }

    Place append(Record record) {
        if (pieces_.empty() || sizeOf(pieces_.size() - 1) >= perPiece_ || !isReadable(pieces_.size() - 1)) {
            addPiece(pieces_.size(), nextPosition_);
        }
        Piece& last = pieces_.back();
        const std::size_t p = pieces_.size() - 1;
        if (whole_) {
            flat_.push_back(std::move(record));
            ++last.info.count;
        } else {
            last.records.push_back(std::move(record));
            last.info.count = static_cast<std::uint32_t>(last.records.size());
        }
        touch(p);
        return {p, sizeOf(p) - 1};
    }

    /// Puts a record at `index` of the collection, at its end at the latest.
    void insert(std::size_t index, Record record) {
        if (index >= size()) {
            append(std::move(record));
            return;
        }
        const Place place = placeOf(index);
        (void)records(place.piece);
        Piece& piece = pieces_[place.piece];
        if (whole_) {
            flat_.insert(flat_.begin() + static_cast<std::ptrdiff_t>(index), std::move(record));
            ++piece.info.count;
            renumber(place.piece + 1);
        } else {
            piece.records.insert(piece.records.begin() + static_cast<std::ptrdiff_t>(place.index), std::move(record));
            piece.info.count = static_cast<std::uint32_t>(piece.records.size());
        }
        touch(place.piece);
        if (sizeOf(place.piece) > 2 * perPiece_) {
            (void)split(place.piece);
        }
    }

    void erase(Place place) {
        (void)records(place.piece);
        Piece& piece = pieces_[place.piece];
        if (whole_) {
            flat_.erase(flat_.begin() + static_cast<std::ptrdiff_t>(piece.first + place.index));
            --piece.info.count;
            renumber(place.piece + 1);
        } else {
            piece.records.erase(piece.records.begin() + static_cast<std::ptrdiff_t>(place.index));
            piece.info.count = static_cast<std::uint32_t>(piece.records.size());
        }
        touch(place.piece);
        if (sizeOf(place.piece) == 0) {
            removePiece(place.piece);
        }
    }

    /// Takes out every record that `goes`, telling `erased` of each with its index before anything was taken out.
    void eraseIf(const std::function<bool(const Record&)>& goes,
                 const std::function<void(std::size_t index, const Record&)>& erased) {
        (void)all();
        std::vector<Record> kept;
        kept.reserve(flat_.size());
        for (std::size_t p = 0; p < pieces_.size(); ++p) {
            const std::size_t end = pieces_[p].first + sizeOf(p);
            const std::size_t keptBefore = kept.size();
            for (std::size_t i = pieces_[p].first; i < end; ++i) {
                if (goes(flat_[i])) {
                    erased(i, flat_[i]);
                    pieces_[p].dirty = true;
                } else {
                    kept.push_back(std::move(flat_[i]));
                }
            }
            pieces_[p].first = keptBefore;
            if (pieces_[p].state == State::ready) {
                pieces_[p].info.count = static_cast<std::uint32_t>(kept.size() - keptBefore);
            }
        }
        flat_ = std::move(kept);
        touchDirtyAndRemoveEmpty();
    }

    /// Puts records in so that each then has its index; ascending.
    void insertAll(std::vector<std::pair<std::size_t, Record>> records) {
        if (records.size() < 4) {
            for (auto& [index, record] : records) {
                insert(index, std::move(record));
            }
            return;
        }
        (void)all();
        std::vector<Record> out;
        out.reserve(flat_.size() + records.size());
        auto next = records.begin();
        for (std::size_t p = 0; p < pieces_.size(); ++p) {
            const std::size_t end = pieces_[p].first + sizeOf(p);
            const std::size_t before = out.size();
            for (std::size_t i = pieces_[p].first; i < end; ++i) {
                for (; next != records.end() && next->first <= out.size(); ++next) {
                    out.push_back(std::move(next->second));
                    pieces_[p].dirty = true;
                }
                out.push_back(std::move(flat_[i]));
            }
            pieces_[p].first = before;
            if (pieces_[p].state == State::ready) {
                pieces_[p].info.count = static_cast<std::uint32_t>(out.size() - before);
            }
        }
        flat_ = std::move(out);
        for (std::size_t p = 0; p < pieces_.size(); ++p) {
            while (sizeOf(p) > 2 * perPiece_ && split(p)) {
            }
        }
        touchDirtyAndRemoveEmpty();
        for (; next != records.end(); ++next) {
            append(std::move(next->second));
        }
    }

protected:
    enum class State : std::uint8_t { unread, unreadable, ready };
    struct Piece {
        PieceInfo info;
        State state = State::unread;
        bool dirty = false;
        /// Changed, and nothing is lost but time when it is written late.
        bool bulk = false;
        bool staged = false;
        std::size_t first = 0;  ///< where it begins in `flat_`
        std::vector<Record> records;
    };

    /// Fills a piece that is not `ready`; it may stay so.
    virtual void readPiece(std::size_t p) = 0;
    /// Brings every piece into `flat_` and sets `whole_`.
    virtual void readAll() = 0;

    [[nodiscard]] std::size_t sizeOf(std::size_t p) const {
        return pieces_[p].state == State::unreadable ? 0 : pieces_[p].info.count;
    }
    [[nodiscard]] bool isReadable(std::size_t p) {
        (void)records(p);
        return p < pieces_.size() && pieces_[p].state == State::ready;
    }
    [[nodiscard]] std::span<const Record> span(std::size_t p) const {
        const Piece& piece = pieces_[p];
        if (piece.state != State::ready) {
            return {};
        }
        return whole_ ? std::span<const Record>(flat_).subspan(piece.first, piece.info.count)
                      : std::span<const Record>(piece.records);
    }
    [[nodiscard]] std::span<Record> mutableSpan(std::size_t p) {
        Piece& piece = pieces_[p];
        return whole_ ? std::span<Record>(flat_).subspan(piece.first, piece.info.count)
                      : std::span<Record>(piece.records);
    }

    void appendInPieces(std::vector<Record>& records) {
        for (std::size_t begin = 0; begin < records.size(); begin += perPiece_) {
            const std::size_t count = std::min(perPiece_, records.size() - begin);
            addPiece(pieces_.size(), nextPosition_);
            Piece& piece = pieces_.back();
            auto& target = whole_ ? flat_ : piece.records;
            const auto from = records.begin() + static_cast<std::ptrdiff_t>(begin);
            target.insert(target.end(), std::make_move_iterator(from),
                          std::make_move_iterator(from + static_cast<std::ptrdiff_t>(count)));
            piece.info.count = static_cast<std::uint32_t>(count);
            touch(pieces_.size() - 1);
        }
    }

    void cutIntoPieces() {
        for (std::size_t first = 0; first < flat_.size(); first += perPiece_) {
            addPiece(pieces_.size(), nextPosition_);
            Piece& piece = pieces_.back();
            piece.first = first;
            piece.info.count = static_cast<std::uint32_t>(std::min(perPiece_, flat_.size() - first));
            touch(pieces_.size() - 1);
        }
    }

    void touch(std::size_t p) {
        Piece& piece = pieces_[p];
        piece.dirty = true;
        ++revision_;
        const auto items = span(p);
        if (items.empty()) {
            return;
        }
        PieceBounds bounds = boundsOf(items.front());
        for (const Record& record : items.subspan(1)) {
            const PieceBounds other = boundsOf(record);
            bounds.earliestMs = std::min(bounds.earliestMs, other.earliestMs);
            bounds.latestMs = std::max(bounds.latestMs, other.latestMs);
        }
        piece.info.bounds = bounds;
    }

    void addPiece(std::size_t p, double position) {
        const std::size_t first = p < pieces_.size() ? pieces_[p].first : flat_.size();
        const PieceInfo info{nextId_++, position, 0, {}};
        nextPosition_ = std::max(nextPosition_, position + 1);
        Piece piece;
        piece.info = info;
        piece.state = State::ready;
        piece.dirty = true;
        piece.first = first;
        pieces_.insert(pieces_.begin() + static_cast<std::ptrdiff_t>(p), std::move(piece));
    }

    void removePiece(std::size_t p) {
        ++revision_;
        gone_.push_back(pieces_[p].info.id);
        pieces_.erase(pieces_.begin() + static_cast<std::ptrdiff_t>(p));
    }

    /// False when there was no number between the piece's position and the next one's; now there is.
    bool split(std::size_t p) {
        const bool isLast = p + 1 == pieces_.size();
        const double low = pieces_[p].info.position;
        const double middle = isLast ? low + 1 : low + (pieces_[p + 1].info.position - low) / 2;
        if (!(middle > low) || (!isLast && !(middle < pieces_[p + 1].info.position))) {
            // No number lies between the two: number all pieces anew, the larger piece splits next time.
            for (std::size_t i = 0; i < pieces_.size(); ++i) {
                (void)records(i);
                pieces_[i].info.position = static_cast<double>(i);
                pieces_[i].dirty = pieces_[i].state == State::ready;
            }
            nextPosition_ = static_cast<double>(pieces_.size());
            return false;
        }
        const std::uint32_t keep = pieces_[p].info.count / 2;
        addPiece(p + 1, middle);
        Piece& left = pieces_[p];
        Piece& right = pieces_[p + 1];
        right.info.count = left.info.count - keep;
        left.info.count = keep;
        if (whole_) {
            right.first = left.first + keep;
        } else {
            right.records.assign(std::make_move_iterator(left.records.begin() + keep),
                                 std::make_move_iterator(left.records.end()));
            left.records.resize(keep);
        }
        touch(p);
        touch(p + 1);
        return true;
    }

    void touchDirtyAndRemoveEmpty() {
        for (std::size_t p = pieces_.size(); p-- > 0;) {
            if (pieces_[p].dirty && sizeOf(p) == 0) {
                removePiece(p);
            } else if (pieces_[p].dirty) {
                touch(p);
            }
        }
    }

    void renumber(std::size_t from) {
        for (std::size_t p = from; p < pieces_.size(); ++p) {
            pieces_[p].first = p == 0 ? 0 : pieces_[p - 1].first + sizeOf(p - 1);
        }
    }

    std::size_t perPiece_;
    std::vector<Piece> pieces_;
    std::vector<std::int64_t> gone_;  ///< numbers of pieces that were removed
    bool whole_ = false;
    std::vector<Record> flat_;
    std::int64_t nextId_ = 1;
    double nextPosition_ = 0;
    std::uint64_t revision_ = 0;
};

}  // namespace tolvik
