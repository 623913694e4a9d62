#include "adapters/sqlite/sqlite_value_store.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <map>
#include <sqlite3.h>
#include <system_error>
#include <unistd.h>

#include "adapters/sqlite/statement.h"
#include "base/time.h"

namespace tolvik {
namespace {

/// "Tlvk"; marks the file as ours.
constexpr int kApplicationId = 0x546C766B;
constexpr int kSchemaVersion = 1;
constexpr int kPageSize = 2048;
/// What a process without a checkpoint at its end leaves to the next at most: that one reads it all to open the file.
constexpr std::uintmax_t kLargestLeftBehind = std::uintmax_t{1} << 20U;

// Pieces keep their bytes in a table of their own, so that reading all the bounds touches few pages.
constexpr const char* kSchema = R"(
    CREATE TABLE value(key TEXT PRIMARY KEY NOT NULL, bytes BLOB NOT NULL) WITHOUT ROWID;
    CREATE TABLE collection(number INTEGER PRIMARY KEY, key TEXT UNIQUE NOT NULL);
    CREATE TABLE piece(
        collection INTEGER NOT NULL, id INTEGER NOT NULL, position REAL NOT NULL, count INTEGER NOT NULL,
        earliest INTEGER NOT NULL, latest INTEGER NOT NULL, bytes INTEGER NOT NULL,
        PRIMARY KEY(collection, id)) WITHOUT ROWID;
    CREATE TABLE piece_bytes(number INTEGER PRIMARY KEY, bytes BLOB NOT NULL);
    CREATE TABLE journal(number INTEGER PRIMARY KEY, name TEXT NOT NULL, bytes BLOB NOT NULL);
    CREATE TABLE journal_mark(one INTEGER PRIMARY KEY CHECK(one = 1), last INTEGER NOT NULL);
)";

StoreError errorOf(sqlite3* db, int code) {
    switch (code & 0xFF) {
        case SQLITE_FULL:
            return StoreError::full;
        case SQLITE_READONLY:
        case SQLITE_PERM:
        case SQLITE_AUTH:
            return StoreError::readOnly;
        case SQLITE_BUSY:
        case SQLITE_LOCKED:
            return StoreError::locked;
        case SQLITE_CORRUPT:
        case SQLITE_NOTADB:
            return StoreError::corrupt;
        default:
            break;
    }
    const int reason = db == nullptr ? 0 : sqlite3_system_errno(db);
    if (reason == ENOSPC || reason == EDQUOT) {
        return StoreError::full;
    }
    if (reason == EROFS || reason == EACCES || reason == EPERM || (code & 0xFF) == SQLITE_CANTOPEN) {
        return StoreError::readOnly;
    }
    return StoreError::io;
}

bool isSuccess(int code) {
    return code == SQLITE_OK || code == SQLITE_DONE || code == SQLITE_ROW;
}

}  // namespace

struct SqliteValueStore::Impl {
    Impl(std::string file, Options chosen) : path(std::move(file)), options(std::move(chosen)) {}
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;
    ~Impl() { close(); }

    std::string path;
    Options options;
    sqlite3* db = nullptr;
    bool writable = false;
    std::optional<StoreError> problem;
    std::optional<std::string> aside;
    std::map<std::string, std::int64_t, std::less<>> collections;
    std::int64_t lastJournal = 0;

    Statement begin, commitNow, rollback;
    Statement getValue, putValue, eraseValue, allKeys;
    Statement addCollection, infos, oneInfo, onePiece, allPieces;
    Statement addBytes, setBytes, dropBytes, addPiece, setPiece, dropPiece, dropAllBytes, dropAllPieces;
    Statement addJournal, trimJournal, markJournal, readJournal;

    int exec(const char* sql) const { return sqlite3_exec(db, sql, nullptr, nullptr, nullptr); }

