#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/result.h"
#include "core/records.h"

namespace tolvik {

/// Appends one record as a JSON object: members in their listed order, absent ones left out.
template <class Record>
void appendRecord(std::string& out, const Record& record);

/// Appends records as a JSON array.
template <class Record>
void appendRecords(std::string& out, const std::vector<Record>& records);

/// Where a text stopped being what it should be, for example `[3].title: missing`.
using DecodeError = std::string;

/// The four collections as one value.
struct WholeLog {
    std::vector<TaskModel> tasks;
    std::vector<TimeEntry> timeEntries;
    std::vector<SwitchLog> switchLogs;
    std::vector<TagModel> tags;

    bool operator==(const WholeLog&) const = default;
};

/// What one operation did to one record: nothing before means created, nothing after means deleted.
template <class Record>
struct RecordChange {
    std::optional<Record> before;
    std::optional<Record> after;
    /// The record's place in the collection before (or, when created, after) the operation.
    std::size_t index = 0;
};

/// The last operation, kept so that it can be taken back.
struct OperationRecord {
    std::string words;
    std::vector<RecordChange<TagModel>> tags;
    std::vector<RecordChange<TaskModel>> tasks;
    std::vector<RecordChange<TimeEntry>> entries;
    std::vector<RecordChange<SwitchLog>> logs;
};

/// Reads records from JSON text. Required members must be there; unknown ones are passed over; of a member that comes
/// twice the first counts. At most 64 levels deep. Reusing a decoder saves its buffers. One thread at a time.
class RecordDecoder {
public:
    RecordDecoder();
    RecordDecoder(const RecordDecoder&) = delete;
    RecordDecoder& operator=(const RecordDecoder&) = delete;
    ~RecordDecoder();

    /// A JSON array of records.
    template <class Record>
    [[nodiscard]] Result<std::vector<Record>, DecodeError> array(std::string_view json);
    /// JSON objects joined by commas, as a piece holds them; appended to `out`, which is as before on an error.
    template <class Record>
    [[nodiscard]] Result<void, DecodeError> piece(std::string_view objects, std::vector<Record>& out);
    /// One object from collection key to array. A collection that is not named is empty; at least one must be. Two
    /// records of a collection with the same id are an error.
    [[nodiscard]] Result<WholeLog, DecodeError> wholeLog(std::string_view json);
    [[nodiscard]] Result<OperationRecord, DecodeError> operation(std::string_view json);
    /// The four collections under the member names of a pull ("tasks", "timeEntries", "switchLogs", "tags"), all of
    /// which must be there. Fills in the others.
    struct PullMember {
        std::string_view name;
        /// The member as minified JSON; empty when it is absent.
        std::string json;
    };
    [[nodiscard]] Result<WholeLog, DecodeError> pull(std::string_view json, std::vector<PullMember>& others);

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

void appendWholeLog(std::string& out, const WholeLog& log);
void appendOperation(std::string& out, const OperationRecord& operation);

}  // namespace tolvik
