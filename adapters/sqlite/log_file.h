#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <sqlite3.h>
#include <string>
#include <string_view>

#include "adapters/sqlite/sqlite_value_store.h"
#include "adapters/sqlite/statement.h"

namespace tolvik {

/// What an SQLite code means for the log; the connection (may be null) tells the system's reason.
[[nodiscard]] StoreError errorOf(sqlite3* db, int code);
[[nodiscard]] bool isSuccess(int code);

/// The open file behind the value store: its connection, its tables and the statements that work on them.
struct LogFile {
    LogFile(std::string file, SqliteValueStore::Options chosen);
    LogFile(const LogFile&) = delete;
    LogFile& operator=(const LogFile&) = delete;
    ~LogFile();

    std::string path;
    SqliteValueStore::Options options;
    /// Null while the file is neither open for writing nor for reading.
    sqlite3* db = nullptr;
    bool writable = false;
    /// Why it is not open for writing.
    std::optional<StoreError> problem;
    std::optional<std::string> aside;
    /// The numbers of the collections by key.
    std::map<std::string, std::int64_t, std::less<>> collections;
    std::int64_t lastJournal = 0;

    Statement begin, commitNow, rollback;
    Statement getValue, putValue, eraseValue, allKeys;
    Statement addCollection, infos, oneInfo, onePiece, bytesOf;
    Statement addBytes, setBytes, dropBytes, addPiece, setPiece, dropPiece, dropAllBytes, dropAllPieces;
    Statement addJournal, trimJournal, markJournal, readJournal;

    /// Opens for writing, else for reading; sets `problem` unless it is open for writing.
    void open();
    void close();

    [[nodiscard]] std::optional<std::int64_t> collectionOf(std::string_view key) const;

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

    /// While the file is not open: fine when nothing was ever stored, else it cannot be reached now.
    [[nodiscard]] Result<void, StoreError> unopened() const;
    template <class T>
    [[nodiscard]] Result<T, StoreError> unopened(T nothing) const {
        if (const auto reached = unopened(); !reached) {
            return failure(reached.error());
        }
        return nothing;
    }

private:
    int exec(const char* sql) const;
    /// Nothing can be written, not even the index of the write-ahead log: what is not written back yet stays unseen,
    /// so a log with content is not passed over.
    void openForReading();
    int openAs(int flags, const std::string& name);
    int prepareSchema(bool writes);
    int prepareStatements();
    void moveAside();
};

}  // namespace tolvik
