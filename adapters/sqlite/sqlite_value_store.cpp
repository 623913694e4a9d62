#include "adapters/sqlite/sqlite_value_store.h"

#include <algorithm>
#include <sqlite3.h>
#include <utility>
#include <variant>

#include "adapters/sqlite/log_file.h"

namespace tolvik {

/// Carries out each kind of write of a batch; SQLite's codes, SQLITE_DONE on success.
struct SqliteValueStore::Impl : LogFile {
    using LogFile::LogFile;

    int collectionForWriting(const std::string& key, std::int64_t& number) {
        if (const auto found = collectionOf(key)) {
            number = *found;
            return SQLITE_DONE;
        }
        const int erased = eraseValue.text(1, key).run();
        if (erased != SQLITE_DONE) {
            return erased;
        }
        const int code = addCollection.text(1, key).run();
        if (code == SQLITE_DONE) {
            number = sqlite3_last_insert_rowid(db);
            collections.emplace(key, number);
        }
        return code;
    }

    int dropCollection(const std::string& key) {
        const auto number = collectionOf(key);
        if (!number) {
            return SQLITE_DONE;
        }
        int code = dropAllBytes.integer(1, *number).run();
        if (code == SQLITE_DONE) {
            code = dropAllPieces.integer(1, *number).run();
        }
        return code;
    }

    struct PieceRow {
        PieceInfo info;
        std::int64_t bytes = 0;
    };

    /// The pieces of a collection by their positions.
    Result<std::vector<PieceRow>, StoreError> rowsOf(std::int64_t collection) {
        std::vector<PieceRow> rows;
        const StatementUse use(infos);
        infos.integer(1, collection);
        int code = SQLITE_OK;
        while ((code = infos.step()) == SQLITE_ROW) {
            rows.push_back({{infos.integerAt(0),
                             infos.realAt(1),
                             static_cast<std::uint32_t>(infos.integerAt(2)),
                             {infos.integerAt(3), infos.integerAt(4)}},
                            infos.integerAt(5)});
        }
        // Almost always so already: SQLite would sort them all, which was a third of what a short command costs.
        const auto position = [](const PieceRow& row) { return row.info.position; };
        if (!std::ranges::is_sorted(rows, {}, position)) {
            std::ranges::stable_sort(rows, {}, position);
        }
        return ended(code, std::move(rows));
    }

    /// Makes room for a plain value under a key that holds a collection.
    int forgetCollection(const std::string& key) {
        const auto number = collectionOf(key);
        if (!number) {
            return SQLITE_DONE;
        }
        int code = dropCollection(key);
        if (code == SQLITE_DONE) {
            collections.erase(key);
            Statement forget;
            code = forget.prepare(db, "DELETE FROM collection WHERE number = ?");
            code = code == SQLITE_OK ? forget.integer(1, *number).run() : code;
        }
        return code;
    }