    void close() {
        for (Statement* s : {&begin,        &commitNow,     &rollback,   &getValue,    &putValue,    &eraseValue,
                             &allKeys,      &addCollection, &infos,      &oneInfo,     &onePiece,    &allPieces,
                             &addBytes,     &setBytes,      &dropBytes,  &addPiece,    &setPiece,    &dropPiece,
                             &dropAllBytes, &dropAllPieces, &addJournal, &trimJournal, &markJournal, &readJournal}) {
            s->finalize();
        }
        if (writable && !options.checkpointOnClose) {
            std::error_code ignored;
            const auto left = std::filesystem::file_size(path + "-wal", ignored);
            if (!ignored && left > kLargestLeftBehind) {
                sqlite3_wal_checkpoint_v2(db, nullptr, SQLITE_CHECKPOINT_TRUNCATE, nullptr, nullptr);
            }
        }
        sqlite3_close_v2(db);
        db = nullptr;
        writable = false;
        collections.clear();
    }

    /// Opens for writing, else for reading; sets `problem` unless it is open for writing.
    void open() {
        close();
        std::error_code ignored;
        std::filesystem::create_directories(std::filesystem::path(path).parent_path(), ignored);
        int code = openAs(SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, path);
        if (!isSuccess(code) && errorOf(db, code) == StoreError::corrupt) {
            close();
            moveAside();
            code = openAs(SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, path);
        }
        if (isSuccess(code)) {
            problem.reset();
            writable = true;
            return;
        }
        problem = errorOf(db, code);
        close();
        if (problem == StoreError::readOnly && std::filesystem::exists(path, ignored)) {
            openForReading();
        }
    }

    /// Nothing can be written, not even the index of the write-ahead log: what is not written back yet stays unseen,
    /// so a log with content is not passed over.
    void openForReading() {
        std::error_code ignored;
        const auto walSize = std::filesystem::file_size(path + "-wal", ignored);
        const bool hasWal = !ignored && walSize > 0;
        std::string uri = "file:";
        for (const char c : path) {
            if (c == '?' || c == '#' || c == '%') {
                static constexpr const char* hex = "0123456789ABCDEF";
                uri += '%';
                uri += hex[(static_cast<unsigned char>(c) >> 4U) & 15U];
                uri += hex[static_cast<unsigned char>(c) & 15U];
            } else {
                uri += c;
            }
        }
        uri += hasWal ? "?mode=ro" : "?immutable=1";
        if (!isSuccess(openAs(SQLITE_OPEN_READONLY | SQLITE_OPEN_URI, uri))) {
            close();
        }
    }

