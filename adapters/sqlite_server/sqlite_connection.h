#pragma once

#include <array>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "adapters/sqlite/statement.h"
#include "server/storage/sql_session.h"
#include "server/storage/storage.h"

namespace tolvik::server {

/// What an SQLite code means for the operator.
[[nodiscard]] StorageProblem problemOf(sqlite3* db, int code);

/// One connection to the file with its prepared statements. One thread at a time.
class SqliteConnection final : public SqlSession {
public:
    SqliteConnection() = default;
    ~SqliteConnection() override;

    /// SQLite's code.
    int open(const std::string& path, bool writes, bool syncs);
    /// Brings the tables to the present version; a reason when they cannot be.
    [[nodiscard]] std::optional<StorageProblem> migrate();
    int execute(const char* sql);
    /// As `execute`, for a text that comes again and again; it must live as long as the connection.
    int repeat(std::string_view sql);
    /// Whether `run` refuses whatever could change the database.
    void onlyReads(bool only) { onlyReads_ = only; }
    [[nodiscard]] sqlite3* handle() const { return db_; }

    std::int64_t run(Sql statement, std::initializer_list<Value> values, const EachRow& each) override;
    /// There is one writer.
    void lockAccount(std::int64_t) override {}
    void announce(const Announcement&) override {}
    void announce(const EndedSession&) override {}

    /// The first failure since the last call, if there was one.
    [[nodiscard]] std::optional<StorageProblem> takeProblem();

private:
    sqlite3* db_ = nullptr;
    std::array<Statement, sqlCount> statements_;
    std::array<bool, sqlCount> prepared_{};
    std::map<std::string_view, Statement> repeated_;
    bool onlyReads_ = false;
    std::optional<StorageProblem> problem_;
};

}  // namespace tolvik::server
