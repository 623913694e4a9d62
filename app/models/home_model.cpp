#include "app/models/home_model.h"

#include <algorithm>

#include "app/models/wording.h"
#include "base/text.h"
#include "services/project_names.h"
#include "voice/parse/command_executor.h"

namespace tolvik {
namespace {

constexpr std::int64_t kMinute = 60'000;
constexpr int kDaysToLookBack = 31;

Identifier toId(const QString& text) {
    const QByteArray utf8 = text.toUtf8();
    return Identifier(std::string_view(utf8.constData(), static_cast<std::size_t>(utf8.size())));
}

}  // namespace

HomeModel::HomeModel(HomePorts ports, QObject* parent)
    : QObject(parent), ports_(std::move(ports)), calendar_(ports_.store) {
    minute_.setSingleShot(true);
    connect(&minute_, &QTimer::timeout, this, &HomeModel::tick);
    connect(&ribbon_, &DayRibbonModel::updateWanted, this, &HomeModel::updateRibbon);
    connect(&strip_, &DayStripModel::lengthChanged, this, [this] { strip_.update(ports_.store); });
    changedSubscription_ = ports_.store.onChanged([this] { update(); });
    noticeSubscription_ = ports_.store.onNotice([this](const StoreNotice& notice) {
        notices_ << wording::fromUtf8(notice.text);
        Q_EMIT noticeChanged();
    });
    update();
}

void HomeModel::setLive(bool live) {
    if (live == live_) {
        return;
    }
    live_ = live;
    if (live) {
        tickSubscription_ = ports_.store.onTick([this] { tick(); });
        update();
    } else {
        tickSubscription_ = {};
        minute_.stop();
    }
    Q_EMIT liveChanged();
}

void HomeModel::update() {
    AppStore& store = ports_.store;
    rows_.update(store);
    switches_.update(store, ports_.zone);
    projects_.update(store);
    strip_.update(store);
    calendar_.update();
    updateLast();
    shownMinute_ = -1;
    tick();
    if (toastOffersUndo_ && store.undoable() != offered_) {
        // Undo would now take back something else.
        dismissToast();
    }
    Q_EMIT changed();
}

void HomeModel::tick() {
    AppStore& store = ports_.store;
    const Instant now = ports_.clock.now();
    ribbon_.update(store, ports_.zone, now);
    clockText_.clear();
    todayText_.clear();
    if (const TimeEntry* entry = store.runningEntry()) {
        if (const auto start = entry->startedAt.instant()) {
            clockText_ = wording::clock((now - *start).count());
        }
        rows_.update(store);
    }
    const std::int64_t minute = now.ms / kMinute;
    const bool newMinute = minute != shownMinute_;
    shownMinute_ = minute;
    if (newMinute) {
        const DayKey day = store.currentDate();
        const auto tracked = store.trackedPerDay(day, day);
        trackedText_ = wording::length(tracked.empty() ? 0 : tracked.front());
        strip_.update(store);
    }
    const auto row = std::ranges::find(rows_.rows(), true, &TaskRow::running);
    if (store.isViewingToday() && row != rows_.rows().end()) {
        const TimeEntry* entry = store.runningEntry();
        const auto start = entry != nullptr ? entry->startedAt.instant() : std::nullopt;
        const bool sameAsClock = start && (now - *start).count() / kMinute == row->totalMs / kMinute;
        todayText_ = sameAsClock ? QString() : wording::length(row->totalMs) + QStringLiteral(" today");
    }
    if (live_) {
        minute_.start(static_cast<int>(kMinute - now.ms % kMinute) + 20);
    }
    Q_EMIT ticked();
}

void HomeModel::updateRibbon() {
    if (ribbon_.isStale()) {
        ribbon_.update(ports_.store, ports_.zone, ports_.clock.now());
    }
}

void HomeModel::updateLast() {
    lastText_.clear();
    const AppStore& store = ports_.store;
    const TaskModel* task = store.activeTask() == nullptr ? store.taskToResume() : nullptr;
    if (task == nullptr) {
        return;
    }
    const QString title = wording::fromUtf8(task->title);
    for (int back = 0; back < kDaysToLookBack; ++back) {
        std::optional<Timestamp> latest;
        for (const TimeEntry& entry : store.entriesOn(store.today().plus(-back))) {
            if (entry.taskId == task->id && entry.endedAt && (!latest || *entry.endedAt > *latest)) {
                latest = entry.endedAt;
            }
        }
        const auto end = latest ? latest->instant() : std::nullopt;
        if (end) {
            const QString time = wording::timeOfDay(*end, ports_.zone);
            const DayKey day = ports_.zone.dayOf(*end);
            const QString when = day == store.today() ? QString() : wording::dayName(day, store.today()) + u' ';
            const QString place = when == QStringLiteral("Yesterday ") ? QStringLiteral("yesterday ") : when;
            lastText_ = QStringLiteral("Last: %1, %2until %3").arg(title, place, time);
            return;
        }
    }
    lastText_ = QStringLiteral("Last: %1").arg(title);
}

bool HomeModel::running() const {
    return ports_.store.activeTask() != nullptr;
}

QString HomeModel::runningId() const {
    const TaskModel* task = ports_.store.activeTask();
    return task != nullptr ? wording::fromUtf8(task->id.text()) : QString();
}

QString HomeModel::runningTitle() const {
    const TaskModel* task = ports_.store.activeTask();
    return task != nullptr ? wording::fromUtf8(task->title) : QStringLiteral("Nothing running");
}

int HomeModel::runningColor() const {
    const TaskModel* task = ports_.store.activeTask();
    return task != nullptr ? static_cast<int>(task->colorIndex) : -1;
}

QString HomeModel::runningProject() const {
    const TaskModel* task = ports_.store.activeTask();
    const TagModel* tag = task != nullptr && task->tagId ? ports_.store.tagById(*task->tagId) : nullptr;
    return tag != nullptr ? wording::fromUtf8(tag->name) : QString();
}

int HomeModel::runningProjectColor() const {
    const TaskModel* task = ports_.store.activeTask();
    const TagModel* tag = task != nullptr && task->tagId ? ports_.store.tagById(*task->tagId) : nullptr;
    return tag != nullptr ? static_cast<int>(tag->colorIndex) : -1;
}

QString HomeModel::sinceText() const {
    const TimeEntry* entry = ports_.store.runningEntry();
    const auto start = entry != nullptr ? entry->startedAt.instant() : std::nullopt;
    return start ? QStringLiteral("since ") + wording::timeOfDay(*start, ports_.zone) : QString();
}

QString HomeModel::resumeTitle() const {
    const TaskModel* task = running() ? nullptr : ports_.store.taskToResume();
    return task != nullptr ? wording::fromUtf8(task->title) : QString();
}

QString HomeModel::dayTitle() const {
    return wording::dayName(ports_.store.currentDate(), ports_.store.today());
}

QString HomeModel::dateText() const {
    return wording::longDay(ports_.store.currentDate(), ports_.store.today());
}

QString HomeModel::startedText() const {
    std::optional<Timestamp> earliest;
    for (const TimeEntry& entry : ports_.store.dateEntries()) {
        earliest = earliest ? std::min(*earliest, entry.startedAt) : entry.startedAt;
    }
    const auto instant = earliest ? earliest->instant() : std::nullopt;
    return instant ? QStringLiteral("Day started ") + wording::timeOfDay(*instant, ports_.zone) : QString();
}

QString HomeModel::endedText() const {
    std::optional<Timestamp> latest;
    for (const TimeEntry& entry : ports_.store.dateEntries()) {
        if (entry.endedAt) {
            latest = latest ? std::max(*latest, *entry.endedAt) : *entry.endedAt;
        }
    }
    const auto instant = latest ? latest->instant() : std::nullopt;
    return instant ? QStringLiteral("Day ended ") + wording::timeOfDay(*instant, ports_.zone) : QString();
}

bool HomeModel::viewingToday() const {
    return ports_.store.isViewingToday();
}

bool HomeModel::empty() const {
    return rows_.rows().empty() && std::holds_alternative<ProjectFilter::All>(ports_.store.projectFilter().choice);
}

QString HomeModel::filterText() const {
    const ProjectFilter& filter = ports_.store.projectFilter();
    if (const auto* tag = std::get_if<ProjectFilter::Tag>(&filter.choice)) {
        const TagModel* project = ports_.store.tagById(tag->id);
        return project != nullptr ? wording::fromUtf8(project->name) : QStringLiteral("Deleted project");
    }
    return std::holds_alternative<ProjectFilter::All>(filter.choice) ? QStringLiteral("All projects")
                                                                     : QStringLiteral("No project");
}

QString HomeModel::filterId() const {
    const ProjectFilter& filter = ports_.store.projectFilter();
    if (const auto* tag = std::get_if<ProjectFilter::Tag>(&filter.choice)) {
        return wording::fromUtf8(tag->id.text());
    }
    return std::holds_alternative<ProjectFilter::All>(filter.choice) ? QStringLiteral("all")
                                                                     : QStringLiteral("unassigned");
}

QString HomeModel::inputProject() const {
    const auto id = ports_.activeProject ? ports_.activeProject() : std::nullopt;
    const TagModel* tag = id ? ports_.store.tagById(*id) : nullptr;
    return tag != nullptr ? wording::fromUtf8(tag->name) : QString();
}

QString HomeModel::inputProjectId() const {
    const auto id = ports_.activeProject ? ports_.activeProject() : std::nullopt;
    return id ? wording::fromUtf8(id->text()) : QString();
}

int HomeModel::inputProjectColor() const {
    const auto id = ports_.activeProject ? ports_.activeProject() : std::nullopt;
    const TagModel* tag = id ? ports_.store.tagById(*id) : nullptr;
    return tag != nullptr ? static_cast<int>(tag->colorIndex) : -1;
}

QString HomeModel::problemText() const {
    const auto problem = ports_.store.saveProblem();
    if (!problem) {
        return {};
    }
    const std::string_view text = describe(*problem);
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

bool HomeModel::submit(const QString& line) {
    const std::string text = trimmed(line.toStdString());
    if (text.empty()) {
        return false;
    }
    if (text.front() == '/' && ports_.execute) {
        const std::string sentence = trimmed(std::string_view(text).substr(1));
        if (sentence.empty()) {
            return false;
        }
        ports_.execute(sentence, [this](const CommandOutcome& outcome) {
            say(wording::fromUtf8(outcome.feedback), outcome.action != "none" && outcome.action != "undo");
        });
        return true;
    }
    if (!ports_.store.startTask(text)) {
        return false;
    }
    offerUndo(Outcome::changed);
    if (!ports_.store.isViewingToday()) {
        goToToday();
    }
    return true;
}

void HomeModel::say(const QString& text, bool offersUndo) {
    toastText_ = text;
    offered_ = offersUndo && !text.isEmpty() ? ports_.store.undoable() : std::nullopt;
    toastOffersUndo_ = offered_.has_value();
    Q_EMIT toastChanged();
}

void HomeModel::offerUndo(Outcome outcome) {
    const auto operation = ports_.store.undoable();
    if (outcome == Outcome::changed && operation) {
        say(wording::fromUtf8(*operation), true);
    }
}

void HomeModel::stop() {
    if (const TaskModel* task = ports_.store.activeTask()) {
        const Identifier id = task->id;
        offerUndo(ports_.store.stopTask(id));
    }
}

void HomeModel::markRunningDone() {
    if (const TaskModel* task = ports_.store.activeTask()) {
        const Identifier id = task->id;
        offerUndo(ports_.store.markDone(id));
    }
}

void HomeModel::resume() {
    if (const TaskModel* task = ports_.store.taskToResume(); task != nullptr && !running()) {
        const Identifier id = task->id;
        offerUndo(ports_.store.switchToTask(id));
    }
}

void HomeModel::switchTo(const QString& taskId) {
    offerUndo(ports_.store.switchToTask(toId(taskId)));
}

void HomeModel::markDone(const QString& taskId) {
    offerUndo(ports_.store.markDone(toId(taskId)));
}

void HomeModel::rename(const QString& taskId, const QString& title) {
    const std::string text = trimmed(title.toStdString());
    if (!text.empty()) {
        offerUndo(ports_.store.updateTask(toId(taskId), {.title = text, .tagId = std::nullopt}));
    }
}

void HomeModel::setProject(const QString& taskId, const QString& projectId) {
    const std::optional<Identifier> project = projectId.isEmpty() ? std::nullopt : std::optional(toId(projectId));
    offerUndo(ports_.store.updateTask(toId(taskId), {.title = std::nullopt, .tagId = project}));
}

void HomeModel::setNewProject(const QString& taskId, const QString& name) {
    const TagModel* there = projectOfName(ports_.store.tags(), name.toStdString());
    const auto project = there != nullptr ? std::optional(there->id) : ports_.store.createProject(name.toStdString());
    if (project) {
        (void)ports_.store.updateTask(toId(taskId), {.title = std::nullopt, .tagId = project});
    }
}

void HomeModel::remove(const QString& taskId) {
    offerUndo(ports_.store.deleteTask(toId(taskId)));
}

void HomeModel::setReason(const QString& logId, const QString& reason) {
    (void)ports_.store.setSwitchReason(toId(logId), trimmed(reason.toStdString()));
}

void HomeModel::undo() {
    if (const auto operation = ports_.store.undo()) {
        say(wording::fromUtf8(undoneLine(*operation)), false);
    }
}

void HomeModel::dismissToast() {
    say({}, false);
}

void HomeModel::dismissNotice() {
    if (!notices_.isEmpty()) {
        notices_.removeFirst();
        Q_EMIT noticeChanged();
    }
}

void HomeModel::chooseInputProject(const QString& projectId) {
    if (ports_.setActiveProject) {
        ports_.setActiveProject(projectId.isEmpty() ? std::nullopt : std::optional(toId(projectId)));
        Q_EMIT changed();
    }
}

void HomeModel::chooseFilter(const QString& filterId) {
    if (filterId == QStringLiteral("all")) {
        ports_.store.setProjectFilter({});
    } else if (filterId == QStringLiteral("unassigned")) {
        ports_.store.setProjectFilter({ProjectFilter::Unassigned{}});
    } else {
        ports_.store.setProjectFilter({ProjectFilter::Tag{toId(filterId)}});
    }
}

void HomeModel::shiftDay(int days) {
    ports_.store.shiftDay(days);
}

void HomeModel::selectDay(int day) {
    ports_.store.selectDate(DayKey{day});
}

void HomeModel::goToToday() {
    ports_.store.selectDate(ports_.store.today());
}

QString HomeModel::deleteQuestion(const QString& title) const {
    return QStringLiteral("Delete “%1”? This cannot be undone.").arg(title);
}

}  // namespace tolvik
