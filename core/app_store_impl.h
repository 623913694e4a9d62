#pragma once

// The inside of AppStore, shared by the files that implement it and by nobody else.

#include "core/app_store.h"
#include "core/mutations.h"
#include "core/piece_list.h"
#include "core/record_json.h"

namespace tolvik {

/// One operation under way: its instant and what it has done so far.
struct StoreChange {
    Instant at;
    Timestamp now;
    OperationRecord done;

    [[nodiscard]] bool isEmpty() const {
        return done.tags.empty() && done.tasks.empty() && done.entries.empty() && done.logs.empty();
    }
};

struct AppStore::Impl {
    explicit Impl(AppStorePorts lent);
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;
    ~Impl();

    // --- the view (app_store_view.cpp) ---
    [[nodiscard]] DayKey today() const { return ports.timeZone.dayOf(ports.clock.now()); }
    /// The day of a timestamp; of one that is no instant the day that its first ten characters name.
    [[nodiscard]] std::optional<DayKey> dayOf(Timestamp timestamp) const;
    std::vector<TimeEntry> entriesOn(DayKey day);
    std::vector<SwitchLog> logsOn(DayKey day);
    std::vector<TimeEntry> entriesStarting(DayKey first, DayKey last);
    std::vector<std::int64_t> trackedPerDay(DayKey first, DayKey last);
    std::vector<TaskLogEntry> dayRows();
    const TaskModel* taskToResume();
    /// Derives the published lists anew, then looks whether the running task was forgotten overnight.
    void rebuild();
    void rebuildAndTell();
    void show(DayKey day);
    /// Follows a day or zone that has changed since the last look; true when the view was derived anew.
    bool followDay();
    void scheduleMidnight();
    void scheduleTick();
    void staleCheck();
    void closeStale(DayKey startDay);

    // --- changes (app_store_change.cpp) ---
    /// Takes the operation's instant and holds announcements off.
    [[nodiscard]] StoreChange begin();
    template <class Record, class Edit>
    void edit(StoreChange& change, typename PieceList<Record>::Place place, Edit&& edit);
    template <class Record>
    void create(StoreChange& change, Record record);
    template <class Record>
    void remove(StoreChange& change, typename PieceList<Record>::Place place);
    template <class Record>
    void removeIf(StoreChange& change, const std::function<bool(const Record&)>& goes);
    void editTask(StoreChange& change, std::size_t index, const std::function<void(TaskModel&)>& edit);
    [[nodiscard]] std::vector<PieceList<TimeEntry>::Place> runningEntries();
    void closeEntries(StoreChange& change, const Identifier& taskId, Timestamp closing);
    [[nodiscard]] std::optional<Identifier> deactivateAll(StoreChange& change);
    void open(StoreChange& change, const Identifier& task, std::optional<Identifier> previous, ChangeSource source,
              std::optional<std::string> reason);
    /// At most one running entry, of the one active, open task.
    void restoreInvariants(StoreChange& change);
    void takeBack(StoreChange& change, const OperationRecord& operation);
    /// Clears references to what is not there and takes out entries and switches without a task.
    void mendReferences(StoreChange& change);
    /// Saves the change and what it owes, derives the view and tells. Words make it the operation that can be undone.
    void finish(StoreChange change, std::optional<std::string> words);
    void reindexTasks();

    // --- the server's side (app_store_merge.cpp) ---
    bool copySome(StorePull& pull, std::size_t& collection, std::size_t& piece);
    PullOutcome finishPull(StorePull& pull, PullPlan plan, const IdSet& queued, WriteBatch writes);
    void restore(std::span<const ServerCopy> records, WriteBatch writes);
    /// Mends references of the records named, of all records when something vanished that others may refer to; nothing
    /// is owed for that. Then settles what runs.
    void settle(const IdSet& suspects, bool anyone);
    /// Changes a record for the others' sake, remembering what the server has.
    template <class Record>
    void adapt(typename PieceList<Record>::Place place, Record record);
    template <class Record>
    void adaptAway(const Identifier& id);
    template <class Record>
    void restoreOne(const ServerCopy& copy);
    void note(const OperationRecord& done);
    /// So that `queueCreations`, which takes from the end, owes first what others name.
    void orderCreations();
    void queueCreations();
    /// What was adapted goes to the server copies with the next save.
    void stageAdapted();
    /// Saves and tells after a change that owes nothing.
    void finishUnowed();
    void scheduleBulk();
    bool flushBulk(std::size_t count);
    void reopen();

    // --- the disk (app_store_save.cpp) ---
    void load();
    /// Writes what is not written yet; on failure it stays and is tried again.
    bool flush();
    void keepAside(std::string_view key, std::string_view bytes);
    void reportUnreadable(StoreError error);
    void tell(std::string text);
    const std::optional<OperationRecord>& lastOperation();

