#include "adapters/sqlite_server/sqlite_connection.h"

#include <filesystem>
#include <system_error>
#include <utility>
#include <vector>

namespace tolvik::server {
namespace {

/// "Tlvs"; marks the file as ours.
constexpr int applicationId = 0x546C7673;
constexpr int busyMs = 5000;

class Row final : public SqlRow {
public:
    explicit Row(Statement& statement) : statement_(statement) {}
    [[nodiscard]] bool isNull(int column) const override { return statement_.isNull(column); }
    [[nodiscard]] std::int64_t integer(int column) const override { return statement_.integerAt(column); }
    [[nodiscard]] std::string_view text(int column) const override { return statement_.bytesAt(column); }

private:
    Statement& statement_;
};

bool isSuccess(int code) {
    return code == SQLITE_OK || code == SQLITE_ROW || code == SQLITE_DONE;
}

std::optional<std::int64_t> pragma(sqlite3* db, const char* sql) {
    Statement statement;
    if (statement.prepare(db, sql) != SQLITE_OK || statement.step() != SQLITE_ROW) {
        return std::nullopt;
    }
    return statement.integerAt(0);
}

}  // namespace

StorageProblem problemOf(sqlite3* db, int code) {
    const std::string text = db == nullptr ? sqlite3_errstr(code) : sqlite3_errmsg(db);
    switch (code & 0xFF) {
        case SQLITE_FULL:
            return {StorageProblem::Kind::full, "The disk of the database is full: " + text};
        case SQLITE_CORRUPT:
        case SQLITE_NOTADB:
        case SQLITE_FORMAT:
            return {StorageProblem::Kind::damaged, "The database cannot be read: " + text};
        default:
            return {StorageProblem::Kind::unavailable, "The database did not do it: " + text};
    }
}

SqliteConnection::~SqliteConnection() {
    for (Statement& statement : statements_) {
        statement.finalize();
    }
    repeated_.clear();
    sqlite3_close_v2(db_);
}

int SqliteConnection::execute(const char* sql) {
    return sqlite3_exec(db_, sql, nullptr, nullptr, nullptr);
}

int SqliteConnection::repeat(std::string_view sql) {
    const auto [kept, isNew] = repeated_.try_emplace(sql);
    if (isNew) {
        if (const int code = kept->second.prepare(db_, sql); code != SQLITE_OK) {
            repeated_.erase(kept);
            return code;
        }
    }
    const int code = kept->second.run();
    return code == SQLITE_DONE ? SQLITE_OK : code;
}

int SqliteConnection::open(const std::string& path, bool writes, bool syncs) {
    if (writes && path != ":memory:") {
        std::error_code ignored;
        std::filesystem::create_directories(std::filesystem::path(path).parent_path(), ignored);
    }
    const int flags = (writes ? SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE : SQLITE_OPEN_READONLY) |
                      SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE;
    if (const int code = sqlite3_open_v2(path.c_str(), &db_, flags, nullptr); code != SQLITE_OK) {
        return code;
    }
    sqlite3_busy_timeout(db_, busyMs);
    sqlite3_limit(db_, SQLITE_LIMIT_LENGTH, 100'000'000);
    if (writes) {
        if (const int code = execute("PRAGMA journal_mode=WAL"); code != SQLITE_OK) {
            return code;
        }
        execute(syncs ? "PRAGMA synchronous=FULL" : "PRAGMA synchronous=OFF");
        // The writer waits for what it writes back; 4 MB at a time is a few milliseconds.
        execute("PRAGMA wal_autocheckpoint=1000");
        execute("PRAGMA journal_size_limit=67108864");
    }
    execute("PRAGMA cache_size=-4096");
    execute("PRAGMA temp_store=MEMORY");
    return SQLITE_OK;
}

std::optional<StorageProblem> SqliteConnection::migrate() {
    const auto found = pragma(db_, "PRAGMA user_version");
    if (!found) {
        return problemOf(db_, sqlite3_extended_errcode(db_));
    }
    const auto& all = migrations();
    const auto newest = static_cast<std::int64_t>(all.size());
    if (*found > newest) {
        return StorageProblem{StorageProblem::Kind::damaged,
                              "The database was written by a newer version of the server; install that one."};
    }
    if (*found == newest) {
        return pragma(db_, "PRAGMA application_id") == applicationId
                   ? std::nullopt
                   : std::optional(StorageProblem{StorageProblem::Kind::damaged,
                                                  "The file is a database of another program; choose another file."});
    }
    if (*found == 0 && pragma(db_, "SELECT count(*) FROM sqlite_schema") != 0) {
        return StorageProblem{StorageProblem::Kind::damaged,
                              "The file is a database of another program; choose another file."};
    }
    std::vector<std::string> steps{"BEGIN IMMEDIATE"};
    for (auto version = *found; version < newest; ++version) {
        for (std::string& one : migrationStatements(all[static_cast<std::size_t>(version)], "INTEGER PRIMARY KEY")) {
            steps.push_back(std::move(one));
        }
    }
    steps.push_back("PRAGMA application_id=" + std::to_string(applicationId));
    steps.push_back("PRAGMA user_version=" + std::to_string(newest));
    steps.emplace_back("COMMIT");
    for (const std::string& step : steps) {
        if (const int code = execute(step.c_str()); code != SQLITE_OK) {
            StorageProblem problem = problemOf(db_, code);
            execute("ROLLBACK");
            return problem;
        }
    }
    return std::nullopt;
}

std::int64_t SqliteConnection::run(Sql which, std::initializer_list<Value> values, const EachRow& each) {
    if (problem_) {
        return -1;
    }
    const auto index = static_cast<std::size_t>(which);
    Statement& statement = statements_.at(index);
    if (!prepared_.at(index)) {
        if (const int code = statement.prepare(db_, sqlText(which)); code != SQLITE_OK) {
            problem_ = problemOf(db_, code);
            return -1;
        }
        prepared_.at(index) = true;
    }
    if (onlyReads_ && !statement.onlyReads()) {
        problem_ =
            StorageProblem{StorageProblem::Kind::unavailable, "The database did not do it: this is for reading only"};
        return -1;
    }
    const StatementUse use(statement);
    int at = 0;
    for (const Value& value : values) {
        ++at;
        if (const auto* whole = std::get_if<std::int64_t>(&value)) {
            statement.integer(at, *whole);
        } else if (const auto* text = std::get_if<std::string_view>(&value)) {
            statement.text(at, *text);
        }
    }
    std::int64_t rows = 0;
    int code = statement.step();
    for (; code == SQLITE_ROW; code = statement.step()) {
        ++rows;
        if (each) {
            each(Row(statement));
        }
    }
    if (!isSuccess(code)) {
        problem_ = problemOf(db_, code);
        return -1;
    }
    return rows > 0 ? rows : sqlite3_changes64(db_);
}

std::optional<StorageProblem> SqliteConnection::takeProblem() {
    return std::exchange(problem_, std::nullopt);
}

}  // namespace tolvik::server
