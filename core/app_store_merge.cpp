#include <unordered_set>

#include "core/app_store_impl.h"
#include "core/log_owner.h"

namespace tolvik {
namespace {

/// Records that are copied or pieces that are read in one go: a few milliseconds.
constexpr std::size_t kCopyAtOnce = 16'384;
constexpr std::size_t kReadAtOnce = 64;
/// Pieces that are written in one go.
constexpr std::size_t kWriteAtOnce = 24;
constexpr std::size_t kQueueAtOnce = 128;
constexpr const char* kEarliestDate = "tolvik.sync.earliestDate";

template <class Record>
std::string jsonOf(const Record& record) {
    std::string out;
    appendRecord(out, record);
    return out;
}

/// Takes out of a plan what it may not do after all.
template <class Record>
void leave(CollectionPlan<Record>& plan, const IdSet& ids) {
    std::erase_if(plan.replaced, [&](const auto& item) { return ids.contains(item.first); });
    std::erase_if(plan.removed, [&](const Identifier& id) { return ids.contains(id); });
    std::erase_if(plan.added, [&](const Record& record) { return ids.contains(record.id); });
    std::erase_if(plan.serverCopies, [&](const Record& record) { return ids.contains(record.id); });
}

template <class Record>
std::size_t sizeOf(const CollectionPlan<Record>& plan) {
    return plan.replaced.size() + plan.added.size() + plan.removed.size();
}

}  // namespace

bool AppStore::Impl::copySome(StorePull& pull, std::size_t& collection, std::size_t& piece) {
    std::size_t room = kCopyAtOnce;
    const auto copy = [&]<class Record>(std::size_t which, std::vector<Record>& out) {
        if (collection != which || room == 0) {
            return;
        }
        auto& all = list<Record>();
        if (!all.readSome(kReadAtOnce)) {
            room = 0;
            return;
        }
        if (piece == 0) {
            out.reserve(all.size());
        }
        for (; piece < all.pieceCount() && room > 0; ++piece) {
            const auto records = all.records(piece);
            out.insert(out.end(), records.begin(), records.end());
            room -= std::min(room, std::max<std::size_t>(records.size(), 1));
        }
        if (piece >= all.pieceCount()) {
            ++collection;
            piece = 0;
        }
    };
    copy(0, pull.copy.tags);
    copy(1, pull.copy.tasks);
    copy(2, pull.copy.timeEntries);
    copy(3, pull.copy.switchLogs);
    return collection > 3;
}

void AppStore::Impl::note(const OperationRecord& done) {
    for (const auto& weak : pulls) {
        if (const auto pull = weak.lock()) {
            const auto add = [&](const auto& images) {
                for (const auto& image : images) {
                    pull->touched.insert(image.after ? image.after->id : image.before->id);
                }
            };
            const auto isGone = [](const auto& image) { return !image.after; };
            pull->vanished =
                pull->vanished || std::ranges::any_of(done.tasks, isGone) || std::ranges::any_of(done.tags, isGone);
            add(done.tags);
            add(done.tasks);
            add(done.entries);
            add(done.logs);
        }
    }
}

PullOutcome AppStore::Impl::finishPull(StorePull& pull, PullPlan plan, const IdSet& queued, WriteBatch writes) {
    MergePlan& merge = plan.merge;
    IdSet kept = pull.touched;
#ifndef TOLVIK_PLANT_NO_HOLD
    kept.insert(queued.begin(), queued.end());
#else
    static_cast<void>(queued);
    kept.clear();
#endif
    leave(merge.tags, kept);
    leave(merge.tasks, kept);
    leave(merge.timeEntries, kept);
    leave(merge.switchLogs, kept);
    std::erase_if(merge.lacking, [&](const Identifier& id) { return kept.contains(id); });
    PullOutcome outcome;
    outcome.changed = sizeOf(merge.tags) + sizeOf(merge.tasks) + sizeOf(merge.timeEntries) + sizeOf(merge.switchLogs);
    outcome.strays = merge.strays;
    outcome.queued = merge.lacking.size();

    std::ranges::move(writes.writes, std::back_inserter(held.writes));
    const auto remember = [&]<class Record>(const std::vector<Record>& records) {
        for (const Record& record : records) {
            adapted.push_back({kindOf<Record>(), record.id, jsonOf(record)});
        }
    };
    remember(merge.tasks.serverCopies);
    remember(merge.switchLogs.serverCopies);
#ifdef TOLVIK_PLANT_WRONG_ORDER
    settle(pull.touched, false);
#endif
    // Deleted by the pull, or here while the plan was made on a copy that still had it.
    [[maybe_unused]] const bool vanished = pull.vanished || !merge.tags.removed.empty() || !merge.tasks.removed.empty();
    const bool large = outcome.changed > kWriteAtOnce * 32;
    const auto always = [](const auto&) { return true; };
    tags.apply(std::move(merge.tags), always);
    tasks.apply(std::move(merge.tasks), always);
    reindexTasks();
    entries.apply(std::move(merge.timeEntries),
                  [large](const TimeEntry& entry) { return !large || entry.isRunning(); });
    logs.apply(std::move(merge.switchLogs), [large](const SwitchLog&) { return !large; });
    bulkPending = bulkPending || large;
    if (plan.earliestDate && plan.earliestDate != earliestDate) {
        earliestDate = plan.earliestDate;
        held.writes.emplace_back(WriteBatch::PutValue{kEarliestDate, "\"" + earliestDate->text() + "\""});
    }
#ifndef TOLVIK_PLANT_WRONG_ORDER
    settle(pull.touched, vanished && !kept.empty());
#endif
    for (const Identifier& id : merge.lacking) {
        if (tags.find(id)) {
            creations.emplace_back(RecordKind::tag, id);
        } else if (taskIndex.contains(id)) {
            creations.emplace_back(RecordKind::task, id);
        } else if (entries.find(id)) {
            creations.emplace_back(RecordKind::timeEntry, id);
        } else if (logs.find(id)) {
            creations.emplace_back(RecordKind::switchLog, id);
        }
    }
    orderCreations();
    if (!large) {
        finishUnowed();
        queueCreations();
        return outcome;
    }
    // Each of the rest holds the main loop for milliseconds, so each has a turn of its own. Until then the server
    // still has what was pulled, and what left the queue may be sent again.
    stageAdapted();
    rebuildAndTell();
    bulkTimer = ports.loop.after(Millis{0}, [this] {
        flush();
        scheduleBulk();
    });
    creationTimer = ports.loop.after(Millis{0}, [this] { queueCreations(); });
    return outcome;
}

void AppStore::Impl::restore(std::span<const ServerCopy> records, WriteBatch writes) {
    std::ranges::move(writes.writes, std::back_inserter(held.writes));
    IdSet suspects;
    bool vanished = false;
    for (const ServerCopy& copy : records) {
        suspects.insert(copy.id);
        vanished = vanished || (!copy.record && (copy.kind == RecordKind::task || copy.kind == RecordKind::tag));
        switch (copy.kind) {
            case RecordKind::task:
                restoreOne<TaskModel>(copy);
                break;
            case RecordKind::timeEntry:
                restoreOne<TimeEntry>(copy);
                break;
            case RecordKind::switchLog:
                restoreOne<SwitchLog>(copy);
                break;
            case RecordKind::tag:
                restoreOne<TagModel>(copy);
                break;
            case RecordKind::dictionary:
                break;
        }
    }
    for (const auto& weak : pulls) {
        if (const auto pull = weak.lock()) {
            pull->touched.insert(suspects.begin(), suspects.end());
            pull->vanished = pull->vanished || vanished;
        }
    }
    reindexTasks();
    settle(suspects, vanished);
    finishUnowed();
}

template <class Record>
void AppStore::Impl::restoreOne(const ServerCopy& copy) {
    auto& all = list<Record>();
    const auto place = all.find(copy.id);
    if (!copy.record) {
        if (place) {
            all.erase(*place);
        }
        return;
    }
    std::vector<Record> decoded;
    if (!decoder.piece(*copy.record, decoded) || decoded.size() != 1) {
        return;
    }
    if (!place) {
        all.append(std::move(decoded.front()));
    } else if (all.at(*place) != decoded.front()) {
        all.replace(*place, std::move(decoded.front()));
    }
}

template <class Record>
void AppStore::Impl::adapt(typename PieceList<Record>::Place place, Record record) {
    auto& all = list<Record>();
    adapted.push_back({kindOf<Record>(), record.id, jsonOf(all.at(place))});
    all.replace(place, std::move(record));
}

template <class Record>
void AppStore::Impl::adaptAway(const Identifier& id) {
    auto& all = list<Record>();
    if (const auto place = all.find(id)) {
        adapted.push_back({kindOf<Record>(), id, jsonOf(all.at(*place))});
        all.erase(*place);
    }
}

void AppStore::Impl::settle(const IdSet& suspects, bool anyone) {
    IdSet tagIds;
    for (const TagModel& tag : tags.all()) {
        tagIds.insert(tag.id);
    }
    for (std::size_t i = 0; i < tasks.all().size(); ++i) {
        TaskModel task = tasks.all()[i];
        if (task.tagId && !tagIds.contains(*task.tagId) && (anyone || suspects.contains(task.id))) {
            task.tagId.reset();
            adapt<TaskModel>(tasks.placeOf(i), std::move(task));
        }
    }
    std::vector<Identifier> strayEntries;
    std::vector<Identifier> strayLogs;
    std::vector<SwitchLog> rootless;
    const auto lookAtEntry = [&](const TimeEntry& entry) {
        if (!taskIndex.contains(entry.taskId)) {
            strayEntries.push_back(entry.id);
        }
    };
    const auto lookAtLog = [&](const SwitchLog& log) {
        if (!taskIndex.contains(log.toTaskId)) {
            strayLogs.push_back(log.id);
        } else if (log.fromTaskId && !taskIndex.contains(*log.fromTaskId)) {
            rootless.push_back(log);
        }
    };
    if (anyone) {
        for (std::size_t p = 0; p < entries.pieceCount(); ++p) {
            std::ranges::for_each(entries.records(p), lookAtEntry);
        }
        for (std::size_t p = 0; p < logs.pieceCount(); ++p) {
            std::ranges::for_each(logs.records(p), lookAtLog);
        }
    } else {
        for (const Identifier& id : suspects) {
            if (const auto place = entries.find(id)) {
                lookAtEntry(entries.at(*place));
            }
            if (const auto place = logs.find(id)) {
                lookAtLog(logs.at(*place));
            }
        }
    }
    std::ranges::for_each(strayEntries, [&](const Identifier& id) { adaptAway<TimeEntry>(id); });
    std::ranges::for_each(strayLogs, [&](const Identifier& id) { adaptAway<SwitchLog>(id); });
    for (SwitchLog& log : rootless) {
        log.fromTaskId.reset();
        adapt<SwitchLog>(*logs.find(log.id), log);
    }
    std::vector<TimeEntry> runs;
    for (const auto place : runningEntries()) {
        runs.push_back(entries.at(place));
    }
    const Settled settled = settleRunning(runs, tasks.all());
    for (const TimeEntry& entry : settled.entries) {
        adapt<TimeEntry>(*entries.find(entry.id), entry);
    }
    for (const TaskModel& task : settled.tasks) {
        adapt<TaskModel>(tasks.placeOf(taskIndex.at(task.id)), task);
    }
}

void AppStore::Impl::stageAdapted() {
    if (!adapted.empty()) {
        ports.mutations.stageCopies(held, adapted);
        adapted.clear();
    }
}

void AppStore::Impl::finishUnowed() {
    stageAdapted();
    flush();
    if (bulkPending) {
        scheduleBulk();
    }
    rebuildAndTell();
}

void AppStore::Impl::orderCreations() {
    // Projects before the tasks that name them, tasks before what belongs to them.
    const auto rank = [](RecordKind kind) { return kind == RecordKind::tag ? 0 : kind == RecordKind::task ? 1 : 2; };
    std::ranges::sort(creations, [&](const auto& a, const auto& b) {
        return std::pair(rank(a.first), a.second.text()) > std::pair(rank(b.first), b.second.text());
    });
}

void AppStore::Impl::queueCreations() {
    std::vector<Mutation> owed;
    const auto add = [&]<class Record>(const char* path, const Identifier& id) {
        if (const auto place = list<Record>().find(id)) {
            owed.push_back(
                {"POST", path, jsonOf(list<Record>().at(*place)), id, {{kindOf<Record>(), id, std::nullopt}}});
        }
    };
    for (; !creations.empty() && owed.size() < kQueueAtOnce; creations.pop_back()) {
        const auto& [kind, id] = creations.back();
        switch (kind) {
            case RecordKind::tag:
                add.operator()<TagModel>("/tags", id);
                break;
            case RecordKind::task:
                add.operator()<TaskModel>("/tasks", id);
                break;
            case RecordKind::timeEntry:
                add.operator()<TimeEntry>("/time-entries", id);
                break;
            case RecordKind::switchLog:
                add.operator()<SwitchLog>("/switch-logs", id);
                break;
            case RecordKind::dictionary:
                break;
        }
    }
    if (owed.empty()) {
        return;
    }
    ports.mutations.stage(held, owed);
    flush();
    ports.mutations.staged();
    if (!creations.empty()) {
        creationTimer = ports.loop.after(Millis{0}, [this] { queueCreations(); });
    }
}

bool AppStore::Impl::flushBulk(std::size_t count) {
    WriteBatch batch;
    const std::size_t given = entries.stageBulk(batch, count);
    logs.stageBulk(batch, count - given);
    if (batch.empty()) {
        bulkPending = false;
        return false;
    }
    if (!ports.values.commit(batch)) {
        return false;
    }
    entries.bulkSaved();
    logs.bulkSaved();
    return true;
}

void AppStore::Impl::scheduleBulk() {
    bulkTimer = ports.loop.after(Millis{0}, [this] {
        if (flushBulk(kWriteAtOnce)) {
            scheduleBulk();
        } else if (bulkPending) {
            bulkTimer = ports.loop.after(Millis{1000}, [this] { scheduleBulk(); });
        }
    });
}

void AppStore::Impl::reopen() {
    for (const auto& weak : pulls) {
        if (const auto pull = weak.lock()) {
            pull->isVoid = true;
        }
    }
    creations.clear();
    bulkPending = false;
    tasks.reopen();
    entries.reopen();
    logs.reopen();
    tags.reopen();
    reindexTasks();
    operation.reset();
    operationRead = false;
    undoDirty = false;
    deletedTaskIds.clear();
    earliestDate = DayKey::parse(ports.values.text(kEarliestDate));
}

std::optional<DayKey> AppStore::earliestDate() const {
    return impl_->earliestDate;
}

std::string AppStore::owner() const {
    return logOwner(impl_->ports.values);
}

std::shared_ptr<StorePull> AppStore::beginPull() {
    auto pull = std::make_shared<StorePull>();
    std::erase_if(impl_->pulls, [](const auto& weak) { return weak.expired(); });
    impl_->pulls.push_back(pull);
    return pull;
}

bool AppStore::copySome(StorePull& pull) {
    return impl_->copySome(pull, pull.collection, pull.piece);
}

PullOutcome AppStore::finishPull(StorePull& pull, PullPlan plan, const IdSet& held, WriteBatch writes) {
    if (std::exchange(pull.isVoid, true)) {
        // What the queue has to tell the disk holds, whatever becomes of the records.
        std::ranges::move(writes.writes, std::back_inserter(impl_->held.writes));
        impl_->flush();
        return {.isVoid = true};
    }
    return impl_->finishPull(pull, std::move(plan), held, std::move(writes));
}

void AppStore::restore(std::span<const ServerCopy> records, WriteBatch writes) {
    impl_->restore(records, std::move(writes));
}

Result<bool, StoreError> AppStore::changeUser(const std::string& user) {
    Impl& s = *impl_;
    if (!s.flush()) {
        return failure(*s.saveProblem);
    }
    while (s.flushBulk(SIZE_MAX)) {
    }
    auto exchanged = giveLogTo(s.ports.values, user);
    if (exchanged && *exchanged) {
        s.reopen();
        s.currentDate = s.today();
        s.endDate.reset();
        s.filter = {};
        s.rebuildAndTell();
    }
    return exchanged;
}

}  // namespace tolvik
