#include "app/models/projects_model.h"

#include <algorithm>
#include <map>
#include <utility>

#include "app/models/wording.h"
#include "base/text.h"
#include "services/project_names.h"

namespace tolvik {
namespace {

constexpr int kMinuteMs = 60'000;

QString counted(qsizetype count, const QString& one, const QString& many) {
    return QStringLiteral("%1 %2").arg(count).arg(count == 1 ? one : many);
}

}  // namespace

ProjectsModel::ProjectsModel(ProjectsPorts ports, QObject* parent) : QObject(parent), ports_(ports) {
    minute_.setInterval(kMinuteMs);
    connect(&minute_, &QTimer::timeout, this, &ProjectsModel::update);
    storeSubscription_ = ports_.store.onChanged([this] { update(); });
    dictionarySubscription_ = ports_.dictionary.onChanged([this] { update(); });
}

void ProjectsModel::setLive(bool live) {
    if (live == live_) {
        return;
    }
    live_ = live;
    if (live) {
        minute_.start();
        update();
    } else {
        minute_.stop();
    }
    Q_EMIT liveChanged();
}

const TagModel* ProjectsModel::chosen() const {
    return chosen_ ? ports_.store.tagById(*chosen_) : nullptr;
}

void ProjectsModel::update() {
    if (!live_) {
        return;
    }
    const AppStore& store = ports_.store;
    times_.update(store, ports_.zone, ports_.clock.now(), static_cast<int>(QLocale().firstDayOfWeek()) % 7);

    std::int64_t longest = 0;
    for (const TagModel& tag : store.tags()) {
        longest = std::max(longest, std::ranges::max(times_.of(tag.id).weeks));
    }
    std::vector<const TagModel*> order;
    for (const TagModel& tag : store.tags()) {
        order.push_back(&tag);
    }
    std::ranges::stable_sort(order, [this](const TagModel* a, const TagModel* b) {
        const auto weekA = times_.of(a->id).weeks.back();
        const auto weekB = times_.of(b->id).weeks.back();
        return weekA != weekB ? weekA > weekB
                              : QString::localeAwareCompare(wording::fromUtf8(a->name), wording::fromUtf8(b->name)) < 0;
    });
    std::vector<ProjectPageRow> rows;
    rows.reserve(order.size());
    for (const TagModel* tag : order) {
        rows.push_back(rowOf(*tag, longest));
    }
    rows_.update(std::move(rows));
    if (chosen() == nullptr) {
        chosen_ = order.empty() ? std::nullopt : std::optional(order.front()->id);
    }

    std::vector<std::pair<std::int64_t, ProjectTaskRow>> tasks;
    for (const TaskModel& task : store.tasks()) {
        if (task.isOpen() && chosen_ && task.tagId == chosen_) {
            const auto ms = times_.ofTask(task.id);
            const QString title = wording::fromUtf8(task.title);
            tasks.emplace_back(ms, ProjectTaskRow{.id = wording::fromUtf8(task.id.text()),
                                                  .title = title,
                                                  .colorIndex = static_cast<int>(task.colorIndex),
                                                  .lengthText = wording::lengthOrDash(ms),
                                                  .spoken = title + QStringLiteral(", ") + wording::spokenLength(ms)});
        }
    }
    std::ranges::stable_sort(tasks, [](const auto& a, const auto& b) { return a.first > b.first; });
    std::vector<ProjectTaskRow> taskRows;
    taskRows.reserve(tasks.size());
    for (auto& [ms, row] : tasks) {
        taskRows.push_back(std::move(row));
    }
    tasks_.update(std::move(taskRows));

    const std::int64_t untagged = times_.of(std::nullopt).totalMs;
    untaggedText_ =
        untagged > 0 ? QStringLiteral("%1 on tasks with no project").arg(wording::length(untagged)) : QString();
    Q_EMIT changed();
}

ProjectPageRow ProjectsModel::rowOf(const TagModel& tag, std::int64_t longestWeek) const {
    const auto times = times_.of(tag.id);
    const auto open = std::ranges::count_if(
        ports_.store.tasks(), [&](const TaskModel& task) { return task.isOpen() && task.tagId == tag.id; });
    ProjectPageRow row{.id = wording::fromUtf8(tag.id.text()),
                       .name = wording::fromUtf8(tag.name),
                       .colorIndex = static_cast<int>(tag.colorIndex),
                       .current = ports_.dictionary.activeTagId() == tag.id,
                       .detail = counted(open, QStringLiteral("open task"), QStringLiteral("open tasks")),
                       .weeks = {},
                       .weekText = wording::lengthOrDash(times.weeks.back()),
                       .totalText = wording::lengthOrDash(times.totalMs),
                       .spoken = {}};
    if (open == 0) {
        row.detail = QStringLiteral("No time yet");
        if (times.lastUsed) {
            const DayKey day = ports_.zone.dayOf(*times.lastUsed);
            row.detail = QStringLiteral("Last used %1").arg(wording::shortDay(day, ports_.store.today()));
        }
    }
    for (const std::int64_t ms : times.weeks) {
        row.weeks << (longestWeek > 0 ? static_cast<double>(ms) / static_cast<double>(longestWeek) : 0.0);
    }
    row.spoken = QStringLiteral("%1%2, %3, %4 this week, %5 in total")
                     .arg(row.name, row.current ? QStringLiteral(", current") : QString(), row.detail,
                          wording::spokenLength(times.weeks.back()), wording::spokenLength(times.totalMs));
    return row;
}

QString ProjectsModel::chosenId() const {
    return chosen() != nullptr ? wording::fromUtf8(chosen_->text()) : QString();
}

void ProjectsModel::choose(const QString& id) {
    if (id != chosenId()) {
        chosen_ = Identifier(id.toStdString());
        update();
    }
}

QString ProjectsModel::chosenName() const {
    return chosen() != nullptr ? wording::fromUtf8(chosen()->name) : QString();
}

int ProjectsModel::chosenColor() const {
    return chosen() != nullptr ? static_cast<int>(chosen()->colorIndex) : -1;
}

bool ProjectsModel::chosenIsCurrent() const {
    return chosen() != nullptr && ports_.dictionary.activeTagId() == chosen_;
}

QString ProjectsModel::termsText() const {
    return counted(std::ranges::count(ports_.dictionary.entries(), chosen_, &DictEntry::tagId), QStringLiteral("term"),
                   QStringLiteral("terms"));
}

void ProjectsModel::offerUndo(const std::function<void()>& also) {
    const auto words = ports_.store.undoable();
    if (!words) {
        return;
    }
    ports_.toast.say(wording::fromUtf8(*words), [this, words, also] {
        if (ports_.store.undoable() == words && ports_.store.undo() && also) {
            also();
        }
    });
}

bool ProjectsModel::isTaken(const QString& name, const std::optional<Identifier>& self) {
    const TagModel* there = projectOfName(ports_.store.tags(), name.toStdString());
    if (there == nullptr || there->id == self) {
        return false;
    }
    ports_.toast.say(QStringLiteral("There is a project of that name already: %1").arg(wording::fromUtf8(there->name)));
    return true;
}

bool ProjectsModel::create(const QString& name) {
    if (isTaken(name, std::nullopt)) {
        return false;
    }
    const auto id = ports_.store.createProject(name.toStdString());
    if (id) {
        chosen_ = id;
        update();
    }
    return id.has_value();
}

bool ProjectsModel::rename(const QString& name) {
    if (chosen() == nullptr || name.trimmed().isEmpty()) {
        return false;
    }
    const Identifier id = *chosen_;
    if (isTaken(name, id)) {
        return false;
    }
    if (ports_.store.renameProject(id, name.toStdString()) == Outcome::changed) {
        offerUndo();
    }
    return true;
}

void ProjectsModel::setCurrent(bool current) {
    if (chosen() != nullptr && current != chosenIsCurrent()) {
        ports_.dictionary.setActiveProject(current ? chosen_ : std::nullopt);
    }
}

QString ProjectsModel::deleteQuestion() const {
    return QStringLiteral("Delete “%1”? Its tasks stay, without a project.").arg(chosenName());
}

void ProjectsModel::remove() {
    if (chosen() == nullptr) {
        return;
    }
    const Identifier id = *chosen_;
    const bool wasCurrent = chosenIsCurrent();
    if (ports_.store.deleteProject(id) != Outcome::changed) {
        return;
    }
    if (wasCurrent) {
        ports_.dictionary.setActiveProject(std::nullopt);
    }
    offerUndo([this, id, wasCurrent] {
        chosen_ = id;
        if (wasCurrent) {
            ports_.dictionary.setActiveProject(id);
        }
        update();
    });
}

}  // namespace tolvik
