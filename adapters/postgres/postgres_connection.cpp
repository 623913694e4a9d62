#include "adapters/postgres/postgres_connection.h"

#include <charconv>
#include <libpq-fe.h>
#include <utility>
#include <vector>

#include "server/api/message.h"

namespace tolvik::server {
namespace {

using ResultPtr = std::unique_ptr<PGresult, decltype(&PQclear)>;

/// Besides the numbers of accounts, which begin at 1.
constexpr const char* migrationLock = "SELECT pg_advisory_xact_lock(-7306)";
constexpr const char* channel = "tolvik";
constexpr const char* serial = "BIGINT GENERATED ALWAYS AS IDENTITY PRIMARY KEY";

ResultPtr owned(PGresult* result) {
    return {result, &PQclear};
}

bool isGood(const PGresult* result) {
    const auto status = PQresultStatus(result);
    return status == PGRES_COMMAND_OK || status == PGRES_TUPLES_OK;
}

std::int64_t wholeOf(std::string_view text) {
    std::int64_t out = 0;
    std::from_chars(text.data(), text.data() + text.size(), out);
    return out;
}

class Row final : public SqlRow {
public:
    Row(const PGresult* result, int row) : result_(result), row_(row) {}
    [[nodiscard]] bool isNull(int column) const override { return PQgetisnull(result_, row_, column) != 0; }
    [[nodiscard]] std::int64_t integer(int column) const override { return wholeOf(text(column)); }
    [[nodiscard]] std::string_view text(int column) const override {
        return {PQgetvalue(result_, row_, column), static_cast<std::size_t>(PQgetlength(result_, row_, column))};
    }

private:
    const PGresult* result_;
    int row_;
};

/// ?1 as this database writes it.
std::string dialect(std::string_view sql) {
    std::string out(sql);
    for (char& c : out) {
        c = c == '?' ? '$' : c;
    }
    return out;
}

}  // namespace

void PostgresConnection::Closer::operator()(pg_conn* connection) const {
    PQfinish(connection);
}

PostgresConnection::PostgresConnection(std::string address, std::string instance)
    : address_(std::move(address)), instance_(std::move(instance)) {}

PostgresConnection::~PostgresConnection() = default;

bool PostgresConnection::isLost() const {
    return !connection_ || PQstatus(connection_.get()) != CONNECTION_OK;
}

int PostgresConnection::socket() const {
    return connection_ ? PQsocket(connection_.get()) : -1;
}

std::optional<StorageProblem> PostgresConnection::connect() {
    if (!isLost()) {
        return std::nullopt;
    }
    prepared_.fill(false);
    problem_.reset();
    connection_.reset(PQconnectdb(address_.c_str()));
    if (isLost()) {
        std::string text = connection_ ? PQerrorMessage(connection_.get()) : "out of memory";
        while (text.ends_with('\n')) {
            text.pop_back();
        }
        return StorageProblem{StorageProblem::Kind::unavailable, std::move(text)};
    }
    PQsetNoticeProcessor(connection_.get(), [](void*, const char*) {}, nullptr);
    // A commit that was answered must be on the disk, whatever the database's own setting.
    if (!execute("SET synchronous_commit = on; SET lock_timeout = '5s'; SET statement_timeout = '60s'; "
                 "SET idle_in_transaction_session_timeout = '60s'; SET client_encoding = 'UTF8'")) {
        return takeProblem()->problem;
    }
    return std::nullopt;
}

void PostgresConnection::fail(const void* failed) {
    if (problem_) {
        return;
    }
    const auto* result = static_cast<const PGresult*>(failed);
    const char* stateText = PQresultErrorField(result, PG_DIAG_SQLSTATE);
    const char* primary = PQresultErrorField(result, PG_DIAG_MESSAGE_PRIMARY);
    const std::string_view state = stateText == nullptr ? "" : stateText;
    Problem out;
    // The primary message alone: the detail holds stored values.
    out.problem.text = primary == nullptr ? "the connection to the database was lost" : primary;
    // https://www.postgresql.org/docs/15/errcodes-appendix.html
    if (state == "53100") {
        out.problem.kind = StorageProblem::Kind::full;
    } else if (state.starts_with("XX")) {
        out.problem.kind = StorageProblem::Kind::damaged;
    }
    out.wantsRetry = state == "40001" || state == "40P01" || state == "55P03";
    problem_ = std::move(out);
}

bool PostgresConnection::execute(const std::string& sql) {
    const auto result = owned(PQexec(connection_.get(), sql.c_str()));
    if (!isGood(result.get())) {
        fail(result.get());
        return false;
    }
    return true;
}

std::optional<std::int64_t> PostgresConnection::numberOf(const std::string& sql) {
    const auto result = owned(PQexec(connection_.get(), sql.c_str()));
    if (!isGood(result.get())) {
        fail(result.get());
        return std::nullopt;
    }
    if (PQntuples(result.get()) < 1 || PQgetisnull(result.get(), 0, 0) != 0) {
        return std::nullopt;
    }
    return Row(result.get(), 0).integer(0);
}

std::optional<StorageProblem> PostgresConnection::migrate() {
    const auto& all = migrations();
    const auto newest = static_cast<std::int64_t>(all.size());
    const auto undo = [&](StorageProblem problem) {
        static_cast<void>(takeProblem());
        execute("ROLLBACK");
        static_cast<void>(takeProblem());
        return std::optional(std::move(problem));
    };
    if (!execute("BEGIN") || !execute(migrationLock) ||
        !execute("CREATE TABLE IF NOT EXISTS schema_version(version BIGINT NOT NULL)")) {
        return undo(takeProblem()->problem);
    }
    const std::int64_t found = numberOf("SELECT max(version) FROM schema_version").value_or(0);
    if (found > newest) {
        return undo({StorageProblem::Kind::damaged,
                     "the database was written by a newer version of the server; install that one"});
    }
    for (std::int64_t version = found; version < newest; ++version) {
        for (const std::string& one : migrationStatements(all[static_cast<std::size_t>(version)], serial)) {
            if (!execute(one)) {
                return undo(takeProblem()->problem);
            }
        }
        if (!execute("INSERT INTO schema_version VALUES(" + std::to_string(version + 1) + ")")) {
            return undo(takeProblem()->problem);
        }
    }
    if (!execute("COMMIT")) {
        return undo(takeProblem()->problem);
    }
    return std::nullopt;
}

bool PostgresConnection::prepare(std::size_t index) {
    if (prepared_.at(index)) {
        return true;
    }
    const std::string sql = dialect(sqlText(static_cast<Sql>(index)));
    const auto result = owned(PQprepare(connection_.get(), std::to_string(index).c_str(), sql.c_str(), 0, nullptr));
    if (!isGood(result.get())) {
        fail(result.get());
        return false;
    }
    prepared_.at(index) = true;
    return true;
}

std::int64_t PostgresConnection::run(Sql which, std::initializer_list<Value> values, const EachRow& each) {
    const auto index = static_cast<std::size_t>(which);
    if (problem_ || !prepare(index)) {
        return -1;
    }
    std::vector<std::string> texts;
    texts.reserve(values.size());
    std::vector<const char*> pointers;
    for (const Value& value : values) {
        if (const auto* whole = std::get_if<std::int64_t>(&value)) {
            texts.push_back(std::to_string(*whole));
        } else if (const auto* text = std::get_if<std::string_view>(&value)) {
            texts.emplace_back(*text);
        } else {
            pointers.push_back(nullptr);
            continue;
        }
        pointers.push_back(texts.back().c_str());
    }
    const auto result = owned(PQexecPrepared(connection_.get(), std::to_string(index).c_str(),
                                             static_cast<int>(pointers.size()), pointers.data(), nullptr, nullptr, 0));
    if (!isGood(result.get())) {
        fail(result.get());
        return -1;
    }
    const int rows = PQntuples(result.get());
    for (int row = 0; each && row < rows; ++row) {
        each(Row(result.get(), row));
    }
    return wholeOf(PQcmdTuples(result.get()));
}

void PostgresConnection::lockAccount(std::int64_t account) {
    if (problem_) {
        return;
    }
    const std::string number = std::to_string(account);
    if (!neverWaits_) {
        execute("SELECT pg_advisory_xact_lock(" + number + ")");
        return;
    }
    const auto got = numberOf("SELECT CASE WHEN pg_try_advisory_xact_lock(" + number + ") THEN 1 ELSE 0 END");
    if (!problem_ && got != 1) {
        problem_ = Problem{{StorageProblem::Kind::unavailable, "the account is being changed elsewhere"}, true};
    }
}

void PostgresConnection::notify(std::string_view kind, const std::string& userId, const std::string& deviceId) {
    if (problem_) {
        return;
    }
    const std::string payload = instance_ + ' ' + std::string(kind) + ' ' + userId + ' ' + deviceId;
    const char* value = payload.c_str();
    const auto result =
        owned(PQexecParams(connection_.get(), (std::string("SELECT pg_notify('") + channel + "', $1)").c_str(), 1,
                           nullptr, &value, nullptr, nullptr, 0));
    if (!isGood(result.get())) {
        fail(result.get());
    }
}

void PostgresConnection::announce(const Announcement& announcement) {
    notify("changed", announcement.userId, announcement.deviceId);
}

void PostgresConnection::announce(const EndedSession& ended) {
    notify("ended", ended.userId, ended.deviceId);
}

std::optional<PostgresConnection::Problem> PostgresConnection::takeProblem() {
    return std::exchange(problem_, std::nullopt);
}

std::vector<std::string> PostgresConnection::takeNotices() {
    std::vector<std::string> out;
    const bool isThere = PQconsumeInput(connection_.get()) == 1;
    while (PGnotify* notice = PQnotifies(connection_.get())) {
        std::string payload = notice->extra;
        PQfreemem(notice);
        if (!payload.starts_with(instance_ + ' ')) {
            out.push_back(std::move(payload));
        }
    }
    if (!isThere) {
        connection_.reset();
    }
    return out;
}

}  // namespace tolvik::server
