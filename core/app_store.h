#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "base/clock.h"
#include "base/main_loop.h"
#include "base/subscription.h"
#include "core/mutation_sink.h"
#include "core/records.h"
#include "core/store_pull.h"
#include "core/value_store.h"

namespace tolvik {

/// Who made a change, kept as `SwitchLog::source`.
enum class ChangeSource : std::uint8_t { manual, voice };

/// How a store operation ended.
enum class Outcome : std::uint8_t {
    changed,  ///< something changed
    nothing,  ///< unknown record, or nothing to do
};

/// What other features lend the store. Everything outlives it. All on the main loop.
struct AppStorePorts {
    ValueStore& values;
    const Clock& clock;
    const TimeZone& timeZone;
    Random& random;
    MainLoop& loop;
    MutationSink& mutations;
    ChangeHoldOff& holdOff;
    /// The voice dictionaries' active project, if any.
    std::function<std::optional<Identifier>()> activeProject;
    std::function<bool()> isSignedIn;
    /// Asks the server for a day's data; does nothing while signed out. May be empty.
    std::function<void(DayKey)> requestDay;
};

/// Something the user should be told once, in a few words.
struct StoreNotice {
    std::string text;
};

/// The single owner of tasks, projects, time entries and switch logs. Every operation changes the collections in
/// memory, saves exactly what changed and what it owes the server in one transaction, rebuilds the derived view and
/// emits `changed`. Main loop only.
class AppStore {
public:
    /// Opens the log: tasks and projects whole, of entries and switch logs what the present view needs; the rest is
    /// read when first asked for. A value that does not decode starts empty and is kept aside.
    explicit AppStore(AppStorePorts ports);
    AppStore(const AppStore&) = delete;
    AppStore& operator=(const AppStore&) = delete;
    ~AppStore();

    // --- published state -------------------------------------------------------------------------------------------

    /// In creation order.
    [[nodiscard]] const std::vector<TaskModel>& tasks() const;
    [[nodiscard]] const std::vector<TagModel>& tags() const;
    /// The whole collections; reads what is not in memory yet.
    [[nodiscard]] const std::vector<TimeEntry>& timeEntries() const;
    [[nodiscard]] const std::vector<SwitchLog>& switchLogs() const;
    [[nodiscard]] const TaskModel* taskById(const Identifier& id) const;
    [[nodiscard]] const TagModel* tagById(const Identifier& id) const;
    /// The running task, if any.
    [[nodiscard]] const TaskModel* activeTask() const;
    /// The running entry, if any.
    [[nodiscard]] const TimeEntry* runningEntry() const;
    /// The entry that ended last and whose task is still open, if any: what "resume" goes back to.
    [[nodiscard]] const TaskModel* taskToResume() const;

    [[nodiscard]] DayKey currentDate() const;
    [[nodiscard]] std::optional<DayKey> endDate() const;
    [[nodiscard]] DayKey today() const;
    [[nodiscard]] bool isViewingToday() const;
    [[nodiscard]] const ProjectFilter& projectFilter() const;
    /// Entries and switch logs that touch the shown day, in the order of the collections.
    [[nodiscard]] const std::vector<TimeEntry>& dateEntries() const;
    [[nodiscard]] const std::vector<SwitchLog>& dateSwitchLogs() const;
    [[nodiscard]] const std::vector<TaskModel>& tasksToShow() const;
    /// `tasksToShow` with the time of the shown day up to now.
    [[nodiscard]] std::vector<TaskLogEntry> dayRows() const;
    /// Entries and switch logs of any day, read from the pieces that can hold it.
    [[nodiscard]] std::vector<TimeEntry> entriesOn(DayKey day) const;
    [[nodiscard]] std::vector<SwitchLog> switchLogsOn(DayKey day) const;
    /// Entries that start on a day of [first, last], in the order of the collection, read from the pieces that can hold
    /// them. One whose start is no instant belongs to the day that its first ten characters name.
    [[nodiscard]] std::vector<TimeEntry> entriesStarting(DayKey first, DayKey last) const;
    /// Changes whenever an entry, task or project does; looking at another day leaves it.
    [[nodiscard]] std::uint64_t revision() const;
    /// Milliseconds tracked on each day of [first, last], cut at midnights, the running entry up to now.
    [[nodiscard]] std::vector<std::int64_t> trackedPerDay(DayKey first, DayKey last) const;

