#include "adapters/sqlite/log_file.h"

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <system_error>
#include <utility>

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

}  // namespace

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

LogFile::LogFile(std::string file, SqliteValueStore::Options chosen)
    : path(std::move(file)), options(std::move(chosen)) {}

LogFile::~LogFile() {
    close();
}

int LogFile::exec(const char* sql) const {
    return sqlite3_exec(db, sql, nullptr, nullptr, nullptr);
}

void LogFile::close() {
    for (Statement* s : {&begin,        &commitNow,     &rollback,   &getValue,    &putValue,    &eraseValue,
                         &allKeys,      &addCollection, &infos,      &oneInfo,     &onePiece,    &bytesOf,
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

void LogFile::open() {
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

void LogFile::openForReading() {
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

int LogFile::openAs(int flags, const std::string& name) {
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

int LogFile::prepareSchema(bool writes) {
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

int LogFile::prepareStatements() {
    const std::pair<Statement*, std::string_view> all[] = {
        {&begin, "BEGIN IMMEDIATE"},
        {&commitNow, "COMMIT"},
        {&rollback, "ROLLBACK"},
        {&getValue, "SELECT bytes FROM value WHERE key = ?"},
        {&putValue, "INSERT INTO value VALUES(?, ?) ON CONFLICT(key) DO UPDATE SET bytes = excluded.bytes"},
        {&eraseValue, "DELETE FROM value WHERE key = ?"},
        {&allKeys, "SELECT key FROM value UNION SELECT key FROM collection ORDER BY 1"},
        {&addCollection, "INSERT INTO collection(key) VALUES(?)"},
        {&infos, "SELECT id, position, count, earliest, latest, bytes FROM piece WHERE collection = ?"},
        {&oneInfo, "SELECT position, count, earliest, latest, bytes FROM piece WHERE collection = ? AND id = ?"},
        {&onePiece,
         "SELECT b.bytes FROM piece p JOIN piece_bytes b ON b.number = p.bytes WHERE p.collection = ? AND p.id = "
         "?"},
        {&bytesOf, "SELECT bytes FROM piece_bytes WHERE number = ?"},
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

void LogFile::moveAside() {
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

std::optional<std::int64_t> LogFile::collectionOf(std::string_view key) const {
    const auto found = collections.find(key);
    return found == collections.end() ? std::nullopt : std::optional(found->second);
}

Result<void, StoreError> LogFile::unopened() const {
    std::error_code ignored;
    if (!std::filesystem::exists(path, ignored)) {
        return {};
    }
    return failure(problem.value_or(StoreError::io));
}

}  // namespace tolvik