    int operator()(const WriteBatch::PutValue& w) {
        const int code = forgetCollection(w.key);
        return code == SQLITE_DONE ? putValue.text(1, w.key).blob(2, w.bytes).run() : code;
    }
    int operator()(const WriteBatch::EraseValue& w) {
        const int code = forgetCollection(w.key);
        return code == SQLITE_DONE ? eraseValue.text(1, w.key).run() : code;
    }
    int operator()(const WriteBatch::PutPiece& w) {
        std::int64_t collection = 0;
        if (const int code = collectionForWriting(w.key, collection); code != SQLITE_DONE) {
            return code;
        }
        oneInfo.integer(1, collection).integer(2, w.info.id);
        const int found = oneInfo.step();
        if (found == SQLITE_ROW) {
            const bool same = oneInfo.realAt(0) == w.info.position && oneInfo.integerAt(1) == w.info.count &&
                              oneInfo.integerAt(2) == w.info.bounds.earliestMs &&
                              oneInfo.integerAt(3) == w.info.bounds.latestMs;
            const auto bytes = oneInfo.integerAt(4);
            oneInfo.reset();
            const int code = setBytes.blob(1, w.bytes).integer(2, bytes).run();
            if (code != SQLITE_DONE || same) {
                return code;
            }
            return setPiece.real(1, w.info.position)
                .integer(2, w.info.count)
                .integer(3, w.info.bounds.earliestMs)
                .integer(4, w.info.bounds.latestMs)
                .integer(5, collection)
                .integer(6, w.info.id)
                .run();
        }
        oneInfo.reset();
        if (found != SQLITE_DONE) {
            return found;
        }
        if (const int code = addBytes.blob(1, w.bytes).run(); code != SQLITE_DONE) {
            return code;
        }
        return addPiece.integer(1, collection)
            .integer(2, w.info.id)
            .real(3, w.info.position)
            .integer(4, w.info.count)
            .integer(5, w.info.bounds.earliestMs)
            .integer(6, w.info.bounds.latestMs)
            .integer(7, sqlite3_last_insert_rowid(db))
            .run();
    }
    int operator()(const WriteBatch::ErasePiece& w) {
        const auto collection = collectionOf(w.key);
        if (!collection) {
            return SQLITE_DONE;
        }
        oneInfo.integer(1, *collection).integer(2, w.id);
        const int found = oneInfo.step();
        const auto bytes = found == SQLITE_ROW ? oneInfo.integerAt(4) : 0;
        oneInfo.reset();
        if (found != SQLITE_ROW) {
            return found;
        }
        const int code = dropBytes.integer(1, bytes).run();
        return code == SQLITE_DONE ? dropPiece.integer(1, *collection).integer(2, w.id).run() : code;
    }
    int operator()(const WriteBatch::EraseCollection& w) {
        std::int64_t collection = 0;
        const int code = collectionForWriting(w.key, collection);
        return code == SQLITE_DONE ? dropCollection(w.key) : code;
    }
    int operator()(const WriteBatch::AppendJournal& w) {
        return addJournal.integer(1, ++lastJournal).text(2, w.journal).blob(3, w.bytes).run();
    }
    int operator()(const WriteBatch::TrimJournal& w) {
        const int code = trimJournal.integer(1, w.upTo).text(2, w.journal).run();
        return code == SQLITE_DONE ? markJournal.integer(1, lastJournal).run() : code;
    }
};

SqliteValueStore::SqliteValueStore(std::string path) : SqliteValueStore(std::move(path), Options{}) {}

SqliteValueStore::SqliteValueStore(std::string path, Options options)
    : impl_(std::make_unique<Impl>(std::move(path), std::move(options))) {
    impl_->open();
}

SqliteValueStore::~SqliteValueStore() = default;

std::optional<StoreError> SqliteValueStore::openProblem() const {
    return impl_->problem;
}

std::optional<std::string> SqliteValueStore::movedAside() const {
    return impl_->aside;
}

Result<std::optional<std::string>, StoreError> SqliteValueStore::get(std::string_view key) const {
    Impl& s = *impl_;
    if (s.db == nullptr) {
        return s.unopened(std::optional<std::string>());
    }
    if (s.collectionOf(key)) {
        std::string out = "[";
        auto read = eachPiece(key, [&](const PieceInfo&, std::string_view bytes) {
            if (out.size() > 1 && !bytes.empty()) {
                out += ',';
            }
            out += bytes;
        });
        if (!read) {
            return failure(read.error());
        }
        return out + "]";
    }
    const StatementUse use(s.getValue);
    const int code = s.getValue.text(1, key).step();
    if (code == SQLITE_ROW) {
        return std::string(s.getValue.bytesAt(0));
    }
    return s.ended(code, std::optional<std::string>());
}

Result<std::vector<std::string>, StoreError> SqliteValueStore::keys() const {
    Impl& s = *impl_;
    std::vector<std::string> out;
    if (s.db == nullptr) {
        return s.unopened(std::move(out));
    }
    const StatementUse use(s.allKeys);
    int code = SQLITE_OK;
    while ((code = s.allKeys.step()) == SQLITE_ROW) {
        out.emplace_back(s.allKeys.bytesAt(0));
    }
    return s.ended(code, std::move(out));
}

Result<std::vector<PieceInfo>, StoreError> SqliteValueStore::pieces(std::string_view key) const {
    Impl& s = *impl_;
    std::vector<PieceInfo> out;
    if (s.db == nullptr) {
        return s.unopened(std::move(out));
    }
    const auto collection = s.collectionOf(key);
    if (!collection) {
        return out;
    }
    auto rows = s.rowsOf(*collection);
    if (!rows) {
        return failure(rows.error());
    }
    out.reserve(rows->size());
    for (const Impl::PieceRow& row : *rows) {
        out.push_back(row.info);
    }
    return out;
}

Result<std::string, StoreError> SqliteValueStore::piece(std::string_view key, std::int64_t id) const {
    Impl& s = *impl_;
    const auto collection = s.db == nullptr ? std::nullopt : s.collectionOf(key);
    if (!collection) {
        return failure(s.problem.value_or(StoreError::io));
    }
    const StatementUse use(s.onePiece);
    const int code = s.onePiece.integer(1, *collection).integer(2, id).step();
    if (code == SQLITE_ROW) {
        return std::string(s.onePiece.bytesAt(0));
    }
    return failure(code == SQLITE_DONE ? StoreError::corrupt : errorOf(s.db, code));
}

Result<void, StoreError> SqliteValueStore::eachPiece(
    std::string_view key, const std::function<void(const PieceInfo&, std::string_view bytes)>& visit) const {
    Impl& s = *impl_;
    if (s.db == nullptr) {
        return s.unopened();
    }
    const auto collection = s.collectionOf(key);
    if (!collection) {
        return {};
    }
    const auto rows = s.rowsOf(*collection);
    if (!rows) {
        return failure(rows.error());
    }
    for (const Impl::PieceRow& row : *rows) {
        const StatementUse use(s.bytesOf);
        const int code = s.bytesOf.integer(1, row.bytes).step();
        if (code != SQLITE_ROW) {
            return failure(code == SQLITE_DONE ? StoreError::corrupt : errorOf(s.db, code));
        }
        visit(row.info, s.bytesOf.bytesAt(0));
    }
    return {};
}

Result<std::vector<JournalItem>, StoreError> SqliteValueStore::journal(std::string_view name) const {
    Impl& s = *impl_;
    std::vector<JournalItem> out;
    if (s.db == nullptr) {
        return s.unopened(std::move(out));
    }
    const StatementUse use(s.readJournal);
    s.readJournal.text(1, name);
    int code = SQLITE_OK;
    while ((code = s.readJournal.step()) == SQLITE_ROW) {
        out.push_back({s.readJournal.integerAt(0), std::string(s.readJournal.bytesAt(1))});
    }
    return s.ended(code, std::move(out));
}

Result<void, StoreError> SqliteValueStore::commit(const WriteBatch& batch) {
    Impl& s = *impl_;
    if (!s.writable) {
        s.open();
    }
    if (!s.writable) {
        return failure(s.problem.value_or(StoreError::io));
    }
    if (batch.empty()) {
        return {};
    }
    const auto collectionsBefore = s.collections;
    const std::int64_t journalBefore = s.lastJournal;
    int code = s.begin.run();
    for (std::size_t i = 0; i < batch.writes.size() && isSuccess(code); ++i) {
        code = std::visit(s, batch.writes[i]);
    }
    if (isSuccess(code)) {
        code = s.commitNow.run();
    }
    if (isSuccess(code)) {
        return {};
    }
    const StoreError error = errorOf(s.db, code);
    if (sqlite3_get_autocommit(s.db) == 0) {
        s.rollback.run();
    }
    s.collections = collectionsBefore;
    s.lastJournal = journalBefore;
    return failure(error);
}

}  // namespace tolvik