    int openAs(int flags, const std::string& name) {
        const char* vfs = options.fileSystem ? options.fileSystem->c_str() : nullptr;
        int code = sqlite3_open_v2(name.c_str(), &db, flags | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE, vfs);
        if (code != SQLITE_OK) {
            return code;
        }
        const bool writes = (flags & SQLITE_OPEN_READWRITE) != 0;
        if (writes && sqlite3_db_readonly(db, "main") == 1) {
            // SQLite opens for reading by itself what it may not write.
            return SQLITE_READONLY;
        }
        if (writes) {
            // One process at a time, so the index of the write-ahead log needs no shared memory.
            exec("PRAGMA locking_mode=EXCLUSIVE");
            exec(("PRAGMA page_size=" + std::to_string(kPageSize)).c_str());
            if (code = exec("PRAGMA journal_mode=WAL"); code != SQLITE_OK) {
                return code;
            }
            exec("PRAGMA synchronous=FULL");
            exec(("PRAGMA wal_autocheckpoint=" + std::to_string(options.checkpointPages)).c_str());
            exec("PRAGMA journal_size_limit=4194304");
            sqlite3_db_config(db, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, options.checkpointOnClose ? 0 : 1, nullptr);
        }
        exec("PRAGMA mmap_size=268435456");
        exec("PRAGMA cache_size=-4096");
        exec("PRAGMA temp_store=MEMORY");
        sqlite3_limit(db, SQLITE_LIMIT_LENGTH, 1'000'000'000);
        if (code = prepareSchema(writes); !isSuccess(code)) {
            return code;
        }
        return prepareStatements();
    }

    int prepareSchema(bool writes) {
        Statement version;
        if (const int code = version.prepare(db, "PRAGMA user_version"); code != SQLITE_OK) {
            return code;
        }
        if (const int code = version.step(); code != SQLITE_ROW) {
            return code;
        }
        const auto found = version.integerAt(0);
        version.finalize();
        if (found == kSchemaVersion) {
            return SQLITE_OK;
        }
        // A newer version wrote it: hands off. Anything else that is not empty is not ours.
        if (found != 0 || !writes) {
            return found > kSchemaVersion ? SQLITE_READONLY : SQLITE_NOTADB;
        }
        int code = exec("BEGIN IMMEDIATE");
        if (code == SQLITE_OK) {
            code = exec(kSchema);
        }
        if (code == SQLITE_OK) {
            code = exec(("PRAGMA application_id=" + std::to_string(kApplicationId)).c_str());
        }
        if (code == SQLITE_OK) {
            code = exec(("PRAGMA user_version=" + std::to_string(kSchemaVersion)).c_str());
        }
        if (code == SQLITE_OK) {
            code = exec("COMMIT");
        }
        if (code != SQLITE_OK) {
            exec("ROLLBACK");
            // The tables of somebody else stand there.
            return code == SQLITE_ERROR ? SQLITE_NOTADB : code;
        }
        return code;
    }

    int prepareStatements() {
        const std::pair<Statement*, std::string_view> all[] = {
            {&begin, "BEGIN IMMEDIATE"},
            {&commitNow, "COMMIT"},
            {&rollback, "ROLLBACK"},
            {&getValue, "SELECT bytes FROM value WHERE key = ?"},
            {&putValue, "INSERT INTO value VALUES(?, ?) ON CONFLICT(key) DO UPDATE SET bytes = excluded.bytes"},
            {&eraseValue, "DELETE FROM value WHERE key = ?"},
            {&allKeys, "SELECT key FROM value UNION SELECT key FROM collection ORDER BY 1"},
            {&addCollection, "INSERT INTO collection(key) VALUES(?)"},
            {&infos, "SELECT id, position, count, earliest, latest FROM piece WHERE collection = ? ORDER BY position"},
            {&oneInfo, "SELECT position, count, earliest, latest, bytes FROM piece WHERE collection = ? AND id = ?"},
            {&onePiece,
             "SELECT b.bytes FROM piece p JOIN piece_bytes b ON b.number = p.bytes WHERE p.collection = ? AND p.id = "
             "?"},
            {&allPieces,
             "SELECT p.id, p.position, p.count, p.earliest, p.latest, b.bytes FROM piece p LEFT JOIN piece_bytes b ON "
             "b.number = p.bytes WHERE p.collection = ? ORDER BY p.position"},
            {&addBytes, "INSERT INTO piece_bytes(bytes) VALUES(?)"},
            {&setBytes, "UPDATE piece_bytes SET bytes = ? WHERE number = ?"},
            {&dropBytes, "DELETE FROM piece_bytes WHERE number = ?"},
            {&addPiece, "INSERT INTO piece VALUES(?, ?, ?, ?, ?, ?, ?)"},
            {&setPiece,
             "UPDATE piece SET position = ?, count = ?, earliest = ?, latest = ? WHERE collection = ? AND id = ?"},
            {&dropPiece, "DELETE FROM piece WHERE collection = ? AND id = ?"},
            {&dropAllBytes, "DELETE FROM piece_bytes WHERE number IN (SELECT bytes FROM piece WHERE collection = ?)"},
            {&dropAllPieces, "DELETE FROM piece WHERE collection = ?"},
            {&addJournal, "INSERT INTO journal VALUES(?, ?, ?)"},
            {&trimJournal, "DELETE FROM journal WHERE number <= ? AND name = ?"},
            {&markJournal, "INSERT INTO journal_mark VALUES(1, ?) ON CONFLICT(one) DO UPDATE SET last = excluded.last"},
            {&readJournal, "SELECT number, bytes FROM journal WHERE name = ? ORDER BY number"},
        };
        for (const auto& [statement, sql] : all) {
            if (const int code = statement->prepare(db, sql); code != SQLITE_OK) {
                return code;
            }
        }
        Statement known;
        if (const int code = known.prepare(db, "SELECT number, key FROM collection"); code != SQLITE_OK) {
            return code;
        }
        int code = SQLITE_OK;
        while ((code = known.step()) == SQLITE_ROW) {
            collections.emplace(std::string(known.bytesAt(1)), known.integerAt(0));
        }
        if (code != SQLITE_DONE) {
            return code;
        }
        Statement last;
        // Numbers of items that were trimmed are not given again.
        code = last.prepare(db,
                            "SELECT max(coalesce((SELECT max(number) FROM journal), 0), coalesce((SELECT last FROM "
                            "journal_mark), 0))");
        if (code != SQLITE_OK) {
            return code;
        }
        if (code = last.step(); code == SQLITE_ROW) {
            lastJournal = last.integerAt(0);
        }
        return code;
    }

    void moveAside() {
        const auto now = std::chrono::duration_cast<Millis>(std::chrono::system_clock::now().time_since_epoch());
        std::string to = path + ".damaged-" + formatInstant(Instant{now.count()});
        std::error_code failed;
        std::filesystem::rename(path, to, failed);
        if (failed) {
            return;
        }
        // The write-ahead log belongs to the damaged file.
        std::filesystem::rename(path + "-wal", to + "-wal", failed);
        aside = std::move(to);
    }

    [[nodiscard]] std::optional<std::int64_t> collectionOf(std::string_view key) const {
        const auto found = collections.find(key);
        return found == collections.end() ? std::nullopt : std::optional(found->second);
    }

    /// The result of a read that ended with `code`.
    [[nodiscard]] Result<void, StoreError> ended(int code) const {
        if (isSuccess(code)) {
            return {};
        }
        return failure(errorOf(db, code));
    }

    /// What a read gave that ended with `code`.
    template <class T>
    [[nodiscard]] Result<T, StoreError> ended(int code, T out) const {
        if (isSuccess(code)) {
            return out;
        }
        return failure(errorOf(db, code));
    }

    /// Nothing was ever stored, or it cannot be reached now.
    [[nodiscard]] Result<void, StoreError> unopened() const {
        std::error_code ignored;
        if (!std::filesystem::exists(path, ignored)) {
            return {};
        }
        return failure(problem.value_or(StoreError::io));
    }

    template <class T>
    [[nodiscard]] Result<T, StoreError> unopened(T nothing) const {
        if (const auto reached = unopened(); !reached) {
            return failure(reached.error());
        }
        return nothing;
    }

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
    const StatementUse use(s.infos);
    s.infos.integer(1, *collection);
    int code = SQLITE_OK;
    while ((code = s.infos.step()) == SQLITE_ROW) {
        out.push_back({s.infos.integerAt(0),
                       s.infos.realAt(1),
                       static_cast<std::uint32_t>(s.infos.integerAt(2)),
                       {s.infos.integerAt(3), s.infos.integerAt(4)}});
    }
    return s.ended(code, std::move(out));
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
    const StatementUse use(s.allPieces);
    s.allPieces.integer(1, *collection);
    int code = SQLITE_OK;
    while ((code = s.allPieces.step()) == SQLITE_ROW) {
        if (s.allPieces.isNull(5)) {
            return failure(StoreError::corrupt);
        }
        visit({s.allPieces.integerAt(0),
               s.allPieces.realAt(1),
               static_cast<std::uint32_t>(s.allPieces.integerAt(2)),
               {s.allPieces.integerAt(3), s.allPieces.integerAt(4)}},
              s.allPieces.bytesAt(5));
    }
    return s.ended(code);
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
