#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/time.h"
#include "core/merge.h"
#include "server/storage/sql_session.h"

namespace tolvik::server {

/// Who asks: the account's number is what every other call is bound to.
struct SessionRow {
    std::int64_t account = 0;
    std::string userId;
    std::string deviceId;
};

struct AccountRow {
    std::int64_t number = 0;
    std::string id;
    std::string email;
    /// A JSON string.
    std::string name;
    /// A JSON object.
    std::string profile;
};

/// A record as it is kept: its JSON text and what is asked of it besides.
struct RecordRow {
    RecordKind kind = RecordKind::task;
    std::string id;
    /// As it is sent.
    std::string json;
    /// When it was created, or started for an entry, or made for a switch.
    Instant dated;
    /// An entry's end.
    std::optional<Instant> ended = {};
    /// A running entry or an active task.
    bool live = false;
    /// The task of an entry, the target of a switch.
    std::optional<std::string> task = {};
    /// The task that a switch left.
    std::optional<std::string> origin = {};
    std::optional<std::string> tag = {};
};

/// A record as it is found: what is derived from its JSON is not filled in.
struct FoundRecord {
    RecordKind kind = RecordKind::task;
    std::string id;
    std::string json;
    Instant dated;
};

/// What was answered to an operation.
struct OperationRow {
    /// Tells requests with the same id but another content apart.
    std::string print;
    int status = 0;
};

struct MarkerRow {
    RecordKind kind = RecordKind::task;
    std::string id;
    Instant deleted;
};

/// How much of a limit is used.
struct UseCount {
    std::int64_t used = 0;
    /// When counting starts anew.
    Instant until;
};

/// The server's tables inside one transaction. Everything that belongs to a user is asked for by the user's account.
/// After the database has failed, queries find nothing and changes do nothing; the storage then reports the unit as
/// failed, whatever it made of that. One thread.
class Transaction {
public:
    explicit Transaction(SqlSession& sql) : sql_(sql) {}
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;
    ~Transaction() = default;

    // --- accounts and sessions ---
    [[nodiscard]] std::optional<SessionRow> session(std::string_view tokenHash);
    void addSession(std::string_view tokenHash, std::int64_t account, std::string_view deviceId, Instant now);
    void dropSession(std::string_view tokenHash);
    /// Keeps the newest `most` of the account's sessions; the devices of the others.
    std::vector<std::string> keepSessions(std::int64_t account, std::size_t most);
    [[nodiscard]] std::optional<AccountRow> accountOf(std::string_view email);
    [[nodiscard]] std::optional<AccountRow> account(std::int64_t number);
    /// Does nothing when the address has an account.
    void addAccount(std::string_view id, std::string_view email, Instant now);
    void setName(std::int64_t account, std::string_view nameJson);
    void setProfile(std::int64_t account, std::string_view profileJson);
    /// Everything that belongs to the account, and itself.
    void dropAccount(std::int64_t account);
    /// Keeps other transactions off the account until this one ends.
    void lock(std::int64_t account) { sql_.lockAccount(account); }

    // --- codes and limits ---
    void putCode(std::string_view email, std::string_view salt, std::string_view hash, Instant expires, int tries);
    struct CodeRow {
        std::string salt;
        std::string hash;
    };
    /// Takes one try; none when there is no code that still holds.
    [[nodiscard]] std::optional<CodeRow> useCode(std::string_view email, Instant now);
    void dropCode(std::string_view email);
    /// Counts one use of a limit whose window begins at its first use.
    [[nodiscard]] UseCount countUse(std::string_view name, Instant now, Millis window);

    struct OperationCount {
        UseCount window;
        /// The account's records of all kinds.
        std::int64_t records = 0;
    };
    /// None when the account is gone.
    [[nodiscard]] std::optional<OperationCount> countOperation(std::int64_t account, Instant now, Millis window);