    [[nodiscard]] const std::set<Identifier>& deletedTaskIds() const;
    [[nodiscard]] bool isStaleCheckPending() const;
    /// Set while changes wait in memory because they could not be saved; they are saved as soon as they can be.
    [[nodiscard]] std::optional<StoreError> saveProblem() const;
    /// What the last operation was and whether it can be undone, in a few words ("Switched to X"); none if nothing.
    [[nodiscard]] std::optional<std::string> undoable() const;

    /// After every change of the collections, the view or the save problem.
    Subscription onChanged(std::function<void()> callback);
    /// Each second while something runs and someone listens: live durations grow.
    Subscription onTick(std::function<void()> callback);
    /// Things to tell the user once. Notices from before the first subscription are delivered to it.
    Subscription onNotice(std::function<void(const StoreNotice&)> callback);

    // --- operations ------------------------------------------------------------------------------------------------

    /// Trims and caps the title and starts a new task; the task's id, or none when the title is empty.
    std::optional<Identifier> startTask(std::string_view title, ChangeSource source = ChangeSource::manual,
                                        std::optional<std::string> reason = std::nullopt);
    Outcome switchToTask(const Identifier& id, ChangeSource source = ChangeSource::manual,
                         std::optional<std::string> reason = std::nullopt);
    Outcome stopTask(const Identifier& id);
    Outcome markDone(const Identifier& id);
    /// An empty reason clears it.
    Outcome setSwitchReason(const Identifier& logId, std::string_view reason);

    struct TaskEdit {
        std::optional<std::string> title;
        /// Outer: whether the project changes; inner: the new project, or none to remove it.
        std::optional<std::optional<Identifier>> tagId;
    };
    Outcome updateTask(const Identifier& id, const TaskEdit& edit);
    /// Deletes the task with its entries and switch logs.
    Outcome deleteTask(const Identifier& id);

    /// The project's id; none when the trimmed name is empty.
    std::optional<Identifier> createProject(std::string_view name);
    Outcome renameProject(const Identifier& id, std::string_view name);
    /// Its tasks lose their project.
    Outcome deleteProject(const Identifier& id);

    /// Takes the last operation back, once. The operation's words ("Switched to X"), or none when there is nothing.
    std::optional<std::string> undo();

    void shiftDay(int days);
    void selectDate(DayKey day);
    void setProjectFilter(ProjectFilter filter);

    /// The machine woke or the application became active: the day, the zone and the stale check are looked at anew.
    void refresh();
    /// A pull has completed: carries out a pending stale check.
    void pullCompleted();

    // --- the server's side -----------------------------------------------------------------------------------------

    /// The earliest day that holds data on the server, as the last pull told.
    [[nodiscard]] std::optional<DayKey> earliestDate() const;
    /// The user whose log this is; empty until somebody has signed in.
    [[nodiscard]] std::string owner() const;
    /// To be called before a pull is asked for: notes from now on which records change here.
    [[nodiscard]] std::shared_ptr<StorePull> beginPull();
    /// Copies some more of the log for the comparison, a few milliseconds' worth; true when all is copied.
    bool copySome(StorePull& pull);
    /// Carries the plan for `pull.copy` out and settles what runs; nothing is owed for that. Records in `held` and
    /// those that changed here since `beginPull` keep the local version. What the server lacks is queued for creation.
    /// All in one transaction with `writes`, but for records whose late writing loses nothing, which follow in small
    /// ones.
    PullOutcome finishPull(StorePull& pull, PullPlan plan, const IdSet& held, WriteBatch writes);
    /// Puts records back to what they are without a refused change, mends what then does not fit together and owes the
    /// server nothing. One transaction with `writes`.
    void restore(std::span<const ServerCopy> records, WriteBatch writes);
    /// Makes the log that of another user: the present user's collections are set aside under that user's id, the new
    /// one's brought back, in one transaction. The first user to sign in takes over the log that is here. True when
    /// other collections are here now. Nothing has changed after a failure.
    [[nodiscard]] Result<bool, StoreError> changeUser(const std::string& user);

    /// The four collections as one JSON object from key to array.
    [[nodiscard]] Result<std::string, StoreError> exportAll() const;
    /// Replaces the four collections by those of an export, keeping the present ones aside; the error names the place.
    [[nodiscard]] Result<void, std::string> importAll(std::string_view json);

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace tolvik
