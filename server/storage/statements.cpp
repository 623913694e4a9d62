#include "server/storage/statements.h"

#include <algorithm>
#include <array>
#include <utility>

namespace tolvik::server {
namespace {

// Records of all kinds lie in one table, each as the JSON text that is sent, so that a pull copies texts, any title is
// kept exactly (JSON escapes the NUL that one of the databases cannot hold), and one index serves each question.
constexpr std::string_view version1 = R"(
    CREATE TABLE account(
        number {serial}, id TEXT NOT NULL UNIQUE, email TEXT NOT NULL UNIQUE, name TEXT NOT NULL,
        profile TEXT NOT NULL, created BIGINT NOT NULL, records BIGINT NOT NULL,
        window_at BIGINT NOT NULL, window_operations BIGINT NOT NULL);
    CREATE TABLE session(
        token TEXT PRIMARY KEY NOT NULL, account BIGINT NOT NULL, device TEXT NOT NULL, created BIGINT NOT NULL);
    CREATE INDEX session_account ON session(account);
    CREATE TABLE sign_in_code(
        email TEXT PRIMARY KEY NOT NULL, salt TEXT NOT NULL, code TEXT NOT NULL, expires BIGINT NOT NULL,
        tries BIGINT NOT NULL);
    CREATE TABLE use_limit(
        name TEXT PRIMARY KEY NOT NULL, until BIGINT NOT NULL, used BIGINT NOT NULL);
    CREATE INDEX use_limit_until ON use_limit(until);
    CREATE TABLE operation(
        account BIGINT NOT NULL, id TEXT NOT NULL, print TEXT NOT NULL, status BIGINT NOT NULL, made BIGINT NOT NULL,
        PRIMARY KEY(account, id));
    CREATE INDEX operation_made ON operation(made);
    CREATE TABLE record(
        number {serial}, account BIGINT NOT NULL, kind BIGINT NOT NULL, id TEXT NOT NULL, json TEXT NOT NULL,
        dated BIGINT NOT NULL, ended BIGINT, changed BIGINT NOT NULL, live BIGINT NOT NULL, task TEXT, origin TEXT,
        tag TEXT);
    CREATE UNIQUE INDEX record_id ON record(account, kind, id);
    CREATE INDEX record_dated ON record(account, kind, dated);
    CREATE INDEX record_changed ON record(account, changed);
    CREATE INDEX record_live ON record(account) WHERE live = 1;
    CREATE INDEX record_task ON record(account, task) WHERE task IS NOT NULL;
    CREATE TABLE marker(
        account BIGINT NOT NULL, kind BIGINT NOT NULL, id TEXT NOT NULL, dated BIGINT NOT NULL,
        deleted BIGINT NOT NULL, PRIMARY KEY(account, kind, id));
    CREATE INDEX marker_deleted ON marker(account, deleted);
    CREATE TABLE event(
        number {serial}, account BIGINT NOT NULL, kind TEXT NOT NULL, id TEXT NOT NULL, received BIGINT NOT NULL,
        json TEXT NOT NULL);
    CREATE UNIQUE INDEX event_id ON event(account, kind, id);
    CREATE INDEX event_number ON event(account, kind, number);
)";

// Few entries last for more than 31 days, so that a question about a range reads those beside the index of dates.
constexpr std::string_view version2 = R"(
    CREATE INDEX record_long ON record(account, kind, ended) WHERE ended - dated > 2678400000;
)";

