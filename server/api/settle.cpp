#include "server/api/settle.h"

#include <algorithm>
#include <string>
#include <vector>

#include "core/merge.h"
#include "core/record_json.h"
#include "server/api/record_form.h"

namespace tolvik::server {
namespace {

/// Joined by commas, as the decoder reads them.
template <class Record>
std::vector<Record> decoded(RecordDecoder& decoder, const std::string& joined) {
    std::vector<Record> out;
    // What is kept was checked when it came, so that only a damaged database fails here; it then settles nothing.
    static_cast<void>(decoder.piece<Record>(joined, out));
    return out;
}

void join(std::string& to, const std::string& json) {
    to += to.empty() ? "" : ",";
    to += json;
}

template <class Record>
void keep(Transaction& transaction, std::int64_t account, const std::vector<Record>& records, Instant now) {
    for (const Record& record : records) {
        std::string json;
        appendRecord(json, record);
        if (const auto form = readRecord(kindOf<Record>(), json)) {
            transaction.setRecord(account, rowOf(*form), now);
        }
    }
}

}  // namespace

void settle(Transaction& transaction, std::int64_t account, Instant now) {
    const auto found = transaction.unsettled(account);
    if (found.empty()) {
        return;
    }
    thread_local RecordDecoder decoder;
    std::string entryTexts;
    std::string taskTexts;
    std::vector<std::string> have;
    for (const FoundRecord& one : found) {
        join(one.kind == RecordKind::timeEntry ? entryTexts : taskTexts, one.json);
        if (one.kind == RecordKind::task) {
            have.push_back(one.id);
        }
    }
    const auto entries = decoded<TimeEntry>(decoder, entryTexts);
    for (const TimeEntry& entry : entries) {
        const std::string id = entry.taskId.text();
        if (std::ranges::find(have, id) != have.end()) {
            continue;
        }
        have.push_back(id);
        if (const auto task = transaction.record(account, RecordKind::task, id)) {
            join(taskTexts, task->json);
        }
    }
    const Settled settled = settleRunning(entries, decoded<TaskModel>(decoder, taskTexts));
    keep(transaction, account, settled.entries, now);
    keep(transaction, account, settled.tasks, now);
}

}  // namespace tolvik::server
