#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/merge.h"
#include "core/piece_table.h"
#include "core/record_json.h"
#include "core/record_shape.h"
#include "core/value_store.h"

namespace tolvik {

/// A collection in memory over its stored pieces: reads a piece when it is first asked for, gives what has changed to
/// be written. Main loop only.
template <class Record>
class PieceList final : public PieceTable<Record> {
public:
    /// Keeps the bytes of a piece that does not decode aside.
    using KeepAside = std::function<void(std::string_view key, std::string_view bytes)>;
    /// Hears why a piece could not be read; it is left as it is and tried again later.
    using ReportUnreadable = std::function<void(StoreError)>;

    PieceList(ValueStore& values, RecordDecoder& decoder, std::size_t perPiece, KeepAside keepAside,
              ReportUnreadable report)
        : PieceTable<Record>(perPiece),
          values_(values),
          decoder_(decoder),
          keepAside_(std::move(keepAside)),
          report_(std::move(report)) {}

    /// Learns which pieces there are. A value that was stored whole is taken in and written in pieces when next saved.
    void open() {
        const auto infos = values_.pieces(key());
        if (!infos) {
            report_(infos.error());
            // Whatever is there stays untouched: new pieces go far behind it.
            nextId_ = std::int64_t{1} << 32U;
            nextPosition_ = 1e12;
            return;
        }
        for (const PieceInfo& info : *infos) {
            Piece& piece = pieces_.emplace_back();
            piece.info = info;
            nextId_ = std::max(nextId_, info.id + 1);
            nextPosition_ = std::max(nextPosition_, info.position + 1);
        }
        if (infos->empty()) {
            openWholeValue();
        }
    }

    /// Replaces everything; what is stored is erased by the next batch.
    void assign(std::vector<Record> records) {
        pieces_.clear();
        gone_.clear();
        ++revision_;
        eraseStored_ = true;
        whole_ = true;
        flat_ = std::move(records);
        nextId_ = 1;
        nextPosition_ = 0;
        this->cutIntoPieces();
    }

    /// Forgets everything and learns anew which pieces there are.
    void reopen() {
        pieces_.clear();
        gone_.clear();
        flat_.clear();
        eraseStored_ = false;
        whole_ = false;
        nextId_ = 1;
        nextPosition_ = 0;
        ++revision_;
        open();
    }

    /// Reads up to `count` pieces that are not in memory yet; true when none is left.
    bool readSome(std::size_t count) {
        for (std::size_t p = 0; p < pieces_.size(); ++p) {
            if (pieces_[p].state == State::unread) {
                if (count-- == 0) {
                    return false;
                }
                readPiece(p);
            }
        }
        return true;
    }

    /// Carries a merge out: of the pieces that change, those without a record that `isUrgent` (as it was or as it is)
    /// are left to `stageBulk`. Every piece must have been read.
    void apply(CollectionPlan<Record> plan, const std::function<bool(const Record&)>& isUrgent) {
        applyToPresent(plan, isUrgent);
        if (plan.added.size() < 2 * perPiece_) {
            for (Record& record : plan.added) {
                this->append(std::move(record));
            }
            return;
        }
        const std::size_t first = pieces_.size();
        if (pieces_.empty()) {
            whole_ = true;
            flat_ = std::move(plan.added);
            this->cutIntoPieces();
        } else {
            this->appendInPieces(plan.added);
        }
        for (std::size_t p = std::min(first, pieces_.size()); p < pieces_.size(); ++p) {
            pieces_[p].bulk = std::ranges::none_of(this->span(p), isUrgent);
        }
    }

    /// Adds up to `count` of the pieces that may wait to `batch`; what it gave before and was not saved is given again.
    std::size_t stageBulk(WriteBatch& batch, std::size_t count) {
        std::size_t given = 0;
        for (std::size_t p = 0; p < pieces_.size(); ++p) {
            pieces_[p].staged = pieces_[p].dirty && pieces_[p].bulk && given < count;
            if (pieces_[p].staged) {
                stagePiece(batch, p);
                ++given;
            }
        }
        return given;
    }

    /// Adds to `batch` what makes the stored collection equal to the one in memory, but for pieces that may wait.
    void stage(WriteBatch& batch) {
        if (eraseStored_) {
            batch.writes.emplace_back(WriteBatch::EraseCollection{key()});
        }
        for (const std::int64_t id : gone_) {
            batch.writes.emplace_back(WriteBatch::ErasePiece{key(), id});
        }
        for (std::size_t p = 0; p < pieces_.size(); ++p) {
            pieces_[p].staged = pieces_[p].dirty && !pieces_[p].bulk;
            if (pieces_[p].staged) {
                stagePiece(batch, p);
            }
        }
    }
    /// What `stage` gave is durable.
    void saved() {
        eraseStored_ = false;
        gone_.clear();
        bulkSaved();
    }
    /// What `stageBulk` gave is durable.
    void bulkSaved() {
        for (Piece& piece : pieces_) {
            if (std::exchange(piece.staged, false)) {
                piece.dirty = false;
                piece.bulk = false;
            }
        }
    }

private:
    using Table = PieceTable<Record>;
    using Table::flat_;
    using Table::gone_;
    using Table::nextId_;
    using Table::nextPosition_;
    using Table::perPiece_;
    using Table::pieces_;
    using Table::revision_;
    using Table::whole_;
    using typename Table::Piece;
    using typename Table::State;

