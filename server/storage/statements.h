#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tolvik::server {

/// Every statement that the server runs, in the part of SQL that both databases understand. Parameters are ?1, ?2 …
enum class Sql : std::uint8_t {
    sessionByToken,
    addSession,
    dropSession,
    dropSessions,
    sessionsOf,
    accountByEmail,
    accountByNumber,
    addAccount,
    setName,
    setProfile,
    countOperation,
    addToRecordCount,
    dropAccount,
    putCode,
    useCode,
    dropCode,
    countUse,
    operationById,
    addOperation,
    dropOperations,
    recordById,
    addRecord,
    setRecord,
    dropRecord,
    countOfKind,
    unsettled,
    recordsLive,
    markRecordsOfTask,
    dropRecordsOfTask,
    switchesFrom,
    recordsOfTag,
    recordsOfKind,
    recordsDated,
    recordsLong,
    recordsChanged,
    earliest,
    dropRecords,
    markerById,
    putMarker,
    dropMarker,
    markers,
    markersOfRange,
    dropMarkers,
    addEvent,
    trimEvents,
    eventsOf,
    dropEvents,
    dropOldCodes,
    dropOldLimits,
    dropOldOperations,
    count_,
};
constexpr std::size_t sqlCount = static_cast<std::size_t>(Sql::count_);

[[nodiscard]] std::string_view sqlText(Sql statement);

/// The versions of the tables, oldest first; each brings a database from the version before. In the text, {serial}
/// stands for the column type of a number that the database counts up by itself.
[[nodiscard]] const std::vector<std::string_view>& migrations();

/// `text` with what stands for {serial}, and split into single statements.
[[nodiscard]] std::vector<std::string> migrationStatements(std::string_view text, std::string_view serial);

}  // namespace tolvik::server
