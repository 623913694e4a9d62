#include "core/app_store.h"

#include <fmt/format.h>

#include "base/text.h"
#include "core/app_store_impl.h"

namespace tolvik {
namespace {

constexpr std::size_t kTitleUnits = 500;
constexpr std::size_t kTaskColours = 12;
constexpr std::size_t kProjectColours = 10;
constexpr std::size_t kRecordsPerPiece = 32;

std::string cleanTitle(std::string_view title) {
    return cutToUtf16(trimmed(toValidUtf8(title)), kTitleUnits);
}

std::optional<std::string> cleanReason(const std::optional<std::string>& reason) {
    std::string text = reason ? trimmed(toValidUtf8(*reason)) : std::string();
    return text.empty() ? std::nullopt : std::optional(std::move(text));
}

}  // namespace

AppStore::Impl::Impl(AppStorePorts lent)
    : ports(std::move(lent)),
      tasks(
          ports.values, decoder, kRecordsPerPiece, [this](auto key, auto bytes) { keepAside(key, bytes); },
          [this](StoreError error) { reportUnreadable(error); }),
      entries(
          ports.values, decoder, kRecordsPerPiece, [this](auto key, auto bytes) { keepAside(key, bytes); },
          [this](StoreError error) { reportUnreadable(error); }),
      logs(
          ports.values, decoder, kRecordsPerPiece, [this](auto key, auto bytes) { keepAside(key, bytes); },
          [this](StoreError error) { reportUnreadable(error); }),
      tags(
          ports.values, decoder, kRecordsPerPiece, [this](auto key, auto bytes) { keepAside(key, bytes); },
          [this](StoreError error) { reportUnreadable(error); }) {}

AppStore::Impl::~Impl() {
    if (saveProblem || bulkPending || !held.empty()) {
        flush();
    }
    while (bulkPending && flushBulk(SIZE_MAX)) {
    }
}

AppStore::AppStore(AppStorePorts ports) : impl_(std::make_unique<Impl>(std::move(ports))) {
    impl_->load();
}
AppStore::~AppStore() = default;

const std::vector<TaskModel>& AppStore::tasks() const {
    return impl_->tasks.all();
}
const std::vector<TagModel>& AppStore::tags() const {
    return impl_->tags.all();
}
const std::vector<TimeEntry>& AppStore::timeEntries() const {
    return impl_->entries.all();
}
const std::vector<SwitchLog>& AppStore::switchLogs() const {
    return impl_->logs.all();
}
const TaskModel* AppStore::taskById(const Identifier& id) const {
    const auto found = impl_->taskIndex.find(id);
    return found == impl_->taskIndex.end() ? nullptr : &impl_->tasks.all()[found->second];
}
const TagModel* AppStore::tagById(const Identifier& id) const {
    const auto& all = impl_->tags.all();
    const auto found = std::ranges::find(all, id, &TagModel::id);
    return found == all.end() ? nullptr : &*found;
}
const TaskModel* AppStore::activeTask() const {
    return impl_->active ? &impl_->tasks.all()[*impl_->active] : nullptr;
}
const TimeEntry* AppStore::runningEntry() const {
    return impl_->running ? &*impl_->running : nullptr;
}
const TaskModel* AppStore::taskToResume() const {
    return impl_->taskToResume();
}
DayKey AppStore::currentDate() const {
    return impl_->currentDate;
}
std::optional<DayKey> AppStore::endDate() const {
    return impl_->endDate;
}
DayKey AppStore::today() const {
    return impl_->today();
}
bool AppStore::isViewingToday() const {
    return impl_->currentDate == impl_->today();
}
const ProjectFilter& AppStore::projectFilter() const {
    return impl_->filter;
}
const std::vector<TimeEntry>& AppStore::dateEntries() const {
    return impl_->dateEntries;
}
const std::vector<SwitchLog>& AppStore::dateSwitchLogs() const {
    return impl_->dateLogs;
}
const std::vector<TaskModel>& AppStore::tasksToShow() const {
    return impl_->tasksToShow;
}
std::vector<TaskLogEntry> AppStore::dayRows() const {
    return impl_->dayRows();
}
std::vector<TimeEntry> AppStore::entriesOn(DayKey day) const {
    return impl_->entriesOn(day);
}
std::vector<SwitchLog> AppStore::switchLogsOn(DayKey day) const {
    return impl_->logsOn(day);
}
std::vector<TimeEntry> AppStore::entriesStarting(DayKey first, DayKey last) const {
    return impl_->entriesStarting(first, last);
}
std::uint64_t AppStore::revision() const {
    return impl_->entries.revision() + impl_->tasks.revision() + impl_->tags.revision();
}
std::vector<std::int64_t> AppStore::trackedPerDay(DayKey first, DayKey last) const {
    return impl_->trackedPerDay(first, last);
}
const std::set<Identifier>& AppStore::deletedTaskIds() const {
    return impl_->deletedTaskIds;
}
bool AppStore::isStaleCheckPending() const {
    return impl_->staleCheckPending;
}
std::optional<StoreError> AppStore::saveProblem() const {
    return impl_->saveProblem;
}
std::optional<std::string> AppStore::undoable() const {
    const auto& operation = impl_->lastOperation();
    return operation ? std::optional(operation->words) : std::nullopt;
}

Subscription AppStore::onChanged(std::function<void()> callback) {
    return impl_->changed.connect(std::move(callback));
}
Subscription AppStore::onTick(std::function<void()> callback) {
    auto subscription = impl_->tick.connect(std::move(callback));
    impl_->scheduleTick();
    return subscription;
}
Subscription AppStore::onNotice(std::function<void(const StoreNotice&)> callback) {
    for (const StoreNotice& notice : std::exchange(impl_->untold, {})) {
        callback(notice);
    }
    return impl_->notice.connect(std::move(callback));
}

// NOLINTBEGIN(performance-unnecessary-value-param): callers hand their reasons over.
std::optional<Identifier> AppStore::startTask(std::string_view title, ChangeSource source,
                                              std::optional<std::string> reason) {
    Impl& s = *impl_;
    std::string clean = cleanTitle(title);
    if (clean.empty()) {
        return std::nullopt;
    }
    s.followDay();
    StoreChange change = s.begin();
    const auto previous = s.deactivateAll(change);
    const std::size_t count = s.tasks.all().size();
    TaskModel task;
    task.id = s.ports.random.identifier();
    task.title = clean;
    task.status = "open";
    task.isActive = true;
    task.createdAt = change.now;
    task.updatedAt = change.now;
    task.sortOrder = static_cast<std::int64_t>(count);
    task.colorIndex = static_cast<std::int64_t>(count % kTaskColours);
    if (const auto project = s.ports.activeProject ? s.ports.activeProject() : std::nullopt;
        project && tagById(*project) != nullptr) {
        task.tagId = project;
    }
    const Identifier id = task.id;
    s.create(change, std::move(task));
    s.open(change, id, previous, source, cleanReason(reason));
    s.finish(std::move(change), fmt::format("Started {}", clean));
    return id;
}

Outcome AppStore::switchToTask(const Identifier& id, ChangeSource source, std::optional<std::string> reason) {
    Impl& s = *impl_;
    s.followDay();
    const auto found = s.taskIndex.find(id);
    if (found == s.taskIndex.end() || s.tasks.all()[found->second].isActive) {
        return Outcome::nothing;
    }
    const std::size_t index = found->second;
    StoreChange change = s.begin();
    const auto previous = s.deactivateAll(change);
    s.editTask(change, index, [&](TaskModel& task) {
        task.isActive = true;
        task.updatedAt = change.now;
        if (task.status == "done") {
            task.status = "open";
            task.completedAt.reset();
        }
    });
    const bool moves = !isViewingToday();
    if (moves) {
        s.endDate.reset();
        s.currentDate = s.today();
    }
    s.open(change, id, previous, source, cleanReason(reason));
    s.finish(std::move(change), fmt::format("Switched to {}", s.tasks.all()[index].title));
    if (moves && s.ports.requestDay) {
        s.ports.requestDay(s.currentDate);
    }
    return Outcome::changed;
}
// NOLINTEND(performance-unnecessary-value-param)

Outcome AppStore::stopTask(const Identifier& id) {
    Impl& s = *impl_;
    s.followDay();
    const TaskModel* task = taskById(id);
    if (task == nullptr || !task->isActive) {
        return Outcome::nothing;
    }
    const std::string title = task->title;
    StoreChange change = s.begin();
    s.editTask(change, s.taskIndex.at(id), [&](TaskModel& t) {
        t.isActive = false;
        t.updatedAt = change.now;
    });
    s.closeEntries(change, id, change.now);
    s.finish(std::move(change), fmt::format("Stopped {}", title));
    return Outcome::changed;
}

Outcome AppStore::markDone(const Identifier& id) {
    Impl& s = *impl_;
    s.followDay();
    const TaskModel* task = taskById(id);
    if (task == nullptr) {
        return Outcome::nothing;
    }
    const std::string title = task->title;
    const bool wasActive = task->isActive;
    StoreChange change = s.begin();
    s.editTask(change, s.taskIndex.at(id), [&](TaskModel& t) {
        t.status = "done";
        t.completedAt = change.now;
        t.updatedAt = change.now;
        t.isActive = false;
    });
    if (wasActive) {
        s.closeEntries(change, id, change.now);
    }
    s.finish(std::move(change), fmt::format("Marked {} done", title));
    return Outcome::changed;
}

Outcome AppStore::setSwitchReason(const Identifier& logId, std::string_view reason) {
    Impl& s = *impl_;
    s.followDay();
    const auto place = s.logs.find(logId);
    const auto text = cleanReason(std::string(reason));
    if (!place || s.logs.at(*place).reason == text) {
        return Outcome::nothing;
    }
    StoreChange change = s.begin();
    s.edit<SwitchLog>(change, *place, [&](SwitchLog& log) { log.reason = text; });
    s.finish(std::move(change), text ? "Noted the reason" : "Removed the reason");
    return Outcome::changed;
}

Outcome AppStore::updateTask(const Identifier& id, const TaskEdit& edit) {
    Impl& s = *impl_;
    s.followDay();
    const TaskModel* task = taskById(id);
    if (task == nullptr) {
        return Outcome::nothing;
    }
    const std::string before = task->title;
    const std::string title = edit.title ? cleanTitle(*edit.title) : std::string();
    const bool renames = !title.empty() && title != before;
    const TagModel* project = edit.tagId && *edit.tagId ? tagById(**edit.tagId) : nullptr;
    const bool moves = edit.tagId && *edit.tagId != task->tagId && (!*edit.tagId || project != nullptr);
    if (!renames && !moves) {
        return Outcome::nothing;
    }
    StoreChange change = s.begin();
    s.editTask(change, s.taskIndex.at(id), [&](TaskModel& t) {
        if (renames) {
            t.title = title;
        }
        if (moves) {
            t.tagId = *edit.tagId;
        }
        t.updatedAt = change.now;
    });
    std::string words = fmt::format("Renamed {} to {}", before, title);
    if (!renames) {
        words = project != nullptr ? fmt::format("Moved {} to {}", before, project->name)
                                   : fmt::format("Removed {} from its project", before);
    }
    s.finish(std::move(change), std::move(words));
    return Outcome::changed;
}

Outcome AppStore::deleteTask(const Identifier& id) {
    Impl& s = *impl_;
    s.followDay();
    const auto found = s.taskIndex.find(id);
    if (found == s.taskIndex.end()) {
        return Outcome::nothing;
    }
    const std::string title = s.tasks.all()[found->second].title;
    StoreChange change = s.begin();
    s.removeIf<TimeEntry>(change, [&](const TimeEntry& entry) { return entry.taskId == id; });
    s.removeIf<SwitchLog>(change, [&](const SwitchLog& log) { return log.toTaskId == id; });
    for (std::size_t i = 0; i < s.logs.all().size(); ++i) {
        if (s.logs.all()[i].fromTaskId == id) {
            // The switch to the other task, and its reason, happened all the same.
            s.edit<SwitchLog>(change, s.logs.placeOf(i), [](SwitchLog& log) { log.fromTaskId.reset(); });
        }
    }
    s.remove<TaskModel>(change, s.tasks.placeOf(found->second));
    s.deletedTaskIds.insert(id);
    s.finish(std::move(change), fmt::format("Deleted {}", title));
    return Outcome::changed;
}

std::optional<Identifier> AppStore::createProject(std::string_view name) {
    Impl& s = *impl_;
    std::string clean = cleanTitle(name);
    if (clean.empty()) {
        return std::nullopt;
    }
    s.followDay();
    StoreChange change = s.begin();
    TagModel tag;
    tag.id = s.ports.random.identifier();
    tag.name = clean;
    tag.colorIndex = static_cast<std::int64_t>(s.tags.all().size() % kProjectColours);
    tag.createdAt = change.now;
    tag.updatedAt = change.now;
    const Identifier id = tag.id;
    s.create(change, std::move(tag));
    s.finish(std::move(change), fmt::format("Added project {}", clean));
    return id;
}

Outcome AppStore::renameProject(const Identifier& id, std::string_view name) {
    Impl& s = *impl_;
    s.followDay();
    const std::string clean = cleanTitle(name);
    const auto place = s.tags.find(id);
    if (!place || clean.empty() || s.tags.at(*place).name == clean) {
        return Outcome::nothing;
    }
    const std::string before = s.tags.at(*place).name;
    StoreChange change = s.begin();
    s.edit<TagModel>(change, *place, [&](TagModel& tag) {
        tag.name = clean;
        tag.updatedAt = change.now;
    });
    s.finish(std::move(change), fmt::format("Renamed project {} to {}", before, clean));
    return Outcome::changed;
}

Outcome AppStore::deleteProject(const Identifier& id) {
    Impl& s = *impl_;
    s.followDay();
    const auto place = s.tags.find(id);
    if (!place) {
        return Outcome::nothing;
    }
    const std::string name = s.tags.at(*place).name;
    StoreChange change = s.begin();
    for (std::size_t i = 0; i < s.tasks.all().size(); ++i) {
        if (s.tasks.all()[i].tagId == id) {
            s.editTask(change, i, [&](TaskModel& task) {
                task.tagId.reset();
                task.updatedAt = change.now;
            });
        }
    }
    s.remove<TagModel>(change, *place);
    if (s.filter == ProjectFilter{ProjectFilter::Tag{id}}) {
        s.filter = {};
    }
    s.finish(std::move(change), fmt::format("Deleted project {}", name));
    return Outcome::changed;
}

std::optional<std::string> AppStore::undo() {
    Impl& s = *impl_;
    s.followDay();
    if (!s.lastOperation()) {
        return std::nullopt;
    }
    const OperationRecord operation = *s.operation;
    StoreChange change = s.begin();
    s.takeBack(change, operation);
    s.mendReferences(change);
    s.restoreInvariants(change);
    s.finish(std::move(change), std::nullopt);
    return operation.words;
}

void AppStore::shiftDay(int days) {
    selectDate(impl_->currentDate.plus(days));
}

void AppStore::selectDate(DayKey day) {
    impl_->show(day);
}

void AppStore::setProjectFilter(ProjectFilter filter) {
    if (!(impl_->filter == filter)) {
        impl_->filter = filter;
        impl_->rebuildAndTell();
    }
}

void AppStore::refresh() {
    if (!impl_->followDay()) {
        impl_->rebuildAndTell();
        impl_->scheduleMidnight();
    }
}

void AppStore::pullCompleted() {
    Impl& s = *impl_;
    if (!s.staleCheckPending) {
        return;
    }
    s.staleCheckPending = false;
    const auto startDay = s.running ? s.dayOf(s.running->startedAt) : std::nullopt;
    if (s.active && startDay && *startDay < s.today()) {
        s.closeStale(*startDay);
        s.changed.emit();
    }
}

Result<std::string, StoreError> AppStore::exportAll() const {
    Impl& s = *impl_;
    std::string out;
    appendWholeLog(out, {s.tasks.all(), s.entries.all(), s.logs.all(), s.tags.all()});
    return out;
}

Result<void, std::string> AppStore::importAll(std::string_view json) {
    return impl_->import(json);
}

}  // namespace tolvik