    [[nodiscard]] static std::string key() { return std::string(RecordShape<Record>::key); }

    void stagePiece(WriteBatch& batch, std::size_t p) const {
        if (this->sizeOf(p) == 0) {
            batch.writes.emplace_back(WriteBatch::ErasePiece{key(), pieces_[p].info.id});
            return;
        }
        std::string bytes;
        for (const Record& record : this->span(p)) {
            if (!bytes.empty()) {
                bytes += ',';
            }
            appendRecord(bytes, record);
        }
        batch.writes.emplace_back(WriteBatch::PutPiece{key(), pieces_[p].info, std::move(bytes)});
    }

    void applyToPresent(CollectionPlan<Record>& plan, const std::function<bool(const Record&)>& isUrgent) {
        constexpr std::size_t few = 32;
        if (plan.removed.size() > few) {
            this->eraseIf([&](const Record& record) { return plan.removed.contains(record.id); },
                          [](auto, const auto&) {});
        } else {
            for (const Identifier& id : plan.removed) {
                if (const auto place = this->find(id)) {
                    this->erase(*place);
                }
            }
        }
        if (plan.replaced.size() <= few) {
            for (auto& [id, record] : plan.replaced) {
                if (const auto place = this->find(id)) {
                    this->replace(*place, std::move(record));
                }
            }
            return;
        }
        for (std::size_t p = 0; p < pieces_.size(); ++p) {
            bool changed = false;
            bool urgent = pieces_[p].dirty && !pieces_[p].bulk;
            for (Record& record : this->mutableSpan(p)) {
                if (const auto found = plan.replaced.find(record.id); found != plan.replaced.end()) {
                    urgent = urgent || isUrgent(record) || isUrgent(found->second);
                    record = std::move(found->second);
                    changed = true;
                }
            }
            if (changed) {
                this->touch(p);
                pieces_[p].bulk = !urgent;
            }
        }
    }

    void openWholeValue() {
        const auto bytes = values_.get(key());
        if (!bytes) {
            report_(bytes.error());
            return;
        }
        if (!*bytes || **bytes == "[]") {
            return;
        }
        auto records = decoder_.template array<Record>(**bytes);
        if (!records) {
            keepAside_(RecordShape<Record>::key, **bytes);
            eraseStored_ = true;
            return;
        }
        whole_ = true;
        flat_ = std::move(*records);
        this->cutIntoPieces();
    }

    /// Decodes the bytes of a piece into `out`; what does not decode is kept aside and the piece emptied.
    void take(Piece& piece, std::string_view bytes, std::vector<Record>& out) {
        const std::size_t before = out.size();
        piece.state = State::ready;
        if (!decoder_.piece(bytes, out)) {
            keepAside_(RecordShape<Record>::key, bytes);
            piece.dirty = true;
            ++revision_;
        }
        piece.info.count = static_cast<std::uint32_t>(out.size() - before);
    }

    void readPiece(std::size_t p) override {
        Piece& piece = pieces_[p];
        const auto bytes = values_.piece(key(), piece.info.id);
        if (!bytes) {
            piece.state = State::unreadable;
            report_(bytes.error());
            return;
        }
        if (!whole_) {
            take(piece, *bytes, piece.records);
            return;
        }
        // Its second chance, after everything else was read.
        std::vector<Record> late;
        take(piece, *bytes, late);
        flat_.insert(flat_.begin() + static_cast<std::ptrdiff_t>(piece.first), late.begin(), late.end());
        this->renumber(p + 1);
    }

    void readAll() override {
        std::vector<Record> flat;
        flat.reserve(this->size() + perPiece_);
        std::size_t next = 0;
        const auto takeReady = [&] {
            for (; next < pieces_.size() && pieces_[next].state == State::ready; ++next) {
                Piece& piece = pieces_[next];
                piece.first = flat.size();
                std::ranges::move(piece.records, std::back_inserter(flat));
                piece.records = {};
            }
        };
        const auto read = values_.eachPiece(key(), [&](const PieceInfo& info, std::string_view bytes) {
            takeReady();
            if (next < pieces_.size() && pieces_[next].info.id == info.id) {
                pieces_[next].first = flat.size();
                take(pieces_[next], bytes, flat);
                ++next;
            }
        });
        if (!read) {
            report_(read.error());
        }
        takeReady();
        for (; next < pieces_.size(); ++next) {
            pieces_[next].first = flat.size();
            if (pieces_[next].state == State::ready) {
                std::ranges::move(pieces_[next].records, std::back_inserter(flat));
                pieces_[next].records = {};
            } else {
                pieces_[next].state = State::unreadable;
            }
        }
        flat_ = std::move(flat);
        whole_ = true;
    }

    ValueStore& values_;
    RecordDecoder& decoder_;
    KeepAside keepAside_;
    ReportUnreadable report_;
    bool eraseStored_ = false;
};

}  // namespace tolvik