constexpr std::array<std::string_view, sqlCount> texts = {
    // sessionByToken
    "SELECT a.number, a.id, s.device FROM session s JOIN account a ON a.number = s.account WHERE s.token = ?1",
    // addSession
    "INSERT INTO session(token, account, device, created) VALUES(?1, ?2, ?3, ?4)",
    // dropSession
    "DELETE FROM session WHERE token = ?1",
    // dropSessions
    "DELETE FROM session WHERE account = ?1",
    // sessionsOf
    "SELECT token, device FROM session WHERE account = ?1 ORDER BY created DESC, token",
    // accountByEmail
    "SELECT number, id, email, name, profile FROM account WHERE email = ?1",
    // accountByNumber
    "SELECT number, id, email, name, profile FROM account WHERE number = ?1",
    // addAccount
    "INSERT INTO account(id, email, name, profile, created, records, window_at, window_operations) "
    "VALUES(?1, ?2, '\"\"', '{}', ?3, 0, 0, 0) ON CONFLICT DO NOTHING",
    // setName
    "UPDATE account SET name = ?2 WHERE number = ?1",
    // setProfile
    "UPDATE account SET profile = ?2 WHERE number = ?1",
    // countOperation
    "UPDATE account SET window_operations = CASE WHEN window_at <= ?3 THEN 1 ELSE window_operations + 1 END, "
    "window_at = CASE WHEN window_at <= ?3 THEN ?2 ELSE window_at END WHERE number = ?1 "
    "RETURNING window_at, window_operations, records",
    // addToRecordCount
    "UPDATE account SET records = records + ?2 WHERE number = ?1",
    // dropAccount
    "DELETE FROM account WHERE number = ?1",
    // putCode
    "INSERT INTO sign_in_code(email, salt, code, expires, tries) VALUES(?1, ?2, ?3, ?4, ?5) ON CONFLICT(email) "
    "DO UPDATE SET salt = excluded.salt, code = excluded.code, expires = excluded.expires, tries = excluded.tries",
    // useCode
    "UPDATE sign_in_code SET tries = tries - 1 WHERE email = ?1 AND tries > 0 AND expires > ?2 RETURNING salt, code",
    // dropCode
    "DELETE FROM sign_in_code WHERE email = ?1",
    // countUse
    "INSERT INTO use_limit(name, until, used) VALUES(?1, ?2, 1) ON CONFLICT(name) DO UPDATE SET "
    "used = CASE WHEN use_limit.until <= ?3 THEN 1 ELSE use_limit.used + 1 END, "
    "until = CASE WHEN use_limit.until <= ?3 THEN excluded.until ELSE use_limit.until END RETURNING until, used",
    // operationById
    "SELECT print, status FROM operation WHERE account = ?1 AND id = ?2",
    // addOperation
    "INSERT INTO operation(account, id, print, status, made) VALUES(?1, ?2, ?3, ?4, ?5) ON CONFLICT(account, id) "
    "DO UPDATE SET print = excluded.print, status = excluded.status, made = excluded.made",
    // dropOperations
    "DELETE FROM operation WHERE account = ?1",
    // recordById
    "SELECT kind, id, json, dated FROM record WHERE account = ?1 AND kind = ?2 AND id = ?3",
    // addRecord
    "INSERT INTO record(account, kind, id, json, dated, ended, changed, live, task, origin, tag) "
    "VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11) ON CONFLICT DO NOTHING",
    // setRecord
    "UPDATE record SET json = ?4, dated = ?5, ended = ?6, changed = ?7, live = ?8, task = ?9, origin = ?10, tag = ?11 "
    "WHERE account = ?1 AND kind = ?2 AND id = ?3",
    // dropRecord
    "DELETE FROM record WHERE account = ?1 AND kind = ?2 AND id = ?3",
    // countOfKind
    "SELECT count(*) FROM record WHERE account = ?1 AND kind = ?2",
    // unsettled
    "SELECT kind, id, json, dated FROM record WHERE account = ?1 AND live = 1",
    // recordsLive
    "SELECT number, kind, json FROM record WHERE account = ?1 AND live = 1",
    // markRecordsOfTask
    "INSERT INTO marker(account, kind, id, dated, deleted) SELECT account, kind, id, dated, CAST(?3 AS BIGINT) "
    "FROM record WHERE account = ?1 AND task = ?2 ON CONFLICT(account, kind, id) "
    "DO UPDATE SET dated = excluded.dated, deleted = excluded.deleted",
    // dropRecordsOfTask
    "DELETE FROM record WHERE account = ?1 AND task = ?2",
    // switchesFrom
    "SELECT kind, id, json, dated FROM record WHERE account = ?1 AND kind = ?2 AND origin = ?3",
    // recordsOfTag
    "SELECT kind, id, json, dated FROM record WHERE account = ?1 AND kind = ?2 AND tag = ?3",
    // recordsOfKind
    "SELECT json FROM record WHERE account = ?1 AND kind = ?2 ORDER BY dated, number",
    // recordsDated
    "SELECT number, json FROM record WHERE account = ?1 AND kind = ?2 AND dated >= ?3 AND dated < ?5 "
    "AND (dated >= ?4 OR ended >= ?4) ORDER BY dated, number",
    // recordsLong
    "SELECT number, json FROM record WHERE account = ?1 AND kind = ?2 AND ended >= ?3 AND dated < ?3 "
    "AND ended - dated > 2678400000 ORDER BY dated, number",
    // recordsChanged
    "SELECT number, kind, json FROM record WHERE account = ?1 AND changed >= ?2 AND changed < ?3 "
    "ORDER BY dated, number",
    // earliest
    "SELECT min(dated) FROM record WHERE account = ?1 AND kind = ?2",
    // dropRecords
    "DELETE FROM record WHERE account = ?1",
    // markerById
    "SELECT deleted FROM marker WHERE account = ?1 AND kind = ?2 AND id = ?3",
    // putMarker
    "INSERT INTO marker(account, kind, id, dated, deleted) VALUES(?1, ?2, ?3, ?4, ?5) ON CONFLICT(account, kind, id) "
    "DO UPDATE SET dated = excluded.dated, deleted = excluded.deleted",
    // dropMarker
    "DELETE FROM marker WHERE account = ?1 AND kind = ?2 AND id = ?3",
    // markers
    "SELECT kind, id, deleted FROM marker WHERE account = ?1 ORDER BY deleted, id",
    // markersOfRange
    "SELECT kind, id, deleted FROM marker WHERE account = ?1 AND ((deleted >= ?2 AND deleted < ?3) OR "
    "(dated >= ?2 AND dated < ?3)) ORDER BY deleted, id",
    // dropMarkers
    "DELETE FROM marker WHERE account = ?1",
    // addEvent
    "INSERT INTO event(account, kind, id, received, json) VALUES(?1, ?2, ?3, ?4, ?5) ON CONFLICT DO NOTHING",
    // trimEvents
    "DELETE FROM event WHERE account = ?1 AND kind = ?2 AND number <= "
    "(SELECT number FROM event WHERE account = ?1 AND kind = ?2 ORDER BY number DESC LIMIT 1 OFFSET ?3)",
    // eventsOf
    "SELECT json FROM event WHERE account = ?1 AND kind = ?2 ORDER BY number",
    // dropEvents
    "DELETE FROM event WHERE account = ?1",
    // dropOldCodes
    "DELETE FROM sign_in_code WHERE expires <= ?1",
    // dropOldLimits
    "DELETE FROM use_limit WHERE until <= ?1",
    // dropOldOperations
    "DELETE FROM operation WHERE (account, id) IN "
    "(SELECT account, id FROM operation WHERE made <= ?1 ORDER BY made LIMIT ?2)",
};

}  // namespace

std::string_view sqlText(Sql statement) {
    return texts.at(static_cast<std::size_t>(statement));
}

const std::vector<std::string_view>& migrations() {
    static const std::vector<std::string_view> all = {version1, version2};
    return all;
}

std::vector<std::string> migrationStatements(std::string_view text, std::string_view serial) {
    constexpr std::string_view placeholder = "{serial}";
    std::vector<std::string> out;
    std::size_t begin = 0;
    while (begin < text.size()) {
        const std::size_t end = std::min(text.find(';', begin), text.size());
        std::string one(text.substr(begin, end - begin));
        for (auto at = one.find(placeholder); at != std::string::npos; at = one.find(placeholder)) {
            one.replace(at, placeholder.size(), serial);
        }
        if (one.find_first_not_of(" \n") != std::string::npos) {
            out.push_back(std::move(one));
        }
        begin = end + 1;
    }
    return out;
}

}  // namespace tolvik::server
