#include <unordered_map>
#include <unordered_set>

#include "core/app_store_impl.h"

namespace tolvik {
namespace {

/// New records that are told one by one; of more the next pull finds out what the server lacks, and only what was
/// deleted there stays deleted.
constexpr std::size_t kMostTold = 10'000;

/// What the server is owed so that what an import took out or changed does not come back with the next pull.
template <class Record>
void owe(std::vector<RecordChange<Record>>& owed, const std::vector<Record>& before, const std::vector<Record>& after) {
    std::unordered_map<Identifier, const Record*> kept;
    kept.reserve(after.size());
    for (const Record& record : after) {
        kept.emplace(record.id, &record);
    }
    for (const Record& record : before) {
        const auto found = kept.find(record.id);
        if (found == kept.end()) {
            owed.push_back({record, std::nullopt});
        } else if (*found->second != record) {
            owed.push_back({record, *found->second});
        }
    }
}

/// What only the import has: the server may have deleted it once.
template <class Record>
void addNew(std::vector<std::pair<RecordKind, Identifier>>& creations, const std::vector<Record>& before,
            const std::vector<Record>& after) {
    std::unordered_set<Identifier> known;
    known.reserve(before.size());
    for (const Record& record : before) {
        known.insert(record.id);
    }
    for (const Record& record : after) {
        if (!known.contains(record.id)) {
            creations.emplace_back(kindOf<Record>(), record.id);
        }
    }
}

}  // namespace

Result<void, std::string> AppStore::Impl::import(std::string_view json) {
    auto log = decoder.wholeLog(json);
    if (!log) {
        return failure(log.error());
    }
    if (!flush()) {
        return failure(std::string(describe(*saveProblem)));
    }
    const WholeLog before{tasks.all(), entries.all(), logs.all(), tags.all()};
    const std::string suffix = ".before-import-" + formatInstant(ports.clock.now());
    const auto keep = [&]<class Record>(const std::vector<Record>& records) {
        if (!records.empty()) {
            std::string bytes;
            appendRecords(bytes, records);
            held.writes.emplace_back(
                WriteBatch::PutValue{std::string(RecordShape<Record>::key) + suffix, std::move(bytes)});
        }
    };
    keep(before.tasks);
    keep(before.timeEntries);
    keep(before.switchLogs);
    keep(before.tags);
    // Before anything changes, and as large as what follows: a disk that has no room says so here.
    if (!flush()) {
        held.writes.clear();
        return failure(std::string(describe(*saveProblem)));
    }
    tasks.assign(std::move(log->tasks));
    entries.assign(std::move(log->timeEntries));
    logs.assign(std::move(log->switchLogs));
    tags.assign(std::move(log->tags));
    reindexTasks();
    deletedTaskIds.clear();
    for (const auto& weak : pulls) {
        if (const auto pull = weak.lock()) {
            pull->isVoid = true;
        }
    }
    StoreChange change = begin();
    owe(change.done.tags, before.tags, tags.all());
    owe(change.done.tasks, before.tasks, tasks.all());
    owe(change.done.entries, before.timeEntries, entries.all());
    owe(change.done.logs, before.switchLogs, logs.all());
    restoreInvariants(change);
    // The other log and what the server is owed for it, in one transaction.
    finish(std::move(change), std::nullopt);
    if (saveProblem) {
        return failure(std::string(describe(*saveProblem)));
    }
    if (before.tasks.empty() && before.timeEntries.empty() && before.switchLogs.empty() && before.tags.empty()) {
        // Nothing here was ever told; the next pull finds out what the server lacks.
        return {};
    }
    std::vector<std::pair<RecordKind, Identifier>> fresh;
    addNew(fresh, before.switchLogs, logs.all());
    addNew(fresh, before.timeEntries, entries.all());
    addNew(fresh, before.tasks, tasks.all());
    addNew(fresh, before.tags, tags.all());
    if (fresh.size() <= kMostTold) {
        // What a pull found that the server lacks is still owed.
        creations.insert(creations.end(), fresh.begin(), fresh.end());
        orderCreations();
        queueCreations();
    }
    return {};
}

}  // namespace tolvik