    // --- operations ---
    [[nodiscard]] std::optional<OperationRow> operation(std::int64_t account, std::string_view id);
    void addOperation(std::int64_t account, std::string_view id, const OperationRow& operation, Instant now);

    // --- records ---
    [[nodiscard]] std::optional<FoundRecord> record(std::int64_t account, RecordKind kind, std::string_view id);
    /// A new record; its marker goes.
    void addRecord(std::int64_t account, const RecordRow& record, Instant now);
    void setRecord(std::int64_t account, const RecordRow& record, Instant now);
    /// Leaves a marker.
    void dropRecord(std::int64_t account, const FoundRecord& record, Instant now);
    [[nodiscard]] std::int64_t countOf(std::int64_t account, RecordKind kind);
    /// Running entries and active tasks.
    [[nodiscard]] std::vector<FoundRecord> unsettled(std::int64_t account);
    /// Entries of a task and switches to it; each leaves a marker.
    void dropRecordsOfTask(std::int64_t account, std::string_view task, Instant now);
    [[nodiscard]] std::vector<FoundRecord> switchesFrom(std::int64_t account, std::string_view task);
    [[nodiscard]] std::vector<FoundRecord> tasksOfTag(std::int64_t account, std::string_view tag);
    [[nodiscard]] bool isMarked(std::int64_t account, RecordKind kind, std::string_view id);

    // --- pull ---
    using EachJson = std::function<void(std::string_view json)>;
    /// All of a kind, oldest first.
    void eachOfKind(std::int64_t account, RecordKind kind, const EachJson& each);
    /// Of a kind, oldest first: dated in [begin, end), or begun at most a month before and ended in it or after.
    void eachDated(std::int64_t account, RecordKind kind, Instant begin, Instant end,
                   const std::function<void(std::int64_t number, std::string_view json)>& each);
    /// Of a kind, oldest first: lasted for more than 31 days, begun before `begin` and ended then or after.
    void eachLong(std::int64_t account, RecordKind kind, Instant begin,
                  const std::function<void(std::int64_t number, std::string_view json)>& each);
    using EachNumbered = std::function<void(std::int64_t number, RecordKind kind, std::string_view json)>;
    /// Of all kinds, oldest first: changed in [begin, end).
    void eachChanged(std::int64_t account, Instant begin, Instant end, const EachNumbered& each);
    /// The running entry and the active task.
    void eachLive(std::int64_t account, const EachNumbered& each);
    [[nodiscard]] std::vector<MarkerRow> markers(std::int64_t account);
    /// Deleted in [begin, end), or of records dated in it.
    [[nodiscard]] std::vector<MarkerRow> markers(std::int64_t account, Instant begin, Instant end);
    /// When the oldest task, entry or switch is dated.
    [[nodiscard]] std::optional<Instant> earliest(std::int64_t account);

    // --- analytics ---
    /// Does nothing when the event is there already.
    void addEvent(std::int64_t account, std::string_view kind, std::string_view id, std::string_view json, Instant now);
    /// Keeps the newest `most` of a kind.
    void trimEvents(std::int64_t account, std::string_view kind, std::int64_t most);
    [[nodiscard]] std::vector<std::string> events(std::int64_t account, std::string_view kind);

    // --- for the other instances ---
    void announce(const Announcement& announcement) { sql_.announce(announcement); }
    void announce(const EndedSession& ended) { sql_.announce(ended); }

    /// Forgets codes and limits that are over, and some of the operations made before `operationsBefore`.
    void tidy(Instant now, Instant operationsBefore);

private:
    std::vector<FoundRecord> found(Sql statement, std::initializer_list<SqlSession::Value> values);
    std::optional<AccountRow> accountRow(Sql statement, SqlSession::Value value);
    std::vector<MarkerRow> markerRows(Sql statement, std::initializer_list<SqlSession::Value> values);

    SqlSession& sql_;
};

}  // namespace tolvik::server
