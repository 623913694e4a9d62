#pragma once

#include <sqlite3.h>
#include <string_view>

namespace tolvik {

/// A prepared statement. `run` and `step` give SQLite's codes. Not shared between threads.
class Statement {
public:
    Statement() = default;
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;
    ~Statement() { sqlite3_finalize(statement_); }

    int prepare(sqlite3* db, std::string_view sql) {
        return sqlite3_prepare_v3(db, sql.data(), static_cast<int>(sql.size()), SQLITE_PREPARE_PERSISTENT, &statement_,
                                  nullptr);
    }
    void finalize() {
        sqlite3_finalize(statement_);
        statement_ = nullptr;
    }

    // Texts and blobs must live until `reset`.
    Statement& text(int at, std::string_view value) {
        sqlite3_bind_text64(statement_, at, value.data(), value.size(), SQLITE_STATIC, SQLITE_UTF8);
        return *this;
    }
    Statement& blob(int at, std::string_view value) {
        // A null pointer would bind NULL.
        sqlite3_bind_blob64(statement_, at, value.empty() ? "" : value.data(), value.size(), SQLITE_STATIC);
        return *this;
    }
    Statement& integer(int at, sqlite3_int64 value) {
        sqlite3_bind_int64(statement_, at, value);
        return *this;
    }
    Statement& real(int at, double value) {
        sqlite3_bind_double(statement_, at, value);
        return *this;
    }

    /// False when it could change the database.
    [[nodiscard]] bool onlyReads() const { return sqlite3_stmt_readonly(statement_) != 0; }
    int step() { return sqlite3_step(statement_); }
    void reset() {
        sqlite3_reset(statement_);
        sqlite3_clear_bindings(statement_);
    }
    /// Steps once and resets: SQLITE_DONE on success.
    int run() {
        const int code = step();
        reset();
        return code;
    }

    [[nodiscard]] sqlite3_int64 integerAt(int column) const { return sqlite3_column_int64(statement_, column); }
    [[nodiscard]] double realAt(int column) const { return sqlite3_column_double(statement_, column); }
    [[nodiscard]] bool isNull(int column) const { return sqlite3_column_type(statement_, column) == SQLITE_NULL; }
    /// Good until the next step or reset.
    [[nodiscard]] std::string_view bytesAt(int column) const {
        const void* data = sqlite3_column_blob(statement_, column);
        return data == nullptr ? std::string_view()
                               : std::string_view(static_cast<const char*>(data),
                                                  static_cast<std::size_t>(sqlite3_column_bytes(statement_, column)));
    }

private:
    sqlite3_stmt* statement_ = nullptr;
};

/// Resets a statement at the end of a scope, so that no read stays open.
class StatementUse {
public:
    explicit StatementUse(Statement& statement) : statement_(statement) {}
    StatementUse(const StatementUse&) = delete;
    StatementUse& operator=(const StatementUse&) = delete;
    ~StatementUse() { statement_.reset(); }

private:
    Statement& statement_;
};

}  // namespace tolvik
