#include "server/storage/transaction.h"

namespace tolvik::server {
namespace {

using Value = SqlSession::Value;

/// Entries that began longer before a range and reach into it are few and found by how long they lasted.
constexpr Millis longestEntry{std::chrono::hours{24} * 31};
/// Operations forgotten at once, so that nobody waits for it.
constexpr std::int64_t forgottenAtOnce = 2000;

std::int64_t number(RecordKind kind) {
    return static_cast<std::int64_t>(kind);
}

Value optionalText(const std::optional<std::string>& text) {
    return text ? Value(std::string_view(*text)) : Value();
}

FoundRecord foundRecord(const SqlRow& row) {
    return {static_cast<RecordKind>(row.integer(0)), std::string(row.text(1)), std::string(row.text(2)),
            Instant{row.integer(3)}};
}

}  // namespace

std::optional<SessionRow> Transaction::session(std::string_view tokenHash) {
    std::optional<SessionRow> out;
    sql_.run(Sql::sessionByToken, {tokenHash}, [&](const SqlRow& row) {
        out = SessionRow{row.integer(0), std::string(row.text(1)), std::string(row.text(2))};
    });
    return out;
}

void Transaction::addSession(std::string_view tokenHash, std::int64_t account, std::string_view deviceId, Instant now) {
    sql_.run(Sql::addSession, {tokenHash, account, deviceId, now.ms});
}

void Transaction::dropSession(std::string_view tokenHash) {
    sql_.run(Sql::dropSession, {tokenHash});
}

std::vector<std::string> Transaction::keepSessions(std::int64_t account, std::size_t most) {
    std::vector<std::string> tokens;
    std::vector<std::string> devices;
    std::size_t seen = 0;
    sql_.run(Sql::sessionsOf, {account}, [&](const SqlRow& row) {
        if (++seen > most) {
            tokens.emplace_back(row.text(0));
            devices.emplace_back(row.text(1));
        }
    });
    for (const std::string& token : tokens) {
        dropSession(token);
    }
    return devices;
}

std::optional<AccountRow> Transaction::accountRow(Sql statement, Value value) {
    std::optional<AccountRow> out;
    sql_.run(statement, {value}, [&](const SqlRow& row) {
        out = AccountRow{row.integer(0), std::string(row.text(1)), std::string(row.text(2)), std::string(row.text(3)),
                         std::string(row.text(4))};
    });
    return out;
}

std::optional<AccountRow> Transaction::accountOf(std::string_view email) {
    return accountRow(Sql::accountByEmail, email);
}

std::optional<AccountRow> Transaction::account(std::int64_t number) {
    return accountRow(Sql::accountByNumber, number);
}

void Transaction::addAccount(std::string_view id, std::string_view email, Instant now) {
    sql_.run(Sql::addAccount, {id, email, now.ms});
}

void Transaction::setName(std::int64_t account, std::string_view nameJson) {
    sql_.run(Sql::setName, {account, nameJson});
}

void Transaction::setProfile(std::int64_t account, std::string_view profileJson) {
    sql_.run(Sql::setProfile, {account, profileJson});
}

void Transaction::dropAccount(std::int64_t account) {
    for (const Sql one : {Sql::dropRecords, Sql::dropMarkers, Sql::dropOperations, Sql::dropEvents, Sql::dropSessions,
                          Sql::dropAccount}) {
        sql_.run(one, {account});
    }
}

void Transaction::putCode(std::string_view email, std::string_view salt, std::string_view hash, Instant expires,
                          int tries) {
    sql_.run(Sql::putCode, {email, salt, hash, expires.ms, std::int64_t{tries}});
}

std::optional<Transaction::CodeRow> Transaction::useCode(std::string_view email, Instant now) {
    std::optional<CodeRow> out;
    sql_.run(Sql::useCode, {email, now.ms},
             [&](const SqlRow& row) { out = CodeRow{std::string(row.text(0)), std::string(row.text(1))}; });
    return out;
}

void Transaction::dropCode(std::string_view email) {
    sql_.run(Sql::dropCode, {email});
}

UseCount Transaction::countUse(std::string_view name, Instant now, Millis window) {
    UseCount out;
    sql_.run(Sql::countUse, {name, (now + window).ms, now.ms},
             [&](const SqlRow& row) { out = {row.integer(1), Instant{row.integer(0)}}; });
    return out;
}

std::optional<Transaction::OperationCount> Transaction::countOperation(std::int64_t account, Instant now,
                                                                       Millis window) {
    std::optional<OperationCount> out;
    sql_.run(Sql::countOperation, {account, now.ms, (now - window).ms},
             [&](const SqlRow& row) { out = {{row.integer(1), Instant{row.integer(0)} + window}, row.integer(2)}; });
    return out;
}

std::optional<OperationRow> Transaction::operation(std::int64_t account, std::string_view id) {
    std::optional<OperationRow> out;
    sql_.run(Sql::operationById, {account, id}, [&](const SqlRow& row) {
        out = OperationRow{std::string(row.text(0)), static_cast<int>(row.integer(1))};
    });
    return out;
}

void Transaction::addOperation(std::int64_t account, std::string_view id, const OperationRow& operation, Instant now) {
    sql_.run(Sql::addOperation, {account, id, operation.print, std::int64_t{operation.status}, now.ms});
}

std::vector<FoundRecord> Transaction::found(Sql statement, std::initializer_list<Value> values) {
    std::vector<FoundRecord> out;
    sql_.run(statement, values, [&](const SqlRow& row) { out.push_back(foundRecord(row)); });
    return out;
}

std::optional<FoundRecord> Transaction::record(std::int64_t account, RecordKind kind, std::string_view id) {
    auto all = found(Sql::recordById, {account, number(kind), id});
    return all.empty() ? std::nullopt : std::optional(std::move(all.front()));
}

void Transaction::addRecord(std::int64_t account, const RecordRow& record, Instant now) {
    const auto added = sql_.run(
        Sql::addRecord, {account, number(record.kind), record.id, record.json, record.dated.ms,
                         record.ended ? Value(record.ended->ms) : Value(), now.ms, std::int64_t{record.live ? 1 : 0},
                         optionalText(record.task), optionalText(record.origin), optionalText(record.tag)});
    if (added == 1) {
        sql_.run(Sql::addToRecordCount, {account, std::int64_t{1}});
        sql_.run(Sql::dropMarker, {account, number(record.kind), record.id});
    }
}

void Transaction::setRecord(std::int64_t account, const RecordRow& record, Instant now) {
    sql_.run(Sql::setRecord,
             {account, number(record.kind), record.id, record.json, record.dated.ms,
              record.ended ? Value(record.ended->ms) : Value(), now.ms, std::int64_t{record.live ? 1 : 0},
              optionalText(record.task), optionalText(record.origin), optionalText(record.tag)});
}

void Transaction::dropRecord(std::int64_t account, const FoundRecord& record, Instant now) {
    if (sql_.run(Sql::dropRecord, {account, number(record.kind), record.id}) == 1) {
        sql_.run(Sql::putMarker, {account, number(record.kind), record.id, record.dated.ms, now.ms});
        sql_.run(Sql::addToRecordCount, {account, std::int64_t{-1}});
    }
}

std::int64_t Transaction::countOf(std::int64_t account, RecordKind kind) {
    std::int64_t out = 0;
    sql_.run(Sql::countOfKind, {account, number(kind)}, [&](const SqlRow& row) { out = row.integer(0); });
    return out;
}

std::vector<FoundRecord> Transaction::unsettled(std::int64_t account) {
    return found(Sql::unsettled, {account});
}

void Transaction::dropRecordsOfTask(std::int64_t account, std::string_view task, Instant now) {
    sql_.run(Sql::markRecordsOfTask, {account, task, now.ms});
    const auto dropped = sql_.run(Sql::dropRecordsOfTask, {account, task});
    if (dropped > 0) {
        sql_.run(Sql::addToRecordCount, {account, -dropped});
    }
}

std::vector<FoundRecord> Transaction::switchesFrom(std::int64_t account, std::string_view task) {
    return found(Sql::switchesFrom, {account, number(RecordKind::switchLog), task});
}

std::vector<FoundRecord> Transaction::tasksOfTag(std::int64_t account, std::string_view tag) {
    return found(Sql::recordsOfTag, {account, number(RecordKind::task), tag});
}

bool Transaction::isMarked(std::int64_t account, RecordKind kind, std::string_view id) {
    bool out = false;
    sql_.run(Sql::markerById, {account, number(kind), id}, [&](const SqlRow&) { out = true; });
    return out;
}

void Transaction::eachOfKind(std::int64_t account, RecordKind kind, const EachJson& each) {
    sql_.run(Sql::recordsOfKind, {account, number(kind)}, [&](const SqlRow& row) { each(row.text(0)); });
}

void Transaction::eachDated(std::int64_t account, RecordKind kind, Instant begin, Instant end,
                            const std::function<void(std::int64_t, std::string_view)>& each) {
    sql_.run(Sql::recordsDated, {account, number(kind), (begin - longestEntry).ms, begin.ms, end.ms},
             [&](const SqlRow& row) { each(row.integer(0), row.text(1)); });
}

void Transaction::eachLong(std::int64_t account, RecordKind kind, Instant begin,
                           const std::function<void(std::int64_t, std::string_view)>& each) {
    sql_.run(Sql::recordsLong, {account, number(kind), begin.ms},
             [&](const SqlRow& row) { each(row.integer(0), row.text(1)); });
}

void Transaction::eachChanged(std::int64_t account, Instant begin, Instant end, const EachNumbered& each) {
    sql_.run(Sql::recordsChanged, {account, begin.ms, end.ms},
             [&](const SqlRow& row) { each(row.integer(0), static_cast<RecordKind>(row.integer(1)), row.text(2)); });
}

void Transaction::eachLive(std::int64_t account, const EachNumbered& each) {
    sql_.run(Sql::recordsLive, {account},
             [&](const SqlRow& row) { each(row.integer(0), static_cast<RecordKind>(row.integer(1)), row.text(2)); });
}

std::vector<MarkerRow> Transaction::markerRows(Sql statement, std::initializer_list<Value> values) {
    std::vector<MarkerRow> out;
    sql_.run(statement, values, [&](const SqlRow& row) {
        out.push_back({static_cast<RecordKind>(row.integer(0)), std::string(row.text(1)), Instant{row.integer(2)}});
    });
    return out;
}

std::vector<MarkerRow> Transaction::markers(std::int64_t account) {
    return markerRows(Sql::markers, {account});
}

std::vector<MarkerRow> Transaction::markers(std::int64_t account, Instant begin, Instant end) {
    return markerRows(Sql::markersOfRange, {account, begin.ms, end.ms});
}

std::optional<Instant> Transaction::earliest(std::int64_t account) {
    std::optional<Instant> out;
    for (const RecordKind kind : {RecordKind::task, RecordKind::timeEntry, RecordKind::switchLog}) {
        sql_.run(Sql::earliest, {account, number(kind)}, [&](const SqlRow& row) {
            if (!row.isNull(0) && (!out || row.integer(0) < out->ms)) {
                out = Instant{row.integer(0)};
            }
        });
    }
    return out;
}

void Transaction::addEvent(std::int64_t account, std::string_view kind, std::string_view id, std::string_view json,
                           Instant now) {
    sql_.run(Sql::addEvent, {account, kind, id, now.ms, json});
}

void Transaction::trimEvents(std::int64_t account, std::string_view kind, std::int64_t most) {
    sql_.run(Sql::trimEvents, {account, kind, most});
}

std::vector<std::string> Transaction::events(std::int64_t account, std::string_view kind) {
    std::vector<std::string> out;
    sql_.run(Sql::eventsOf, {account, kind}, [&](const SqlRow& row) { out.emplace_back(row.text(0)); });
    return out;
}

void Transaction::tidy(Instant now, Instant operationsBefore) {
    sql_.run(Sql::dropOldCodes, {now.ms});
    sql_.run(Sql::dropOldLimits, {now.ms});
    sql_.run(Sql::dropOldOperations, {operationsBefore.ms, forgottenAtOnce});
}

}  // namespace tolvik::server