    // --- all data from a file (app_store_import.cpp) ---
    Result<void, std::string> import(std::string_view json);

    template <class Record>
    PieceList<Record>& list();
    template <class Record>
    static std::vector<RecordChange<Record>>& changesOf(OperationRecord& operation);

    AppStorePorts ports;
    RecordDecoder decoder;
    PieceList<TaskModel> tasks;
    PieceList<TimeEntry> entries;
    PieceList<SwitchLog> logs;
    PieceList<TagModel> tags;
    std::unordered_map<Identifier, std::size_t> taskIndex;

    DayKey currentDate;
    std::optional<DayKey> endDate;
    ProjectFilter filter;
    std::vector<TimeEntry> dateEntries;
    std::vector<SwitchLog> dateLogs;
    std::vector<TaskModel> tasksToShow;
    std::optional<std::size_t> active;
    std::optional<TimeEntry> running;
    std::set<Identifier> deletedTaskIds;
    bool staleCheckPending = false;
    bool inStaleCheck = false;
    /// The day and zone of the last look.
    DayKey seenToday;
    std::string seenZone;

    std::optional<DayKey> earliestDate;
    std::vector<std::weak_ptr<StorePull>> pulls;
    /// What the server lacks and is to be told, the next last.
    std::vector<std::pair<RecordKind, Identifier>> creations;
    Timer creationTimer;
    std::vector<ServerCopy> adapted;
    bool bulkPending = false;
    Timer bulkTimer;

    /// Writes that wait for the next batch besides the pieces: what is kept aside, what the server is owed.
    WriteBatch held;
    bool undoDirty = false;
    bool operationRead = false;
    std::optional<OperationRecord> operation;
    std::optional<StoreError> saveProblem;
    Millis retryDelay{0};
    int asideCount = 0;
    bool toldUnreadable = false;

    Signal<> changed;
    Signal<> tick;
    Signal<const StoreNotice&> notice;
    std::vector<StoreNotice> untold;

    // Last, so that they are cancelled before anything they use is gone.
    Timer retryTimer;
    Timer asideTimer;
    Timer midnightTimer;
    Timer liveTimer;
};

template <>
inline PieceList<TaskModel>& AppStore::Impl::list() {
    return tasks;
}
template <>
inline PieceList<TimeEntry>& AppStore::Impl::list() {
    return entries;
}
template <>
inline PieceList<SwitchLog>& AppStore::Impl::list() {
    return logs;
}
template <>
inline PieceList<TagModel>& AppStore::Impl::list() {
    return tags;
}
template <>
inline std::vector<RecordChange<TaskModel>>& AppStore::Impl::changesOf(OperationRecord& operation) {
    return operation.tasks;
}
template <>
inline std::vector<RecordChange<TimeEntry>>& AppStore::Impl::changesOf(OperationRecord& operation) {
    return operation.entries;
}
template <>
inline std::vector<RecordChange<SwitchLog>>& AppStore::Impl::changesOf(OperationRecord& operation) {
    return operation.logs;
}
template <>
inline std::vector<RecordChange<TagModel>>& AppStore::Impl::changesOf(OperationRecord& operation) {
    return operation.tags;
}

template <class Record, class Edit>
void AppStore::Impl::edit(StoreChange& change, typename PieceList<Record>::Place place, Edit&& edit) {
    auto& all = list<Record>();
    const Record before = all.at(place);
    Record after = before;
    edit(after);
    if (after == before) {
        return;
    }
    auto& images = changesOf<Record>(change.done);
    const auto image = std::ranges::find_if(images, [&](const auto& i) { return i.after && i.after->id == before.id; });
    if (image != images.end()) {
        image->after = after;
    } else {
        images.push_back({before, after, all.indexOf(place)});
    }
    all.replace(place, std::move(after));
}

template <class Record>
void AppStore::Impl::create(StoreChange& change, Record record) {
    auto& all = list<Record>();
    changesOf<Record>(change.done).push_back({std::nullopt, record, all.size()});
    all.append(std::move(record));
}

template <class Record>
void AppStore::Impl::remove(StoreChange& change, typename PieceList<Record>::Place place) {
    auto& all = list<Record>();
    changesOf<Record>(change.done).push_back({all.at(place), std::nullopt, all.indexOf(place)});
    all.erase(place);
}

template <class Record>
void AppStore::Impl::removeIf(StoreChange& change, const std::function<bool(const Record&)>& goes) {
    list<Record>().eraseIf(goes, [&](std::size_t index, const Record& record) {
        changesOf<Record>(change.done).push_back({record, std::nullopt, index});
    });
}

}  // namespace tolvik
